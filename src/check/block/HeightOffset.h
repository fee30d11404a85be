// Heights of control points off those of the block by one amount, and what else may make it.
#pragma once

#include <optional>
#include <span>

#include "check/block/FrameJudgement.h"

namespace orvo {

/// The offset of given heights that stands out from their scatter, between points that agree in plan, and
/// above `least` (block units); nothing where there is none. `block`, `given` and `depth` as of JudgeFrame.
std::optional<FrameJudgement> FindHeightOffset(std::span<const Position3> block,
                                               std::span<const Position3> given, double depth, double least);

/// True of an offset that no error of the focal length makes: it is above 15 % of the depth, or it is the
/// same at five and more points whose depths differ by so much that a focal length shows.
bool IsBeyondFocalLength(std::span<const Position3> block, std::span<const Position3> given, double depth,
                         double offset);

}  // namespace orvo
