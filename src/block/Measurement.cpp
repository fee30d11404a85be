#include "block/Measurement.h"

namespace orvo {

std::vector<ImageReference> MakeImageReferences(std::span<const int32_t> imageIndex,
                                                std::span<const int32_t> imageCamera,
                                                std::span<const int32_t> cameraIndex, int32_t imageNum,
                                                int32_t cameraNum) {
  std::vector<ImageReference> references(imageIndex.size());
  for (size_t i = 0; i < imageIndex.size(); ++i) {
    const int32_t image = imageIndex[i];
    if (image < 0 || image >= imageNum) continue;
    const auto ordinal = static_cast<size_t>(imageCamera[i]);
    const int32_t camera = ordinal < cameraIndex.size() ? cameraIndex[ordinal] : -1;
    if (camera >= 0 && camera < cameraNum) references[i] = {image, camera};
  }
  return references;
}

bool MakePositionUsable(ObjectPointRecord& point) {
  if (std::isfinite(point.X) && std::isfinite(point.Y) && std::isfinite(point.Z)) return true;
  if (point.nType >= 1) return false;
  point.X = point.Y = point.Z = 0.0;
  return true;
}

}  // namespace orvo
