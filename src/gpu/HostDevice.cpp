#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <map>
#include <optional>

#include "gpu/Device.h"
#include "gpu/kernels/fast/FastKernels.h"
#include "gpu/kernels/fast/FastLayout.h"

namespace orvo::gpu {
namespace {

// The codes of the CUDA runtime for the same failures, so that messages read alike.
constexpr int kDone = 0;
constexpr int kInvalidValue = 1;
constexpr int kOutOfMemory = 2;
constexpr int kInvalidDevice = 101;
constexpr int kIllegalAddress = 700;
constexpr int kNotSupported = 801;

// The fast kernels read rows of 32 and 64 bytes; where these cross cache lines, each costs two.
constexpr size_t kAlignment = 64;

class HostDevice final : public Device {
 public:
  HostDevice(int64_t freeBytes, int processors, LiteralKernels literal)
      : nFreeBytes(freeBytes > 0 ? static_cast<uint64_t>(freeBytes) : 0),
        nProcessors(processors),
        Literal(literal) {}
  HostDevice(const HostDevice&) = delete;
  HostDevice& operator=(const HostDevice&) = delete;
  ~HostDevice() override {
    for (const auto& [address, array] : Arrays) std::free(array.pBlock);
  }

  int GetDeviceCount(int32_t& count) override {
    count = 1;
    return kDone;
  }

  std::string ReasonOf(int code) const override {
    switch (code) {
      case kInvalidValue:
        return "invalid argument";
      case kOutOfMemory:
        return "out of memory";
      case kInvalidDevice:
        return "invalid device ordinal";
      case kIllegalAddress:
        return "an illegal memory access was encountered";
      case kNotSupported:
        return "operation not supported";
      default:
        return {};
    }
  }

  int GetProperties(int32_t device, DeviceProperties& properties) override {
    if (device != 0) return kInvalidDevice;
    properties.szName = "Host device";
    properties.totalGlobalMem = nFreeBytes;
    properties.sharedMemPerBlock = 49152;
    properties.regsPerBlock = 65536;
    properties.major = 7;
    properties.minor = 5;
    properties.kernelExecTimeoutEnabled = 0;
    return kDone;
  }

  int SetDevice(int32_t device) override { return device == 0 ? nFailure : kInvalidDevice; }

  int Malloc(void*& address, size_t bytes) override {
    address = nullptr;
    if (bytes == 0 || nFailure != kDone) return nFailure;
    // A system that promises more memory than it has would end the run later.
    if (bytes > nFreeBytes - nTakenBytes || bytes > SIZE_MAX - kAlignment) return kOutOfMemory;
    // Pages that no kernel touches are never taken from the system.
    void* const block = std::calloc(bytes + kAlignment, 1);
    if (block == nullptr) return kOutOfMemory;
    address = static_cast<char*>(block) + kAlignment - reinterpret_cast<uintptr_t>(block) % kAlignment;
    Arrays.emplace(reinterpret_cast<uintptr_t>(address), Array{block, bytes});
    nTakenBytes += bytes;
    return kDone;
  }

  int Free(void* address) override {
    if (address == nullptr) return nFailure;
    const auto array = Arrays.find(reinterpret_cast<uintptr_t>(address));
    if (array == Arrays.end()) return kInvalidValue;
    nTakenBytes -= array->second.nBytes;
    std::free(array->second.pBlock);
    Arrays.erase(array);
    return nFailure;
  }

  int CopyToDevice(void* to, const void* from, size_t bytes) override {
    if (const int code = Check(to, bytes); code != kDone || bytes == 0) return code;
    if (from == nullptr) return kInvalidValue;
    std::memcpy(to, from, bytes);
    return kDone;
  }

  int CopyToHost(void* to, const void* from, size_t bytes) override {
    if (const int code = Check(from, bytes); code != kDone || bytes == 0) return code;
    if (to == nullptr) return kInvalidValue;
    std::memcpy(to, from, bytes);
    return kDone;
  }

  int Clear(void* address, size_t bytes) override {
    if (const int code = Check(address, bytes); code != kDone || bytes == 0) return code;
    std::memset(address, 0, bytes);
    return kDone;
  }

