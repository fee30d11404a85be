// Host images of the device arrays in the layout of FastLayout.h.
#pragma once

#include <cstdint>
#include <span>

#include "gpu/kernels/fast/FastLayout.h"
#include "records/Records.h"

namespace orvo::gpu {

/// One GPU section, in the records of its point section.
struct FastSource {
  std::span<const ObjectPointRecord> ObjectPoints;  ///< m, those of the GPU section
  std::span<const ImagePointRecord> ImagePoints;    ///< n, those of the GPU section
  int64_t nFirstImagePoint = 0;                     ///< index of the first of these in the point section
  std::span<const ObjectPointRecord> GcpTable;      ///< rows for all object points whose type is not 0
  int32_t nImageNum = 0, nCameraNum = 0;            ///< what nImage and nCamera may point to
};

/// Fills the point rows and the first four elements of the inverses: all 12 m floats of cupObjPt, as uploaded
/// before each iteration. The rows of the GCP table are counted from its first at each call, one for each
/// point whose type is not 0; a point of type 4 without a row has no height difference.
void FillFastPoints(const FastSource& source, const FastSection& out);

/// Fills everything: cupImgIdx (4 n words), cupImgPt (4 n), cupObjPt (12 m), cupObjIdx (3 m) and the index of
/// FastIndexWords(nImageNum, nCameraNum) words, on up to `threads` threads. A point whose rays leave the
/// section or overlap those of the point before is cut; rays of no point, on no image or camera, or on
/// another camera than the first ray of their image are left out. No word depends on what was there before.
void FillFastSection(const FastSource& source, const FastSection& out, uint32_t* index, int threads);

}  // namespace orvo::gpu
