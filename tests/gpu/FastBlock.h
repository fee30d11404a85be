// A made-up GPU section in the memory form of the fast kernels, and what they leave of it.
#pragma once

#include <cstdint>
#include <vector>

#include "gpu/Device.h"
#include "gpu/KernelBlocks.h"
#include "gpu/kernels/fast/FastKernels.h"
#include "gpu/kernels/fast/FastLayout.h"
#include "records/Records.h"

namespace orvo::test {

/// The records that a section's arrays would be filled from.
struct SectionRecords {
  explicit SectionRecords(const KernelBlock& block);
  std::vector<ObjectPointRecord> ObjectPoints, GcpTable;
  std::vector<ImagePointRecord> ImagePoints;
};

class FastBlock {
 public:
  explicit FastBlock(const KernelBlock& block, float grossWeight = gpu::kGrossRayWeight);
  FastBlock(const FastBlock&) = delete;
  FastBlock& operator=(const FastBlock&) = delete;

  /// Clears what the kernel adds to and runs it.
  void Run(gpu::Kernel kernel);
  void MultiplyBy(const std::vector<float>& d);
  /// SumMatrix, ConstVector and the preconditioner kernels of the layout.
  void RunAll();

  /// With these passes on so many threads, else with the best on one.
  void Use(const gpu::FastPasses& passes) { Passes = passes; }
  void UseThreads(int32_t threads) { nThreads = threads; }

  /// cupObjPt in the form of gpu/kernels/DeviceArrays.h.
  std::vector<float> PlainPoints() const;
  /// gpu::RayFlag of each ray, in point order.
  std::vector<uint32_t> PlainFlags() const;
  /// Rays whose two flags differ.
  int64_t FlagsThatDiffer() const;
  gpu::FastSection Section() const {
    return gpu::FastSectionOf(Call.Arrays, Call.Para.nImgPt, Call.Para.nObjPt);
  }

  /// What stands on the device.
  std::vector<uint32_t> ImgIdx, ObjIdx;
  std::vector<float> ImgPt, ObjPt, Eop, Iop, Rms, R, M, D, Ad, Work;
  gpu::KernelCall Call;

 private:
  gpu::FastPasses Passes = gpu::UsableFastPasses().back();
  int32_t nThreads = 1;
};

}  // namespace orvo::test
