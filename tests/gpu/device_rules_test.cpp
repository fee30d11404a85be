// Which devices a run takes, and what discovery tells the console.
#include "gpu/DeviceRules.h"

#include <gtest/gtest.h>

#include "DeviceParts.h"
#include "RecordingDevice.h"
#include "gpu/DetectDevices.h"

namespace orvo::test {
namespace {

gpu::DeviceProperties With(void (*change)(gpu::DeviceProperties&)) {
  gpu::DeviceProperties properties = GoodDevice();
  change(properties);
  return properties;
}

TEST(DeviceRules, Verdicts) {
  using gpu::DeviceVerdict;
  const struct {
    const char* what;
    gpu::DeviceProperties properties;
    DeviceVerdict verdict;
  } rows[] = {
      {"good", GoodDevice(), DeviceVerdict::Qualifies},
      {"a gigabyte", With([](auto& p) { p.totalGlobalMem = uint64_t{1} << 30; }), DeviceVerdict::Qualifies},
      {"a byte less", With([](auto& p) { p.totalGlobalMem = (uint64_t{1} << 30) - 1; }),
       DeviceVerdict::TooSmall},
      {"shared memory", With([](auto& p) { p.sharedMemPerBlock = 49151; }), DeviceVerdict::TooSmall},
      {"registers", With([](auto& p) { p.regsPerBlock = 49151; }), DeviceVerdict::TooSmall},
      {"just enough registers", With([](auto& p) { p.regsPerBlock = 49152; }), DeviceVerdict::Qualifies},
      {"watchdog", With([](auto& p) { p.kernelExecTimeoutEnabled = 1; }), DeviceVerdict::HasWatchdog},
      {"watchdog on a small one", With([](auto& p) {
         p.kernelExecTimeoutEnabled = 1;
         p.regsPerBlock = 32768;
       }),
       DeviceVerdict::TooSmall},
      {"nothing", gpu::DeviceProperties(), DeviceVerdict::TooSmall},
  };
  for (const auto& row : rows) EXPECT_EQ(gpu::JudgeDevice(row.properties), row.verdict) << row.what;
}

TEST(DeviceRules, FiguresAreWholeUnits) {
  gpu::DeviceProperties properties = GoodDevice();
  properties.totalGlobalMem = (uint64_t{150} << 30) - 1;
  properties.sharedMemPerBlock = 101375;
  properties.regsPerBlock = 65535;
  const gpu::DeviceFigures figures = gpu::FiguresOf(properties);
  EXPECT_EQ(figures.nGlobalGigabytes, 149);
  EXPECT_EQ(figures.nSharedKilobytes, 98);
  EXPECT_EQ(figures.nRegisterKilobytes, 63);
  properties.totalGlobalMem = ~uint64_t{0};  // 2^34 gigabytes less one
  EXPECT_EQ(gpu::FiguresOf(properties).nGlobalGigabytes, INT32_MAX);
}

struct Discovery : DeviceParts {
  DeviceRecord record;

  bool Run() {
    State.pDevice = std::make_unique<RecordingDevice>(record);
    return gpu::DetectCudaDevices(State, Log);
  }
};

constexpr const char* kHead = ">>Detecting available cuda device...\n";

std::string Line(int number, const std::string& name) {
  return ">>" + std::to_string(number) + ":" + name +
         "  GlobalMemory(GB):4  SharedMemory(KB):48  RegisterPerMS(KB):64  Version:7.5\n";
}

TEST(DetectCudaDevices, TellsEveryDeviceThatQualifies) {
  Discovery d;
  d.record.Devices = {GoodDevice("A"), With([](auto& p) { p.regsPerBlock = 1024; }), GoodDevice("C"),
                      GoodDevice("D")};
  d.record.FailingDevices = {2};
  EXPECT_TRUE(d.Run());
  EXPECT_EQ(d.console.Text(), kHead + std::string(">>4 device(s) are found:\n") + Line(0, "A") +
                                  Line(3, "D") + ">>CUDA initialized\n\n");
  EXPECT_EQ(d.State.nDeviceNum, 4);
  EXPECT_EQ(d.State.nEnabledDeviceNum, 1);
}

TEST(DetectCudaDevices, NoneAndFailure) {
  for (const int code : {0, 35}) {
    Discovery d;
    if (code == 0) d.record.Devices.clear();
    d.record.nCountFailure = code;
    EXPECT_FALSE(d.Run());
    EXPECT_EQ(d.console.Text(), kHead + std::string(">>0 device(s) are found:\n"));
  }
}

TEST(DetectCudaDevices, WatchdogEndsTheSearch) {
  Discovery d;
  d.record.Devices = {GoodDevice("A"), With([](auto& p) { p.kernelExecTimeoutEnabled = 1; }),
                      GoodDevice("C")};
  EXPECT_FALSE(d.Run());
  EXPECT_EQ(d.console.Text(),
            kHead + std::string(">>3 device(s) are found:\n") + Line(0, "A") +
                "WDDM is enabled!\nTo use GPU mode, please manually change the register key 'TdrLevel' to be "
                "0 and then reboot windows!\n");
}

TEST(DetectCudaDevices, AnOldDeviceIsListedAndNotUsed) {
  Discovery d;
  d.record.Devices = {With([](auto& p) { p.major = 1; })};
  EXPECT_FALSE(d.Run());
  EXPECT_NE(d.console.Text().find("Version:1.5\n"), std::string::npos);
  EXPECT_EQ(d.console.Count("initialized"), 0);
}

TEST(DetectCudaDevices, HostDevice) {
  DeviceParts d;
  d.State.pDevice = gpu::MakeHostDevice(int64_t{3} << 30, 1);
  EXPECT_TRUE(gpu::DetectCudaDevices(d.State, d.Log));
  EXPECT_EQ(d.console.Text(),
            kHead + std::string(">>1 device(s) are found:\n>>0:Host device  "
                                "GlobalMemory(GB):3  SharedMemory(KB):48  "
                                "RegisterPerMS(KB):64  Version:7.5\n>>CUDA initialized\n\n"));
}

TEST(FindDeviceLack, SaysWhatDiscoveryWillFind) {
  using gpu::DeviceLack;
  const auto small = With([](auto& p) { p.totalGlobalMem = 1000; });
  const auto watched = With([](auto& p) { p.kernelExecTimeoutEnabled = 1; });
  const auto old = With([](auto& p) { p.major = 1; });
  const std::pair<std::vector<gpu::DeviceProperties>, DeviceLack> rows[] = {
      {{}, DeviceLack::NoDevice},
      {{GoodDevice()}, DeviceLack::None},
      {{small}, DeviceLack::TooSmall},
      {{small, GoodDevice()}, DeviceLack::None},
      {{old}, DeviceLack::TooSmall},
      {{GoodDevice(), watched}, DeviceLack::Watchdog},
      {{watched, GoodDevice()}, DeviceLack::Watchdog},
  };
  for (const auto& [devices, lack] : rows) {
    DeviceRecord record;
    record.Devices = devices;
    RecordingDevice device(record);
    EXPECT_EQ(gpu::FindDeviceLack(device), lack) << devices.size();
  }
  DeviceRecord failing;
  failing.nCountFailure = 100;
  RecordingDevice device(failing);
  EXPECT_EQ(gpu::FindDeviceLack(device), DeviceLack::NoDevice);
}

}  // namespace
}  // namespace orvo::test
