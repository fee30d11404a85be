// Large blocks for the kernels of the device path, made where they are needed: nadir strips over flat ground,
// one camera, 600 rays an image, four rays a point, the points in spatial order.
#pragma once

#include <cstdint>
#include <vector>

#include "gpu/kernels/GpuPara.h"

namespace orvo::bench {

/// The arrays of a section in one of the forms. Those of the other form are empty.
struct StripBlock {
  gpu::GpuPara Para;
  int64_t nImages = 0;
  std::vector<uint32_t> ImgIdx, ObjIdx, PairPos;
  std::vector<float> ImgPt, ObjPt, Eop, Iop;
  std::vector<uint32_t> FastIndex;  ///< end of cupFast
};

/// About `measurements` rays. `layout` is a LayoutMode; in the merged layout every image has its own camera.
StripBlock MakeStripBlock(int64_t measurements, int layout, bool fast);

}  // namespace orvo::bench
