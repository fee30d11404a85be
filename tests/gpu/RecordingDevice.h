// A made-up device: the host device with other properties, with a list of what was asked of it, and with
// operations that fail on request.
#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "gpu/Device.h"
#include "gpu/kernels/literal/LiteralKernels.h"

namespace orvo::test {

/// A device that qualifies.
inline gpu::DeviceProperties GoodDevice(const std::string& name = "Made up") {
  gpu::DeviceProperties properties;
  properties.szName = name;
  properties.totalGlobalMem = uint64_t{4} << 30;
  properties.sharedMemPerBlock = 49152;
  properties.regsPerBlock = 65536;
  properties.major = 7;
  properties.minor = 5;
  return properties;
}

/// Lives longer than the device, which belongs to the run.
struct DeviceRecord {
  std::vector<gpu::DeviceProperties> Devices{GoodDevice()};
  int nCountFailure = 0;                ///< code of GetDeviceCount
  std::vector<int32_t> FailingDevices;  ///< whose properties can't be had
  std::vector<std::string> Calls;       ///< "Malloc 96", "Launch SumMatrix"
  /// Code of the call with this text and number (from 0, among all calls), 0 to go on.
  std::function<int(const std::string& call, size_t number)> Fail;

  size_t Count(const std::string& call) const {
    size_t count = 0;
    for (const std::string& text : Calls) count += text == call;
    return count;
  }
};

inline std::string NameOf(gpu::Kernel kernel) {
  static const char* const names[] = {"SumMatrix", "ConstVector", "Preconditioner", "PreconditionerIop",
                                      "MatrixVectorAd"};
  return names[static_cast<size_t>(kernel)];
}

class RecordingDevice final : public gpu::Device {
 public:
  explicit RecordingDevice(DeviceRecord& record, int processors = 2)
      : Record(record), Host(gpu::MakeHostDevice(int64_t{1} << 32, processors, gpu::kLiteralKernels)) {}

  int GetDeviceCount(int32_t& count) override {
    count = static_cast<int32_t>(Record.Devices.size());
    return Record.nCountFailure;
  }
  int GetProperties(int32_t device, gpu::DeviceProperties& properties) override {
    for (const int32_t failing : Record.FailingDevices) {
      if (failing == device) return 46;
    }
    properties = Record.Devices.at(static_cast<size_t>(device));
    return 0;
  }
  std::string ReasonOf(int code) const override { return "made up reason " + std::to_string(code); }
  int SetDevice(int32_t device) override { return Note("SetDevice " + std::to_string(device)); }
  int Malloc(void*& address, size_t bytes) override {
    address = nullptr;
    const int code = Note("Malloc " + std::to_string(bytes));
    return code != 0 ? code : Host->Malloc(address, bytes);
  }
  int Free(void* address) override {
    const int code = Note(address == nullptr ? "Free null" : "Free");
    const int host = Host->Free(address);
    return code != 0 ? code : host;
  }
  int CopyToDevice(void* to, const void* from, size_t bytes) override {
    const int code = Note("ToDevice " + std::to_string(bytes));
    return code != 0 ? code : Host->CopyToDevice(to, from, bytes);
  }
  int CopyToHost(void* to, const void* from, size_t bytes) override {
    const int code = Note("ToHost " + std::to_string(bytes));
    return code != 0 ? code : Host->CopyToHost(to, from, bytes);
  }
  int Clear(void* address, size_t bytes) override {
    const int code = Note("Clear " + std::to_string(bytes));
    return code != 0 ? code : Host->Clear(address, bytes);
  }
  int Launch(const gpu::KernelCall& call) override {
    const int code = Note("Launch " + NameOf(call.Which));
    return code != 0 ? code : Host->Launch(call);
  }

 private:
  int Note(const std::string& call) {
    Record.Calls.push_back(call);
    return Record.Fail ? Record.Fail(call, Record.Calls.size() - 1) : 0;
  }

  DeviceRecord& Record;
  std::unique_ptr<gpu::Device> Host;
};

}  // namespace orvo::test
