// From a measurement in a file to its record in memory.
#pragma once

#include <cmath>
#include <cstdint>
#include <limits>
#include <vector>

#include "records/ImageReference.h"
#include "records/Records.h"

namespace orvo {

/// x and y in file units, times `imageScale` in the record. Coordinates that are not finite put the
/// measurement on a deleted image.
inline ImagePointRecord MakeImagePoint(ImageReference reference, double x, double y, double imageScale,
                                       int32_t objectPoint) {
  constexpr double kMost = std::numeric_limits<float>::max();
  const double scaledX = x * imageScale, scaledY = y * imageScale;
  if (!(std::abs(scaledX) <= kMost && std::abs(scaledY) <= kMost)) return {-1, -1, objectPoint, 0.0f, 0.0f};
  return {reference.nImage, reference.nCamera, objectPoint, static_cast<float>(scaledX),
          static_cast<float>(scaledY)};
}

/// False for a control or check point whose coordinates are not finite. Those of a tie point are start values
/// only, and become 0 then.
bool MakePositionUsable(ObjectPointRecord& point);

/// The extent that holds a coordinate `value` (file units) measured from the image centre. Compares in
/// `Real`.
template <typename Real>
int32_t EnlargedExtent(int32_t extent, Real value) {
  const Real magnitude = std::abs(value);
  if (!(magnitude > static_cast<Real>(extent / 2))) return extent;
  constexpr Real kMost = static_cast<Real>(1000000000);
  return (static_cast<int32_t>(magnitude < kMost ? magnitude : kMost) + 1) * 2;
}

/// Makes the image extent of a camera hold the measurement, file units.
template <typename Real>
void EnlargeCamera(IopRecord& camera, Real x, Real y) {
  camera.nImageWidth = EnlargedExtent(camera.nImageWidth, x);
  camera.nImageHeight = EnlargedExtent(camera.nImageHeight, y);
}

}  // namespace orvo
