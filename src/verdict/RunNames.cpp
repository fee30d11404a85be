#include "verdict/RunNames.h"

#include <algorithm>

namespace orvo {

std::string ImageNameAt(const ImageTable& images, size_t ordinal) {
  if (ordinal < images.pImageNames.size() && images.pImageNames[ordinal].sz[0] != '\0')
    return images.pImageNames[ordinal].sz;
  return ordinal < images.vBareNames.size() ? images.vBareNames[ordinal] : std::string();
}

std::string ImageNameOf(const ImageTable& images, int32_t image) {
  const auto i = static_cast<size_t>(image);
  const size_t ordinal = i < images.pImageOrdinal.size() ? static_cast<size_t>(images.pImageOrdinal[i]) : i;
  std::string name = ImageNameAt(images, ordinal);
  return name.empty() ? std::to_string(ordinal) : name;
}

std::string CameraNameOf(const CameraTable& cameras, size_t camera) {
  const auto& index = cameras.pCameraIndex;
  const auto at = std::ranges::find(index, static_cast<int32_t>(camera));
  return std::to_string(at == index.end() ? static_cast<ptrdiff_t>(camera) : at - index.begin());
}

}  // namespace orvo
