// What `orvo info` tells of files and folders.
#pragma once

#include <optional>
#include <span>
#include <string>
#include <vector>

#include "check/Finding.h"
#include "info/BlockFigures.h"
#include "info/KindOfPath.h"
#include "info/MemoryFigures.h"

namespace orvo::info {

struct PathInfo {
  std::string szPath;
  KindOfPath Kind;
  std::optional<Finding> Fault;         ///< why nothing more is told
  int64_t nErrors = 0, nWarnings = 0;   ///< of the files, as a check finds them
  std::optional<BlockFigures> Figures;  ///< of projects, results and models
  std::optional<MemoryFigures> Memory;
  std::string szFrame;                     ///< coordinate system and frame, where something tells
  PointFigures Control, Check;             ///< of a GCP file alone
  int64_t nPosLines = 0;                   ///< of a POS file alone
  std::vector<int32_t> PosStrips;          ///< and its strips
  int64_t nPoints = 0, nMeasurements = 0;  ///< of an .ovt alone
  int64_t nRows = 0;                       ///< of a table, without its headings
};

/// Each path. A GCP and a POS file among them belong to every project and result among them.
/// `threads`: that a run would assemble with.
std::vector<PathInfo> InfoOf(std::span<const std::string> paths, int threads);

}  // namespace orvo::info
