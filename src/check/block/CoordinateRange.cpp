#include "check/block/CoordinateRange.h"

#include <cmath>

namespace orvo {

CoordinateRange FindCoordinateRange(const SurveyBlock& block, const SurveyPoints& points) {
  CoordinateRange range;
  for (size_t i = 0; i < points.Points.size(); ++i) {
    for (const SurveyMeasurement& measurement : points.Of(points.Points[i])) {
      if (measurement.nImage < 0 || static_cast<size_t>(measurement.nImage) >= block.Images.size()) continue;
      const int32_t ordinal = block.Images[static_cast<size_t>(measurement.nImage)].nCamera;
      if (ordinal < 0 || static_cast<size_t>(ordinal) >= block.Cameras.size()) continue;
      const SurveyCamera& camera = block.Cameras[static_cast<size_t>(ordinal)];
      if (camera.nWidth <= 0 || camera.nHeight <= 0) continue;
      ++range.nMeasurements;
      const double x = measurement.x / camera.nWidth, y = measurement.y / camera.nHeight;
      if (x > -0.01 && x < 1.01 && y > -0.01 && y < 1.01) ++range.nInCorner;
      const bool inside = std::fabs(measurement.x) <= camera.nWidth / 2.0 + 1 &&
                          std::fabs(measurement.y) <= camera.nHeight / 2.0 + 1;
      if (inside) continue;
      if (range.nOutside++ > 0) continue;
      range.nFirstPoint = static_cast<int64_t>(i);
      range.nFirstImage = measurement.nImage;
    }
  }
  return range;
}

bool IsFromCorner(const CoordinateRange& range) {
  const auto all = static_cast<double>(range.nMeasurements);
  return range.nMeasurements >= 20 && static_cast<double>(range.nOutside) > 0.25 * all &&
         static_cast<double>(range.nInCorner) > 0.98 * all;
}

}  // namespace orvo
