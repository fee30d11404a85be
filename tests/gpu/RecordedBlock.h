// Runs over a small block on a device that records what is asked of it.
#pragma once

#include <cstdint>
#include <memory>
#include <string>
#include <vector>

#include "RecordingDevice.h"
#include "gpu/GpuSections.h"
#include "records/UnknownLayout.h"
#include "support/Block.h"

namespace orvo::test {

struct LayoutRow {
  const char* szName;
  LayoutMode mode;
  bool bEop, bIop;
  int32_t nCameras;
};

inline constexpr LayoutRow kEopIop{"EopIop", LayoutEopIop, true, true, 1};

inline SyntheticOptions SmallBlock(int32_t cameras) {
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 4;
  options.nCameras = cameras;
  options.fMeasurementsPerImage = 60;
  options.nControlPoints = 3;
  options.nCheckPoints = 2;
  return options;
}

/// A small block, and runs over it on a recording device.
class RecordedBlock {
 public:
  explicit RecordedBlock(const LayoutRow& layout, const char* iterations = "1")
      : Layout(layout), Files(SmallBlock(layout.nCameras)) {
    Files.Set("Set_EOP_Unknown", layout.bEop ? "true" : "false");
    Files.Set("Set_IOP_Unknown", layout.bIop ? "true" : "false");
    Files.Set("Max_LM_Iteration_Num", iterations);
    Files.Set("LM_Converge_Threshold", "0");
    Run.bBinary = true;
    Run.Options.At = DeviceChoice::Host;
    Run.Options.MakeDevice = [this] { return std::make_unique<RecordingDevice>(Record); };
  }
  RunOutcome Adjust(gpu::KernelForm form) {
    Record.Calls.clear();
    Run.Options.Kernels = form;
    return Files.Run(Run);
  }
  int64_t Points() const {
    const SyntheticCounts& counts = Files.Truth().Counts;
    return counts.nTiePoints + counts.nControlPoints + counts.nCheckPoints;
  }
  int64_t ImagePoints() const {
    return Files.Truth().Counts.nTieMeasurements + Files.Truth().Counts.nGroundMeasurements;
  }
  int64_t Images() const { return Files.Truth().Counts.nImages; }
  int64_t Cameras() const { return Files.Truth().Counts.nCameras; }
  int64_t Unknowns() const {
    if (Layout.mode == LayoutMergedEopIop) return 11 * Images();
    return (Layout.bEop ? 6 * Images() : 0) + (Layout.bIop ? 5 * Cameras() : 0);
  }
  int64_t Upper() const {
    if (Layout.mode == LayoutMergedEopIop) return 66 * Images();
    return (Layout.bEop ? 21 * Images() : 0) + (Layout.bIop ? 15 * Cameras() : 0);
  }
  /// Bytes of device memory that make this many GPU sections of the block.
  int64_t MemoryForSections(int sections) const {
    const double fixed =
        gpu::FixedDeviceBytes({static_cast<int32_t>(Unknowns()), static_cast<int32_t>(Upper()),
                               static_cast<int32_t>(Images()), static_cast<int32_t>(Cameras())});
    return static_cast<int64_t>((gpu::PointDeviceBytes(Points(), ImagePoints()) / (sections - 0.5) + fixed) /
                                0.64);
  }
  size_t PcgSteps() const {
    size_t steps = 0;
    const std::string log = Files.Log();
    for (size_t at = log.find("Forcing sequence:"); at != std::string::npos;
         at = log.find("Forcing sequence:", at + 1))
      ++steps;
    return steps;
  }
  std::string Log() const { return Files.Log(); }
  bool Logged(const std::string& text) const { return Log().find(text) != std::string::npos; }

  LayoutRow Layout;
  Block Files;
  DeviceRecord Record;
  BlockRun Run;
};

using Calls = std::vector<std::string>;

inline std::string Call(const std::string& name, int64_t bytes) { return name + " " + std::to_string(bytes); }

}  // namespace orvo::test
