// What `orvo info` tells of files and folders.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "check/Finding.h"
#include "exchange/ForeignModel.h"
#include "exchange/LeftOut.h"
#include "info/BlockFigures.h"
#include "info/KindOfPath.h"
#include "info/MemoryFigures.h"

namespace orvo::info {

struct PathInfo {
  std::string szPath;
  KindOfPath Kind;
  std::optional<Finding> Fault;                  ///< why nothing more is told
  int64_t nErrors = 0, nWarnings = 0;            ///< of the files, as a check finds them
  std::optional<BlockFigures> Figures;           ///< of projects, results and models
  std::vector<exchange::ForeignCamera> Cameras;  ///< of models, as their program has them
  exchange::LeftOut Left;                        ///< of projects and results: what the figures are without
  std::optional<MemoryFigures> Memory;
  std::string szFrame;                     ///< coordinate system and frame, where something tells
  PointFigures Control, Check;             ///< of a GCP file or a table of control points alone
  int64_t nPosLines = 0;                   ///< of a POS file or a table of positions alone
  std::vector<int64_t> PosStrips;          ///< and its strips
  std::string szAngles;                    ///< angles of a table of positions, in words
  std::optional<Extent> Places;            ///< of the points or positions of a table, as they are written
  int64_t nPoints = 0, nMeasurements = 0;  ///< of an .ovt alone
};

/// Each path. A GCP and a POS file among them belong to every project and result among them.
/// `threads`: that a run would assemble with.
std::vector<PathInfo> InfoOf(std::span<const std::string> paths, int threads);

}  // namespace orvo::info
