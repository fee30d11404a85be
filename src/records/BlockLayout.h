// The numbering of the unknowns of a block, from its tables.
#pragma once

#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// As it stands when the mode and the size of POS groups in `unknowns` are settled.
inline UnknownLayout LayoutOf(const UnknownCounts& unknowns, const ImageTable& images,
                              const CameraTable& cameras) {
  return {unknowns.nLayoutMode, images.nUnknownImageNum, cameras.nCameraNum, unknowns.nPosSize,
          cameras.UsableNum()};
}

}  // namespace orvo
