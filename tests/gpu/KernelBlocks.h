// Made-up GPU sections, as they stand in the device arrays.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "gpu/kernels/GpuPara.h"
#include "records/Records.h"
#include "records/UnknownLayout.h"

namespace orvo::test {

inline constexpr int kAllLayouts[] = {LayoutEop, LayoutIop, LayoutMergedEopIop, LayoutEopIop};

inline std::string LayoutNameOf(int layout) {
  const char* names[] = {"Eop", "Iop", "Merged", "EopIop"};
  return names[layout];
}

struct KernelBlockOptions {
  int32_t nLayoutMode = LayoutEopIop;
  int32_t nImages = 12;
  int32_t nCameras = 3;  ///< as many as images in the merged layout
  int32_t nPoints = 150;
  int32_t nMinRays = 4, nMaxRays = 9;
  std::vector<int32_t> RayCounts = {};  ///< of the first points; the others have a random number
  std::vector<uint32_t> Types = {};     ///< of the first points; the others have a random type, mostly 0
  /// Shares of the points: types 1 (control), 4 (control in height) and 2 (check).
  double fControlShare = 0.2, fHeightShare = 0.1, fCheckShare = 0.05;
  double fGrossShare = 0;    ///< share of rays measured wrong, on points of every type
  double fLeftOutShare = 0;  ///< share of rays on deleted images
  int32_t nControlWeight = 10;
  int32_t nPosGroups = 0;  ///< groups of six POS unknowns behind all others
  uint32_t nSeed = 7;
};

/// The arrays of gpu/kernels/DeviceArrays.h as they are uploaded. Rays that are not gross lie within 0.3 of
/// their projection, gross ones 3 to 5 off it; the gross threshold is 0.9, so that no rounding decides.
struct KernelBlock {
  gpu::GpuPara Para;
  std::vector<uint32_t> ImgIdx, ObjIdx, PairPos;
  std::vector<float> ImgPt, ObjPt, Eop, Iop;
  std::vector<float> Rms;  ///< 260: thresholds and zeros

  size_t Images() const { return Eop.size() / 6; }
  uint32_t Type(size_t point) const { return ObjIdx[3 * point]; }
  uint32_t RayCount(size_t point) const { return ObjIdx[3 * point + 1]; }
  uint32_t FirstRay(size_t point) const { return ObjIdx[3 * point + 2]; }
};

KernelBlock MakeKernelBlock(KernelBlockOptions options);

/// Replaces the numbers of rays and pairs after a change of ObjIdx [1]: first rays, PairPos, nImgPt,
/// nPairNum.
void NumberRays(KernelBlock& block);

/// One image or camera as a record.
EopRecord EopOf(const KernelBlock& block, size_t image);
IopRecord IopOf(const KernelBlock& block, size_t camera);

}  // namespace orvo::test
