#include "gpu/SequentialSteps.h"

#include <cstring>
#include <memory>

#include "gpu/kernels/fast/steps/FastPlan.h"

namespace orvo::test {
namespace {

using gpu::FastScratch;
using gpu::FastSums;

class SequentialBlock {
 public:
  static constexpr int kMostLanes = 512;

  SequentialBlock(int64_t index, int lanes, LaneOrder order) : nIndex(index), nLanes(lanes), Order(order) {}

  /// Full of what would spoil every number.
  template <class T>
  class PerLane {
   public:
    PerLane() : values(new T[kMostLanes]) {
      std::memset(static_cast<void*>(values.get()), 0x7f, sizeof(T) * kMostLanes);
    }
    T& operator[](int lane) { return values[lane]; }

   private:
    std::unique_ptr<T[]> values;
  };

  int64_t Index() const { return nIndex; }
  int Lanes() const { return nLanes; }

  template <class F>
  void EachLane(F f) {
    for (int k = 0; k < nLanes; ++k) f(Order == LaneOrder::Forward ? k : nLanes - 1 - k);
  }

  bool Any(PerLane<bool>& flags) {
    bool any = false;
    for (int lane = 0; lane < nLanes; ++lane) any = any || flags[lane];
    return any;
  }

  template <int K>
  void SumLanes(PerLane<FastSums<K>>& sums, FastScratch<K>& scratch) {
    for (int k = 0; k < K; ++k) {
      for (int warp = 0; warp < nLanes / 32; ++warp) {
        float values[32];
        for (int lane = 0; lane < 32; ++lane) values[lane] = sums[32 * warp + lane].v[k];
        for (int away = 16; away > 0; away /= 2)
          for (int lane = 0; lane < away; ++lane) values[lane] += values[lane + away];
        scratch.Warp[warp][k] = values[0];
      }
      scratch.Total[k] = scratch.Warp[0][k];
      for (int warp = 1; warp < nLanes / 32; ++warp) scratch.Total[k] += scratch.Warp[warp][k];
    }
  }

 private:
  int64_t nIndex;
  int nLanes;
  LaneOrder Order;
};

class SequentialLauncher {
 public:
  explicit SequentialLauncher(LaneOrder order) : Order(order) {}

  template <class Step>
  void operator()(const Step& step, int64_t blocks, int lanes) const {
    static_assert(Step::kThreads % 32 == 0 && Step::kThreads <= SequentialBlock::kMostLanes);
    if (lanes > Step::kThreads || lanes % 32 != 0) std::abort();
    const auto shared = std::make_unique<typename Step::Shared>();
    for (int64_t k = 0; k < blocks; ++k) {
      std::memset(static_cast<void*>(shared.get()), 0x7f, sizeof(typename Step::Shared));
      SequentialBlock block(Order == LaneOrder::Forward ? k : blocks - 1 - k, lanes, Order);
      step.Run(block, *shared);
    }
  }

 private:
  LaneOrder Order;
};

class SequentialDevice final : public gpu::Device {
 public:
  explicit SequentialDevice(LaneOrder order)
      : host(gpu::MakeHostDevice(int64_t{1} << 30, 1)), launch(order) {}

  int GetDeviceCount(int32_t& count) override { return host->GetDeviceCount(count); }
  int GetProperties(int32_t device, gpu::DeviceProperties& properties) override {
    return host->GetProperties(device, properties);
  }
  int SetDevice(int32_t device) override { return host->SetDevice(device); }
  int Malloc(void*& address, size_t bytes) override { return host->Malloc(address, bytes); }
  int Free(void* address) override { return host->Free(address); }
  int CopyToDevice(void* to, const void* from, size_t bytes) override {
    return host->CopyToDevice(to, from, bytes);
  }
  int CopyToHost(void* to, const void* from, size_t bytes) override {
    return host->CopyToHost(to, from, bytes);
  }
  int Clear(void* address, size_t bytes) override { return host->Clear(address, bytes); }

  int Launch(const gpu::KernelCall& call) override {
    if (call.Form != gpu::KernelForm::Fast) return host->Launch(call);
    switch (call.Which) {
      case gpu::Kernel::SumMatrix:
        PlanSumMatrix(call, launch);
        break;
      case gpu::Kernel::ConstVector:
        PlanConstVector(call, launch);
        break;
      case gpu::Kernel::Preconditioner:
        PlanPreconditioner(call, launch);
        break;
      case gpu::Kernel::PreconditionerIop:
        PlanPreconditionerIop(call, launch);
        break;
      case gpu::Kernel::MatrixVectorAd:
        PlanMatrixVectorAd(call, launch);
        break;
    }
    return 0;
  }

 private:
  std::unique_ptr<gpu::Device> host;
  SequentialLauncher launch;
};

}  // namespace

std::unique_ptr<gpu::Device> MakeSequentialDevice(LaneOrder order) {
  return std::make_unique<SequentialDevice>(order);
}

}  // namespace orvo::test
