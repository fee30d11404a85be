// The points of a block: what is in memory of them, and how many there are.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "base/ScratchVector.h"
#include "records/ReadingFacts.h"
#include "records/Records.h"

namespace orvo {

using ObjectPointArray = ScratchVector<ObjectPointRecord>;
using ImagePointArray = ScratchVector<ImagePointRecord>;

/// The arrays are empty until a reader makes them.
struct PointStore {
  PointSectionTable Sections;
  int32_t nCurrentSection = -1;    ///< section whose points are in memory
  ObjectPointArray pObjectPoints;  ///< points of the current section
  ImagePointArray pImagePoints;
  std::vector<ObjectPointRecord> pGcpTable;  ///< control and check points, normalised with the block
  std::vector<int32_t> pPointImageCount;     ///< by tie point ordinal

  int32_t nGcpNum = 0, nGcpImagePointNum = 0;
  int64_t nObjectPointNum = 0, nTiePointNum = 0, nTieImagePointNum = 0, nImagePointNum = 0;
  int32_t nControlPointNum = 0, nCheckPointNum = 0;
  int32_t nGcpFileNum = 0;

  bool bResampledToFile = false;
  int64_t nResampleFileLimit = 10000000;  ///< more kept tie points than this go to a file

  ReadingFacts Facts;                   ///< what the readers noticed
  std::vector<int64_t> vTextPlaces;     ///< in a text project, of every kTextPiecePoints-th point
  int64_t nTextPlaceFileSize = -1;      ///< of the file that they are places in
  std::vector<bool> bTextPointCounted;  ///< by tie point ordinal: type 1 or 2, and in the counts

  /// The section's points that are in memory, never more than the section has; none of a section that does
  /// not exist.
  std::span<const ObjectPointRecord> InMemory(int32_t section) const {
    if (section < 0 || section >= Sections.Count()) return {};
    const int64_t count = Sections.ObjectPoints[static_cast<size_t>(section)].Count();
    return {pObjectPoints.data(),
            static_cast<size_t>(std::clamp<int64_t>(count, 0, std::ssize(pObjectPoints)))};
  }
};

}  // namespace orvo
