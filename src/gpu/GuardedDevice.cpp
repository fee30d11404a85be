#include "gpu/GuardedDevice.h"

#include <utility>

namespace orvo::gpu {
namespace {

const char* NameOf(Kernel kernel) {
  switch (kernel) {
    case Kernel::SumMatrix:
      return "sum matrix";
    case Kernel::ConstVector:
      return "constant vector";
    case Kernel::Preconditioner:
      return "preconditioner of the images";
    case Kernel::PreconditionerIop:
      return "preconditioner of the cameras";
    case Kernel::MatrixVectorAd:
      return "matrix-vector product";
  }
  return "kernel";
}

std::string Bytes(const char* before, size_t bytes, const char* behind = "") {
  return std::string(before) + " " + std::to_string(bytes) + " bytes" + behind;
}

class GuardedDevice final : public Device {
 public:
  GuardedDevice(std::unique_ptr<Device> device, DeviceFault& fault)
      : pInner(std::move(device)), Fault(fault) {}

  int GetDeviceCount(int32_t& count) override { return pInner->GetDeviceCount(count); }
  int GetProperties(int32_t device, DeviceProperties& properties) override {
    return pInner->GetProperties(device, properties);
  }
  std::string ReasonOf(int code) const override { return pInner->ReasonOf(code); }

  int SetDevice(int32_t device) override {
    return Run([&] { return pInner->SetDevice(device); },
               [&] { return "choosing device " + std::to_string(device); });
  }
  int Malloc(void*& address, size_t bytes) override {
    address = nullptr;
    return Run([&] { return pInner->Malloc(address, bytes); },
               [&] { return Bytes("allocating", bytes, " on the device"); });
  }
  /// Also after a fault: what was taken is given back.
  int Free(void* address) override {
    Keep(pInner->Free(address), [] { return std::string("releasing memory of the device"); });
    return Fault.nCode;
  }
  int CopyToDevice(void* to, const void* from, size_t bytes) override {
    return Run([&] { return pInner->CopyToDevice(to, from, bytes); },
               [&] { return Bytes("copying", bytes, " to the device"); });
  }
  int CopyToHost(void* to, const void* from, size_t bytes) override {
    return Run([&] { return pInner->CopyToHost(to, from, bytes); },
               [&] { return Bytes("copying", bytes, " from the device"); });
  }
  int Clear(void* address, size_t bytes) override {
    return Run([&] { return pInner->Clear(address, bytes); },
               [&] { return Bytes("clearing", bytes, " on the device"); });
  }
  int Launch(const KernelCall& call) override {
    return Run([&] { return pInner->Launch(call); },
               [&] { return std::string("starting the kernel of the ") + NameOf(call.Which); });
  }

 private:
  template <class Operation, class Name>
  int Run(const Operation& operation, const Name& name) {
    if (!Fault.IsThere()) Keep(operation(), name);
    return Fault.nCode;
  }
  template <class Name>
  void Keep(int code, const Name& name) {
    if (code == 0 || Fault.IsThere()) return;
    Fault = {code, name(), pInner->ReasonOf(code)};
  }

  std::unique_ptr<Device> pInner;
  DeviceFault& Fault;
};

}  // namespace

std::string DeviceFault::Text() const {
  return szCall + ": " + (szReason.empty() ? "error" : szReason) + " (" + std::to_string(nCode) + ")";
}

std::unique_ptr<Device> GuardDevice(std::unique_ptr<Device> device, DeviceFault& fault) {
  return std::make_unique<GuardedDevice>(std::move(device), fault);
}

}  // namespace orvo::gpu
