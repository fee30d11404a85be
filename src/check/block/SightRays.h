// The rays of a block's measurements, in its own frame.
#pragma once

#include <array>
#include <optional>
#include <span>
#include <vector>

#include "records/SurveyBlock.h"

namespace orvo {

/// A measurement with all that places it in space: the ray S + R (x, y, -f), R row-major, x and y corrected
/// for principal point and distortion. S in working units, the others in image units.
struct SightRay {
  std::array<double, 9> R{};
  std::array<double, 3> S{};
  double f = 0, x = 0, y = 0;
};

/// Cameras with a finite focal length above 0.
bool IsUsable(const SurveyCamera& camera);

/// By ordinal: images with a usable camera, finite orientation and another position than (0, 0, 0).
std::vector<bool> UsableImages(const SurveyBlock& block);

/// k1 and k2, or 0 where a run takes them for 0.
std::array<double, 2> DistortionOfRun(const SurveyCamera& camera);

/// u = x - x0, v = y - y0, less the distortion.
std::array<double, 2> CorrectedMeasurement(const SurveyCamera& camera, double x, double y);

/// The rays of a point's measurements on usable images, the first `most` of them.
std::vector<SightRay> RaysOf(const SurveyBlock& block, const std::vector<bool>& usable,
                             std::span<const SurveyMeasurement> measurements, double objectScale,
                             size_t most = 12);

}  // namespace orvo
