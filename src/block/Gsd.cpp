#include "block/Gsd.h"

#include <cmath>
#include <limits>

namespace orvo {

float ComputeGsd(std::span<const ObjectPointRecord> objectPoints,
                 std::span<const ImagePointRecord> imagePoints, double imageScale) {
  constexpr float kNothing = std::numeric_limits<float>::quiet_NaN();
  size_t first = 0;
  while (first < imagePoints.size() && imagePoints[first].nImage < 0) ++first;
  if (first == imagePoints.size()) return kNothing;

  const ImagePointRecord& p0 = imagePoints[first];
  const ObjectPointRecord& start = objectPoints[static_cast<size_t>(p0.nObjectPoint)];
  const float X0 = static_cast<float>(start.X), Y0 = static_cast<float>(start.Y);
  float sum = 0;
  int64_t count = 0;
  for (size_t i = (first / 10 + 1) * 10; i < imagePoints.size(); i += 10) {
    const ImagePointRecord& p = imagePoints[i];
    if (p.nImage != p0.nImage) continue;
    const ObjectPointRecord& point = objectPoints[static_cast<size_t>(p.nObjectPoint)];
    if (point.nType >= 1) continue;
    const float dx = p.x - p0.x, dy = p.y - p0.y;
    const float inImage = std::sqrt(dx * dx + dy * dy);
    const double dX = point.X - X0, dY = point.Y - Y0;
    const double onGround = std::sqrt(dX * dX + dY * dY);
    if (inImage == 0.0f || onGround == 0.0) continue;
    sum += static_cast<float>(onGround / (inImage / imageScale));
    ++count;
  }
  return count == 0 ? kNothing : sum / static_cast<float>(count);
}

}  // namespace orvo
