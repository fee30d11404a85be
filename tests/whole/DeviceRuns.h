// Blocks and runs of the tests of the device path.
#pragma once

#include <gtest/gtest.h>

#include <string>

#include "gpu/GpuSections.h"
#include "gpu/kernels/literal/LiteralKernels.h"
#include "support/Block.h"

namespace orvo::test::device {

inline SyntheticOptions Options(int32_t cameras = 1) {
  SyntheticOptions options;
  options.nStrips = 3;
  options.nImagesPerStrip = 6;
  options.nCrossStrips = 2;
  options.nCameras = cameras;
  options.fSideOverlap = 50;
  options.fRelief = 300;
  options.fTilt = 5;
  options.fMeasurementsPerImage = 200;
  options.fNoise = 0.5;
  options.nControlPoints = 8;
  options.nCheckPoints = 12;
  options.fStartFocal = 2;
  options.fStartPrincipal = 0;
  return options;
}

/// Settings under which both paths come to rest.
inline void ManyIterations(Block& block, const char* damping = "1e-4", const char* iterations = "40") {
  block.Set("Damping_Coefficient", damping);
  block.Set("Free_LM_Iteration_Num", "100");
  block.Set("GCP_LM_Iteration_Num", "100");
  block.Set("Max_LM_Iteration_Num", iterations);
  block.Set("LM_Converge_Threshold", "1e-5");
  block.Set("GCP_Accuracy", "0.01");
}

/// On what a run computes.
struct Device {
  DeviceChoice At = DeviceChoice::Host;
  gpu::KernelForm Kernels = gpu::KernelForm::Fast;
  int64_t nDeviceMemory = 0;
  int64_t nMemory = int64_t{1} << 32;
  int nProcessors = 2;
};

/// The device path on the processor, with a device of 4 GB whatever the machine has.
inline RunOptions HostOptions(gpu::KernelForm kernels = gpu::KernelForm::Fast, int processors = 2) {
  RunOptions options;
  options.At = DeviceChoice::Host;
  options.Kernels = kernels;
  options.MakeDevice = [processors] {
    return gpu::MakeHostDevice(int64_t{1} << 32, processors, gpu::kLiteralKernels);
  };
  return options;
}

inline RunOutcome Adjust(Block& block, const Device& device, const std::string& output = "out",
                         bool pos = false) {
  BlockRun run;
  run.bBinary = true;
  run.bPos = pos;
  run.szOutput = output;
  run.Machine = MadeUpPlatform(device.nMemory, device.nProcessors);
  run.Options = HostOptions(device.Kernels, device.nProcessors);
  run.Options.At = device.At;
  run.Options.nDeviceMemory = device.nDeviceMemory;
  const RunOutcome outcome = block.Run(run);
  EXPECT_TRUE(outcome.bDone) << block.Log();
  EXPECT_EQ(outcome.nOutputFailureNum, 0);
  return outcome;
}

inline const Device kCpu{DeviceChoice::Cpu};

inline int64_t Points(const Block& block) {
  const SyntheticCounts& counts = block.Truth().Counts;
  return counts.nTiePoints + counts.nControlPoints + counts.nCheckPoints;
}

inline int64_t ImagePoints(const Block& block) {
  return block.Truth().Counts.nTieMeasurements + block.Truth().Counts.nGroundMeasurements;
}

/// Free memory that makes this many point sections of the block.
inline int64_t MemoryForSections(const Block& block, int sections) {
  const SyntheticCounts& counts = block.Truth().Counts;
  const int64_t need =
      68 * Points(block) + 28 * ImagePoints(block) + 60 * counts.nImages + 40 * counts.nCameras;
  return static_cast<int64_t>(static_cast<double>(need) / (sections - 0.5) / 0.8);
}

/// Device memory that makes this many GPU sections of a block with images and cameras unknown.
inline int64_t DeviceMemoryForSections(const Block& block, int sections, int pointSections = 1) {
  const auto images = static_cast<int32_t>(block.Truth().Counts.nImages);
  const auto cameras = static_cast<int32_t>(block.Truth().Counts.nCameras);
  const double fixed =
      gpu::FixedDeviceBytes({6 * images + 5 * cameras, 21 * images + 15 * cameras, images, cameras});
  const double points =
      gpu::PointDeviceBytes(Points(block) / pointSections, ImagePoints(block) / pointSections);
  return static_cast<int64_t>((points / (sections - 0.5) + fixed) / 0.64);
}

inline size_t CountOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

}  // namespace orvo::test::device
