// What the measurements on an image of the project refer to in memory.
#pragma once

#include <cstdint>
#include <vector>

#include "records/CameraTable.h"
#include "records/ImageTable.h"

namespace orvo {

/// Both -1 where the image or its camera was deleted.
struct ImageReference {
  int32_t nImage = -1;
  int32_t nCamera = -1;
};

/// One reference for each project image ordinal.
inline std::vector<ImageReference> MakeImageReferences(const ImageTable& images, const CameraTable& cameras) {
  std::vector<ImageReference> references(images.pImageIndex.size());
  for (size_t i = 0; i < references.size(); ++i) {
    const int32_t image = images.pImageIndex[i];
    if (image < 0 || image >= images.nImageNum) continue;
    const auto ordinal = static_cast<size_t>(images.pImageCamera[i]);
    const int32_t camera = ordinal < cameras.pCameraIndex.size() ? cameras.pCameraIndex[ordinal] : -1;
    if (camera >= 0 && camera < cameras.UsableNum()) references[i] = {image, camera};
  }
  return references;
}

}  // namespace orvo