  int Launch(const KernelCall& call) override {
    if (nFailure != kDone) return nFailure;
    if (!HasArrays(call)) {
      // As on a device, whose every later answer is this code.
      nFailure = kIllegalAddress;
      return kDone;
    }
    if (call.Form == KernelForm::Literal) return Literal.OnHost ? Literal.OnHost(call) : kNotSupported;
    if (!Pool) Pool.emplace(nProcessors);
    RunFastKernel(call, *Pool);
    return kDone;
  }

 private:
  struct Array {
    void* pBlock = nullptr;  ///< of the system
    size_t nBytes = 0;
  };

  /// What stands in the way of touching `bytes` bytes at a device address.
  int Check(const void* address, size_t bytes) const {
    if (nFailure != kDone || bytes == 0) return nFailure;
    const auto at = reinterpret_cast<uintptr_t>(address);
    auto array = Arrays.upper_bound(at);
    if (address == nullptr || array == Arrays.begin()) return kInvalidValue;
    --array;
    const size_t offset = at - array->first;
    const size_t size = array->second.nBytes;
    return offset <= size && bytes <= size - offset ? kDone : kInvalidValue;
  }

  bool Holds(const void* address, int64_t count) const {
    return count < 1 || (address != nullptr && Check(address, static_cast<size_t>(count) * 4) == kDone);
  }

  /// Every array that the kernel may touch is there, in full size.
  bool HasArrays(const KernelCall& call) const {
    const DeviceArrays& arrays = call.Arrays;
    const GpuPara& para = call.Para;
    const int64_t n = para.nImgPt, m = para.nObjPt;
    return Holds(arrays.cupPara, sizeof(GpuPara) / 4) && Holds(arrays.cupImgIdx, 4 * n) &&
           Holds(arrays.cupObjIdx, 3 * m) && Holds(arrays.cupImgPt, 4 * n) &&
           Holds(arrays.cupObjPt, 12 * m) && Holds(arrays.cupEop, 6 * call.nImageNum) &&
           Holds(arrays.cupIop, 5 * para.nCameraCount) && HasResults(call) &&
           (call.Form == KernelForm::Fast ? HasFastWork(call) : HasLiteralWork(call));
  }

  bool HasResults(const KernelCall& call) const {
    const DeviceArrays& arrays = call.Arrays;
    const int64_t unknowns = call.Para.nUnknownLen;
    switch (call.Which) {
      case Kernel::SumMatrix:
        return Holds(arrays.cupRms, kRmsFloats);
      case Kernel::ConstVector:
        return Holds(arrays.cupR, unknowns);
      case Kernel::Preconditioner:
      case Kernel::PreconditionerIop:
        return Holds(arrays.cupM, call.Para.nPrecondLen);
      case Kernel::MatrixVectorAd:
        return Holds(arrays.cupD, unknowns) && Holds(arrays.cupAd, unknowns);
    }
    return false;
  }

  bool HasFastWork(const KernelCall& call) const {
    return Holds(call.Arrays.cupFast, FastWorkWords(call.nImageNum, call.Para.nCameraCount));
  }

  bool HasLiteralWork(const KernelCall& call) const {
    const DeviceArrays& arrays = call.Arrays;
    const int64_t points = call.Para.nObjPt, copies = kLaunchBlocks;
    switch (call.Which) {
      case Kernel::SumMatrix:
        return Holds(arrays.cupTR, TailFloats(call.Para.nImgPt));
      case Kernel::ConstVector:
        return Holds(arrays.cuptR, copies * call.Para.nUnknownLen);
      case Kernel::Preconditioner:
        return Holds(arrays.cuptM, copies * call.Para.nPrecondLen);
      case Kernel::PreconditionerIop:
        return Holds(arrays.cuptM, copies * call.Para.nPrecondLen) && Holds(arrays.cupPairPos, points);
      case Kernel::MatrixVectorAd:
        return Holds(arrays.cuptAd, copies * call.Para.nUnknownLen) && Holds(arrays.cupPairPos, points);
    }
    return false;
  }

  uint64_t nFreeBytes, nTakenBytes = 0;
  int nProcessors;
  LiteralKernels Literal;
  int nFailure = kDone;               ///< of a launch; stays
  std::map<uintptr_t, Array> Arrays;  ///< by device address
  std::optional<WorkerPool> Pool;
};

}  // namespace

std::unique_ptr<Device> MakeHostDevice(int64_t freeBytes, int processors, LiteralKernels literal) {
  return std::make_unique<HostDevice>(freeBytes, processors, literal);
}

}  // namespace orvo::gpu
