// The reduced system that a made-up GPU section makes in double precision: what every form of the kernels is
// measured by.
#pragma once

#include <cstdint>
#include <vector>

#include "gpu/KernelBlocks.h"

namespace orvo::test {

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
