// How given coordinates stand to those that a block has for the same points.
#pragma once

#include <span>

#include "check/block/CoordinateReadings.h"
#include "geometry/RobustSimilarity.h"

namespace orvo {

enum class FrameKind {
  Same,          ///< both are in one frame
  Reading,       ///< they are once the given ones are read otherwise
  HeightOffset,  ///< they are but for a constant in height
  Free,          ///< a similarity joins them
  Unknown        ///< nothing of these, or too few points to tell
};

struct FrameJudgement {
  FrameKind Kind = FrameKind::Unknown;
  FrameTransform Transform;                     ///< block to given; Same, HeightOffset, Free
  bool bLevel = false;                          ///< Free: the points give no tilt
  const CoordinateReading* pReading = nullptr;  ///< Reading
  double dHeightOffset = 0;                     ///< HeightOffset: given less block
  double dBefore = 0, dAfter = 0;               ///< distances as given, and as judged; Unknown: in the block
};

/// A reading is taken where it is better by a factor of 5 than what is given, and leaves less than a tenth of
/// the depth; an offset where it is above 3 % of the depth, which a poor focal length may make, and above 6
/// times the scatter of the heights. At least half of the points decide about what is given, three quarters
/// about another reading. Feet have to have their scale within 0.7 %.
///
/// `block` and `given` in pairs; `depth`: distance from cameras to points in the block, `up`: from
/// points to cameras.
FrameJudgement JudgeFrame(std::span<const Position3> block, std::span<const Position3> given, double depth,
                          const Position3& up = {0, 0, 1});

}  // namespace orvo
