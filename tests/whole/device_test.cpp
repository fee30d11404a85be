// The device path, with the processor as the device, against truth and against the CPU path.
#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <filesystem>
#include <sstream>
#include <vector>

#include "whole/DeviceRuns.h"

namespace orvo::test::device {
namespace {

struct LayoutRow {
  const char* szName;
  bool bEop, bIop;
  int32_t nCameras;
  double fRmse;  ///< relative difference from the CPU path
};

void PrintTo(const LayoutRow& layout, std::ostream* out) { *out << layout.szName; }

class DeviceLayouts : public ::testing::TestWithParam<LayoutRow> {};

TEST_P(DeviceLayouts, EndWhereTheCpuEnds) {
  const LayoutRow& layout = GetParam();
  SyntheticOptions options = Options(layout.nCameras);
  // Focal length and flying height, which hardly tell from each other, are well determined here.
  options.nSeed = 5;
  if (!layout.bEop) options.fStartPosition = options.fStartAngle = 0;
  if (!layout.bIop) options.fStartFocal = 0;
  Block block(options);
  ManyIterations(block);
  block.Set("Set_EOP_Unknown", layout.bEop ? "true" : "false");
  block.Set("Set_IOP_Unknown", layout.bIop ? "true" : "false");
  block.Set("Output_Image_Point_RMSE", "false");
  // A measurement at the threshold of gross errors would fall on one side here and on the other there.
  block.Set("Gross_Point_Threshold", "1e6");
  Adjust(block, kCpu);
  const Report cpu = block.AdjustReport();
  const OrientationError cpuError = CompareOrientations(block.Truth(), block.Result());
  for (const gpu::KernelForm form : {gpu::KernelForm::Fast, gpu::KernelForm::Literal}) {
    Device device;
    device.Kernels = form;
    Adjust(block, device);
    EXPECT_NE(block.Log().find("GPU sections:1\n"), std::string::npos);
    const Report report = block.AdjustReport();
    ASSERT_TRUE(report.bRead);
    for (size_t axis = 0; axis < 2; ++axis) {
      EXPECT_NEAR(report.Rmse[axis], cpu.Rmse[axis], layout.fRmse * cpu.Rmse[axis]) << axis;
    }
    const OrientationError error = CompareOrientations(block.Truth(), block.Result());
    EXPECT_LE(error.fPosition, 1.25 * cpuError.fPosition);
    EXPECT_LE(error.fAngle, 1.25 * cpuError.fAngle);
    // The noise of the measurements is 5 cm on the ground.
    for (size_t axis = 0; axis < 3; ++axis) {
      EXPECT_LT(report.Check.Rmse[axis], cpu.Check.Rmse[axis] + 0.05) << axis;
      EXPECT_LT(report.Control.Rmse[axis], cpu.Control.Rmse[axis] + 0.05) << axis;
    }
    EXPECT_EQ(report.Check.pPoints.size(), 12u);
    EXPECT_TRUE(Exists(block.Output("OrvoResult.ovt")));
  }
}

INSTANTIATE_TEST_SUITE_P(Modes, DeviceLayouts,
                         ::testing::Values(LayoutRow{"Eop", true, false, 1, 0.001},
                                           LayoutRow{"Iop", false, true, 2, 0.001},
                                           LayoutRow{"EopIop", true, true, 1, 0.05}),
                         [](const auto& parameter) { return parameter.param.szName; });

/// One camera for each image: single precision carries the block to its noise, where the damping holds it.
TEST(MergedBlocks, GoAsFarAsSinglePrecisionCarries) {
  SyntheticOptions options = Options(0);
  options.nSeed = 5;
  options.fTilt = 10;
  options.fMeasurementsPerImage = 400;
  options.nControlPoints = 12;
  Block block(options);
  ManyIterations(block);
  const SyntheticCounts& counts = block.Truth().Counts;
  const double n = 2.0 * static_cast<double>(counts.nTieMeasurements + counts.nGroundMeasurements);
  const double u = 11.0 * static_cast<double>(counts.nImages) + 3.0 * static_cast<double>(counts.nTiePoints);
  const double fitted = options.fNoise * std::sqrt(1 - u / n);
  Adjust(block, {});
  const Report report = block.AdjustReport();
  EXPECT_LT(std::hypot(report.Rmse[0], report.Rmse[1]) / std::sqrt(2.0), 1.1 * fitted);
}

/// The five numbers of each forcing line of an iteration.
std::vector<std::array<double, 5>> Forcing(const std::string& log, int iteration = 0) {
  std::vector<std::array<double, 5>> lines;
  const std::string mark = "Forcing sequence:";
  const size_t begin = log.find(">>>>Start PCG iteration " + std::to_string(iteration) + "\n");
  const size_t end = log.find(">>>>PCG iteration times:", begin);
  for (size_t at = log.find(mark, begin); at < end; at = log.find(mark, at + 1)) {
    std::array<double, 5> v{};
    std::sscanf(log.c_str() + at + mark.size(), "%lf %lf %lf %lf %lf", &v[0], &v[1], &v[2], &v[3], &v[4]);
    lines.push_back(v);
  }
  return lines;
}

TEST(DevicePath, SectionsOfEveryKindGiveTheSameAdjustment) {
  SyntheticOptions options = Options();
  options.fOutlierFraction = 0.003;
  options.fOutlierSize = 60;
  Block block(options);
  ManyIterations(block, "1e-3", "8");
  block.Set("Set_IOP_Unknown", "false");
  const int64_t plenty = int64_t{1} << 32;
  const struct {
    const char* output;
    int64_t memory, deviceMemory;
    int pointSections;
    const char* gpuSections;
  } rows[] = {
      {"one", plenty, 0, 1, "GPU sections:1\n"},
      {"gpu", plenty, DeviceMemoryForSections(block, 4), 1, "GPU sections:4\n"},
      {"points", MemoryForSections(block, 3), 0, 3, "GPU sections:1\n"},
      {"both", MemoryForSections(block, 3), DeviceMemoryForSections(block, 2, 3), 3, "GPU sections:2\n"}};
  Report first;
  std::vector<std::array<double, 5>> firstForcing[2];
  for (const auto& row : rows) {
    Device device;
    device.nMemory = row.memory;
    device.nDeviceMemory = row.deviceMemory;
    Adjust(block, device, row.output);
    const std::string log = block.Log();
    EXPECT_NE(log.find(std::string("CPU Sections:") + std::to_string(row.pointSections) + "\n"),
              std::string::npos);
    EXPECT_NE(log.find(row.gpuSections), std::string::npos) << log;
    const Report report = block.AdjustReport();
    if (std::string(row.output) == "one") first = report;
    // The gross flags change between these two iterations, but not between sums and products of one.
    for (const int iteration : {0, 1}) {
      const auto lines = Forcing(log, iteration);
      ASSERT_FALSE(lines.empty());
      auto& expected = firstForcing[iteration];
      if (expected.empty()) expected = lines;
      for (const size_t i : {0u, 2u, 4u}) {
        EXPECT_NEAR(lines[0][i], expected[0][i], 1e-3 * std::abs(expected[0][i])) << row.output << iteration;
      }
    }
    for (size_t axis = 0; axis < 2; ++axis)
      EXPECT_NEAR(report.Rmse[axis], first.Rmse[axis], 2e-3) << row.output;
    EXPECT_LT(report.Rmse[0], 0.7) << "far from the 60 pixels of an outlier";
    // Flags come from the statistics of the whole block, not of the sections before.
    size_t gross = 0, all = 0;
    for (int file = 0; Exists(block.Output("Residuals_7_" + std::to_string(file) + ".res")); ++file) {
      const std::string text = ReadFile(block.Output("Residuals_7_" + std::to_string(file) + ".res"));
      size_t a = 0, b = 0;
      ASSERT_EQ(std::sscanf(text.c_str() + text.find("Number of"), "Number of detected gross points:%zu/%zu",
                            &a, &b),
                2);
      gross += a;
      all += b;
    }
    EXPECT_EQ(all, static_cast<size_t>(ImagePoints(block)));
    EXPECT_GT(gross, static_cast<size_t>(0.8 * static_cast<double>(block.Truth().Counts.nOutliers)));
  }
  // Two GPU sections of each of three point sections are numbered through.
  EXPECT_TRUE(Exists(block.Output("Residuals_0_5.res")));
  EXPECT_FALSE(Exists(block.Output("Residuals_0_6.res")));
}

std::string WithoutNumbers(const std::string& log) {
  std::string text;
  for (const char c : log) {
    if (std::isdigit(static_cast<unsigned char>(c)) != 0 || c == '.' || c == '-') continue;
    text += c == ' ' ? ' ' : c;
  }
  std::string single;
  for (const char c : text) {
    if (c != ' ' || single.empty() || single.back() != ' ') single += c;
  }
  return single;
}

class DeviceForms : public ::testing::TestWithParam<LayoutRow> {};

TEST_P(DeviceForms, LogTheSameLines) {
  const LayoutRow& layout = GetParam();
  SyntheticOptions options = Options(layout.nCameras);
  options.fOutlierFraction = 0.002;
  Block block(options);
  ManyIterations(block, "1e-4", "1");
  block.Set("Set_EOP_Unknown", layout.bEop ? "true" : "false");
  block.Set("Set_IOP_Unknown", layout.bIop ? "true" : "false");
  for (const int64_t deviceMemory : {int64_t{0}, DeviceMemoryForSections(block, 2)}) {
    std::string logs[2];
    for (const bool literal : {false, true}) {
      Device device;
      device.nDeviceMemory = layout.nCameras == 0 ? 4 * deviceMemory : deviceMemory;
      if (literal) device.Kernels = gpu::KernelForm::Literal;
      Adjust(block, device, literal ? "literal" : "fast");
      logs[literal] = block.Log();
    }
    EXPECT_EQ(WithoutNumbers(logs[0]), WithoutNumbers(logs[1]));
    const auto fast = Forcing(logs[0]), literal = Forcing(logs[1]);
    ASSERT_EQ(fast.size(), literal.size());
    ASSERT_FALSE(fast.empty());
    for (size_t k = 0; k < fast.size(); ++k) {
      // The second number would be 0 without rounding.
      for (const size_t i : {0u, 2u, 3u, 4u})
        EXPECT_NEAR(fast[k][i], literal[k][i], 1e-3 * std::abs(literal[k][i])) << k << ' ' << i;
    }
  }
}

INSTANTIATE_TEST_SUITE_P(Modes, DeviceForms,
                         ::testing::Values(LayoutRow{"Eop", true, false, 1, 0},
                                           LayoutRow{"Iop", false, true, 2, 0},
                                           LayoutRow{"Merged", true, true, 0, 0},
                                           LayoutRow{"EopIop", true, true, 2, 0}),
                         [](const auto& parameter) { return parameter.param.szName; });

TEST(DevicePath, ARunRepeatsItselfOnAnyNumberOfProcessors) {
  SyntheticOptions options = Options(2);
  options.fOutlierFraction = 0.002;
  Block block(options);
  ManyIterations(block, "1e-4", "4");
  for (const int processors : {1, 2, 5}) {
    Device device;
    device.nProcessors = processors;
    Adjust(block, device, "run" + std::to_string(processors));
  }
  int files = 0;
  for (const auto& entry : std::filesystem::directory_iterator(block / "run1")) {
    const std::string name = entry.path().filename().string();
    if (name == "log.txt" || name == "OrvoResult.ovt") continue;
    for (const char* other : {"run2/", "run5/"}) {
      EXPECT_EQ(MaskClocks(ReadFile(block / ("run1/" + name))), MaskClocks(ReadFile(block / (other + name))))
          << name;
    }
    ++files;
  }
  EXPECT_GE(files, 4 + 2 * 4);
  EXPECT_EQ(ReadFile(block / "run1/OrvoResult.ovt"), ReadFile(block / "run5/OrvoResult.ovt"));
}

TEST(DevicePath, GpsDataHoldsTheBlock) {
  SyntheticOptions options = Options();
  options.nControlPoints = 4;
  options.fPosDrift = 0;
  Block block(options);
  ManyIterations(block);
  block.Set("Apply_GPS_Data", "true");
  block.Set("Correct_LinearError", "false");
  Adjust(block, kCpu, "cpu", true);
  const Report cpu = block.AdjustReport();
  Adjust(block, {}, "device", true);
  const Report report = block.AdjustReport();
  const std::string log = block.Log();
  EXPECT_NE(log.find(">>Reading POS data...\n"), std::string::npos);
  EXPECT_EQ(CountOf(log, ">>>>Update POS normal equation....\n"), CountOf(log, "Forcing sequence:"));
  EXPECT_EQ(CountOf(log, ">>>>Update POS constant vector....\n>>>>Update POS preconditioner....\n"),
            CountOf(log, ">>>>Start PCG iteration"));
  for (size_t axis = 0; axis < 2; ++axis)
    EXPECT_NEAR(report.Rmse[axis], cpu.Rmse[axis], 0.05 * cpu.Rmse[axis]);
  for (size_t axis = 0; axis < 3; ++axis) EXPECT_LT(report.Check.Rmse[axis], cpu.Check.Rmse[axis] + 0.05);
}

/// The blocks of the groups stand behind where they are read in this layout: those of the first groups are
/// never found, and their offsets stay 0.
TEST(DevicePath, WithoutCamerasTheFirstGroupsDoNotMove) {
  SyntheticOptions options = Options();
  options.nControlPoints = 4;
  options.fPosDrift = 0;
  Block block(options);
  ManyIterations(block, "1e-4", "2");
  block.Set("Set_IOP_Unknown", "false");
  block.Set("Apply_GPS_Data", "true");
  block.Set("Correct_LinearError", "false");
  Adjust(block, {}, "device", true);
  std::istringstream text(ReadFile(block.Output("Corrections_1.txt")));
  std::vector<double> corrections;
  for (double value; text >> value;) corrections.push_back(value);
  ASSERT_EQ(corrections.size(), static_cast<size_t>(6 * block.Truth().Counts.nImages + 3 * 5));
  const double* groups = corrections.data() + corrections.size() - 15;
  for (int k = 0; k < 6; ++k) EXPECT_EQ(groups[k], 0.0) << k;
  bool moves = false;
  for (int k = 6; k < 15; ++k) moves = moves || groups[k] != 0;
  EXPECT_TRUE(moves);
}

}  // namespace
}  // namespace orvo::test::device
