// How images and cameras of a run are called.
#pragma once

#include <string>

#include "records/CameraTable.h"
#include "records/ImageTable.h"

namespace orvo {

/// By its number in the project, from 0: the name, empty where it has none.
std::string ImageNameAt(const ImageTable& images, size_t ordinal);
/// Of a kept image: its name in the project, or its number there where it has none.
std::string ImageNameOf(const ImageTable& images, int32_t image);

/// Cameras have no names; they are told by their place in the project, from 0. `camera`: row of pIop.
std::string CameraNameOf(const CameraTable& cameras, size_t camera);

}  // namespace orvo
