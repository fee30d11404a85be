// Made-up GPU sections, as they stand in the device arrays, with the reduced system that they make in double
// precision: what every form of the kernels is measured by.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "gpu/GpuPara.h"
#include "normal/UnknownLayout.h"

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

/// The arrays of gpu/DeviceArrays.h as they are uploaded. Rays that are not gross lie within 0.3 of their
/// projection, gross ones 3 to 5 off it; the gross threshold is 0.9, so that no rounding decides.
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

struct ReferenceRules {
  /// As on the device: object point 0 finished from zero sums where block 0 of 256 rays has no tail, sums of
  /// a point from the block where it starts and the next only, tails numbered below their record passed over.
  bool bBoundaries = true;
  /// As on the device: a point of type 4 observes its height, and the weight enters column 10 of the
  /// elimination twice in the constant vector.
  bool bDeviceRules = true;
  double fGrossWeight = static_cast<double>(gpu::kGrossRayWeight);
};

/// The reduced system in double precision, formed from the float inputs.
struct ReducedSystem {
  int32_t n = 0, nLayoutMode = 0, nImages = 0, nCameras = 0;
  std::vector<double> S;          ///< n by n, the reduced matrix
  std::vector<double> b;          ///< n, the reduced constant vector
  std::vector<double> Precond;    ///< packed diagonal blocks; those of images without pairs of rays
  std::vector<double> Residuals;  ///< 2 per ray
  std::vector<uint32_t> Flags;    ///< gpu::RayFlag of each ray
  std::vector<double> P;          ///< 6 per point: inverse as upper triangle
  std::vector<double> e;          ///< 3 per point: solved vector
  double fSums[4] = {};           ///< of Lx, Ly, Lx Lx, Ly Ly over the rays that are not gross
  std::vector<double> Scale;      ///< n: root of the diagonal of S; 1 where that is 0
};

ReducedSystem MakeReducedSystem(const KernelBlock& block, ReferenceRules rules = {});

/// Largest differences on the system scaled to unit diagonal. Infinite when a value is not a number.
/// Of the constant vector, relative to its largest element.
double ConstVectorError(const ReducedSystem& system, const std::vector<float>& R);
/// Of the packed preconditioner.
double PreconditionerError(const ReducedSystem& system, const std::vector<float>& M);
/// Of the product with the unit vector of unknown k: column k of the matrix.
double ProductError(const ReducedSystem& system, int32_t k, const std::vector<float>& Ad);
/// Of the product with any vector, relative to the largest element of the product.
double ProductError(const ReducedSystem& system, const std::vector<float>& d, const std::vector<float>& Ad);
/// Of what ComputeSumMatrix leaves of the points: largest difference of an inverse, relative to its largest
/// element, and of a solved vector, relative to the largest of the block. `ObjPt` as in DeviceArrays.h.
/// Points of type 1 are not looked at.
double InverseError(const ReducedSystem& system, const KernelBlock& block, const std::vector<float>& ObjPt);
double SolvedVectorError(const ReducedSystem& system, const KernelBlock& block,
                         const std::vector<float>& ObjPt);

}  // namespace orvo::test
