// A section in the processor's memory with the literal kernels run on it.
#pragma once

#include <algorithm>
#include <string>
#include <vector>

#include "gpu/ReducedSystem.h"
#include "gpu/kernels/DeviceArrays.h"
#include "gpu/kernels/literal/LiteralKernels.h"

namespace orvo::test {

struct LiteralRun {
  explicit LiteralRun(const KernelBlock& source, float grossWeight = gpu::kGrossRayWeight)
      : block(source), fGrossWeight(grossWeight) {
    const auto unknowns = static_cast<size_t>(block.Para.nUnknownLen);
    const auto precond = static_cast<size_t>(block.Para.nPrecondLen);
    TR.assign(static_cast<size_t>(gpu::TailFloats(block.Para.nImgPt)), 0.0f);
    R.assign(unknowns, 0.0f);
    tR.assign(64 * unknowns, 0.0f);
    M.assign(precond, 0.0f);
    tM.assign(64 * precond, 0.0f);
    D = Ad = R;
    tAd = tR;
    arrays.cupPara = &block.Para;
    arrays.cupImgIdx = block.ImgIdx.data();
    arrays.cupObjIdx = block.ObjIdx.data();
    arrays.cupImgPt = block.ImgPt.data();
    arrays.cupObjPt = block.ObjPt.data();
    arrays.cupPairPos = block.PairPos.data();
    arrays.cupTR = TR.data();
    arrays.cupEop = block.Eop.data();
    arrays.cupIop = block.Iop.data();
    arrays.cupRms = block.Rms.data();
    arrays.cupR = R.data();
    arrays.cuptR = tR.data();
    arrays.cupM = M.data();
    arrays.cuptM = tM.data();
    arrays.cupD = D.data();
    arrays.cupAd = Ad.data();
    arrays.cuptAd = tAd.data();
  }
  LiteralRun(const LiteralRun&) = delete;
  LiteralRun& operator=(const LiteralRun&) = delete;

  void SumMatrix() { gpu::ComputeSumMatrix(arrays, fGrossWeight); }

  const std::vector<float>& ConstVector() {
    std::fill(R.begin(), R.end(), 0.0f);
    std::fill(tR.begin(), tR.end(), 0.0f);
    gpu::ComputeConstVector(arrays, fGrossWeight);
    return R;
  }
  /// The kernels that the layout needs.
  const std::vector<float>& Preconditioner() {
    std::fill(M.begin(), M.end(), 0.0f);
    std::fill(tM.begin(), tM.end(), 0.0f);
    if (block.Para.nMode != LayoutIop) gpu::ComputePreconditionerGPU(arrays, fGrossWeight);
    if (block.Para.nMode == LayoutIop || block.Para.nMode == LayoutEopIop) {
      gpu::ComputePreconditionerGPU_IOP(arrays, fGrossWeight);
    }
    return M;
  }
  const std::vector<float>& Product(const std::vector<float>& d) {
    std::copy(d.begin(), d.end(), D.begin());
    std::fill(Ad.begin(), Ad.end(), 0.0f);
    std::fill(tAd.begin(), tAd.end(), 0.0f);
    gpu::ComputeMatrixVectorAd(arrays, fGrossWeight);
    return Ad;
  }
  /// Largest error of the products with every step-th unit vector.
  double ProductsError(const ReducedSystem& system, int32_t step = 1) {
    double largest = 0;
    for (int32_t k = 0; k < system.n; k += step) {
      std::vector<float> unit(static_cast<size_t>(system.n), 0.0f);
      unit[static_cast<size_t>(k)] = 1;
      largest = std::max(largest, ProductError(system, k, Product(unit)));
    }
    return largest;
  }

  const float* Inverse(size_t point) const { return &block.ObjPt[12 * point + 3]; }
  const float* Solved(size_t point) const { return &block.ObjPt[12 * point + 9]; }
  uint32_t Flag(size_t ray) const { return block.ImgIdx[4 * ray + 3]; }

  KernelBlock block;
  float fGrossWeight;
  std::vector<float> TR, R, tR, M, tM, D, Ad, tAd;
  gpu::DeviceArrays arrays;
};

}  // namespace orvo::test
