// Whole runs on the device path, with the processor as the device, against truth and against the CPU path.
#include <gtest/gtest.h>

#include <cmath>
#include <filesystem>
#include <sstream>

#include "gpu/GpuSections.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

SyntheticOptions Options(int32_t cameras = 1) {
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
void ManyIterations(Block& block, const char* damping = "1e-4", const char* iterations = "40") {
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

RunOutcome Adjust(Block& block, const Device& device, const std::string& output = "out", bool pos = false) {
  BlockRun run;
  run.bBinary = true;
  run.bPos = pos;
  run.szOutput = output;
  run.Machine = MadeUpPlatform(device.nMemory, device.nProcessors);
  run.Options.At = device.At;
  run.Options.Kernels = device.Kernels;
  run.Options.nDeviceMemory = device.nDeviceMemory;
  const RunOutcome outcome = block.Run(run);
  EXPECT_TRUE(outcome.bDone) << block.Log();
  EXPECT_EQ(outcome.nOutputFailureNum, 0);
  return outcome;
}

const Device kCpu{DeviceChoice::Cpu};

int64_t Points(const Block& block) {
  const SyntheticCounts& counts = block.Truth().Counts;
  return counts.nTiePoints + counts.nControlPoints + counts.nCheckPoints;
}

int64_t ImagePoints(const Block& block) {
  return block.Truth().Counts.nTieMeasurements + block.Truth().Counts.nGroundMeasurements;
}

/// Free memory that makes this many point sections of the block.
int64_t MemoryForSections(const Block& block, int sections) {
  const SyntheticCounts& counts = block.Truth().Counts;
  const int64_t need =
      68 * Points(block) + 28 * ImagePoints(block) + 60 * counts.nImages + 40 * counts.nCameras;
  return static_cast<int64_t>(static_cast<double>(need) / (sections - 0.5) / 0.8);
}

/// Device memory that makes this many GPU sections of a block with images and cameras unknown.
int64_t DeviceMemoryForSections(const Block& block, int sections, int pointSections = 1) {
  const auto images = static_cast<int32_t>(block.Truth().Counts.nImages);
  const auto cameras = static_cast<int32_t>(block.Truth().Counts.nCameras);
  const double fixed =
      gpu::FixedDeviceBytes({6 * images + 5 * cameras, 21 * images + 15 * cameras, images, cameras});
  const double points =
      gpu::PointDeviceBytes(Points(block) / pointSections, ImagePoints(block) / pointSections);
  return static_cast<int64_t>((points / (sections - 0.5) + fixed) / 0.64);
}

size_t CountOf(const std::string& text, const std::string& part) {
  size_t count = 0;
  for (size_t at = text.find(part); at != std::string::npos; at = text.find(part, at + part.size())) ++count;
  return count;
}

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
  if (!layout.bEop) options.fStartPosition = options.fStartAngle = 0;
  if (!layout.bIop) options.fStartFocal = 0;
  Block block(options);
  ManyIterations(block, "1e-4", "25");
  block.Set("Set_EOP_Unknown", layout.bEop ? "true" : "false");
  block.Set("Set_IOP_Unknown", layout.bIop ? "true" : "false");
  block.Set("Output_Image_Point_RMSE", "false");
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
    EXPECT_LE(error.fPosition, 1.2 * cpuError.fPosition);
    EXPECT_LE(error.fAngle, 1.2 * cpuError.fAngle);
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

/// The five numbers of each line of the first iteration.
std::vector<std::array<double, 5>> Forcing(const std::string& log) {
  std::vector<std::array<double, 5>> lines;
  const std::string mark = "Forcing sequence:";
  const size_t end = log.find(">>>>PCG iteration times:");
  for (size_t at = log.find(mark); at < end; at = log.find(mark, at + 1)) {
    std::array<double, 5> v{};
    std::sscanf(log.c_str() + at + mark.size(), "%lf %lf %lf %lf %lf", &v[0], &v[1], &v[2], &v[3], &v[4]);
    lines.push_back(v);
  }
  return lines;
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

TEST(DevicePath, WithoutPosFileTheRunGoesOn) {
  Block block(Options());
  ManyIterations(block, "1e-4", "1");
  block.Set("Apply_GPS_Data", "true");
  Adjust(block, {});
  EXPECT_NE(block.Log().find(">>Reading POS data...\nPOS file is NULL!\n>>Preprocessing data...\n"),
            std::string::npos);
  EXPECT_EQ(block.Log().find("Update POS"), std::string::npos);
}

TEST(DevicePath, LogsItsPhasesInOrder) {
  Block block(Options());
  ManyIterations(block, "1e-4", "1");
  Adjust(block, {});
  const char* const phases[] = {
      ">>Reading data...\nCPU Sections:1\n0/0 ",
      ">>Preprocessing data...\nRead Gcp file...\n",
      ">>>>Computing sum matrix, constant vector and preconditioner....\n>>>>Read points data 0....\n"
      ">>>>Reading ovt file...0\n>>>>Reading gcp file...\nGPU sections:1\n>>>>Compute object points "
      "coordinates "
      "0....\n>>Allocating memory for image data...\n>>Allocating memory for points data...\n>>>>Image point "
      "reprojection error:",
      ">>>>Adding damping coefficients....\n>>>>Start PCG iteration 0\n>>>>>>Forcing sequence: ",
      ">>>>PCG iteration times:",
      ">>>>Max correction value:",
      ">>Generating adjustment report...\n>>Generating result file...\n",
      ">>Elapsed time:<clock>\n",
  };
  const std::string log = block.Log();
  size_t at = 0;
  for (const char* phase : phases) {
    const size_t found = log.find(phase, at);
    ASSERT_NE(found, std::string::npos) << phase << "\nin\n" << log;
    at = found + 1;
  }
  EXPECT_EQ(log.find("Detecting"), std::string::npos) << "discovery tells the console alone";
  for (const char* name : {"OrvoResult.ovc", "OrvoResult.ovt", "OrvoResult_gcp.rst", "OrvoAdjustReport.txt",
                           "ObjectPointError.xyz", "Corrections_0.txt", "Residuals_0_0.res"}) {
    EXPECT_TRUE(Exists(block.Output(name))) << name;
  }
}

TEST(DevicePath, ThreeIterationsAreDoneInAnyCase) {
  Block block(Options());
  ManyIterations(block);
  block.Set("LM_Converge_Threshold", "1e9");
  Adjust(block, {});
  EXPECT_TRUE(Exists(block.Output("Corrections_2.txt")));
  EXPECT_FALSE(Exists(block.Output("Corrections_3.txt")));
  block.Set("Max_LM_Iteration_Num", "0");
  Adjust(block, {}, "one");
  EXPECT_TRUE(Exists(block.Output("Corrections_0.txt")));
  EXPECT_FALSE(Exists(block.Output("Corrections_1.txt")));
}

TEST(DevicePath, ResidualFilesAreWrittenOnRequest) {
  Block block(Options());
  ManyIterations(block, "1e-4", "1");
  block.Set("Output_Image_Point_RMSE", "false");
  Adjust(block, {});
  EXPECT_FALSE(Exists(block.Output("Residuals_0_0.res")));
}

/// The listings of both forms of the kernels, line by line: the same rays, the same numbers to rounding.
TEST(DevicePath, ListingsOfBothFormsAgree) {
  SyntheticOptions options = Options();
  options.fOutlierFraction = 0.01;
  options.fStartPosition = options.fStartAngle = options.fStartFocal = 0;
  Block block(options);
  ManyIterations(block, "1e-4", "2");
  // An image at the origin of everything is deleted. Its measurements are listed all the same.
  const std::string image = "images/IMG_001003.jpg\n";
  std::string project = ReadFile(block.Paths().szOvc);
  const size_t rotation = project.find(image) + image.size();
  const size_t position = project.find('\n', rotation) + 1;
  project.replace(position, project.find('\n', position) - position, "0 0 0");
  WriteFile(block.Paths().szOvc, project);
  int64_t deleted = 0;
  for (const FilePoint& point : ReadOvtFile(block.Paths().szOvt)) {
    for (const FileMeasurement& measurement : point.pMeasurements) deleted += measurement.nImage == 2;
  }
  for (const FilePoint& point : ReadGcpFile(block.Paths().szGcp)) {
    for (const FileMeasurement& measurement : point.pMeasurements) deleted += measurement.nImage == 2;
  }
  ASSERT_GT(deleted, 0);
  std::string listing[2];
  for (const bool literal : {false, true}) {
    Device device;
    if (literal) device.Kernels = gpu::KernelForm::Literal;
    Adjust(block, device);
    listing[literal] = ReadFile(block.Output("Residuals_0_0.res"));
  }
  std::istringstream fast(listing[0]), literal(listing[1]);
  std::string a, b;
  int64_t lines = 0;
  while (std::getline(fast, a) && std::getline(literal, b) && !a.empty()) {
    int ids[2][3], flags[2];
    double values[2][4];
    for (int i = 0; i < 2; ++i) {
      ASSERT_EQ(
          std::sscanf((i == 0 ? a : b).c_str(), "%d %d %d %lf %lf %lf %lf %d", &ids[i][0], &ids[i][1],
                      &ids[i][2], &values[i][0], &values[i][1], &values[i][2], &values[i][3], &flags[i]),
          8);
    }
    for (int i = 0; i < 3; ++i) EXPECT_EQ(ids[0][i], ids[1][i]);
    if (ids[0][0] == -1) {
      EXPECT_EQ(ids[0][1], -1);
      for (int i = 2; i < 4; ++i) EXPECT_EQ(values[0][i], 0.0);
      EXPECT_EQ(flags[0], 0);
      --deleted;
    }
    EXPECT_EQ(flags[0], flags[1]) << a << '\n' << b;
    for (int i = 0; i < 2; ++i) EXPECT_EQ(values[0][i], values[1][i]);
    // Single precision at 1000 units and 12 m of focal length.
    for (int i = 2; i < 4; ++i) EXPECT_NEAR(values[0][i], values[1][i], 0.02);
    ++lines;
  }
  EXPECT_EQ(lines, ImagePoints(block));
  EXPECT_EQ(deleted, 0);
}

TEST(DevicePath, ModesWithoutIteration) {
  Block block(Options());
  block.Set("Direct_Intersection", "true");
  Adjust(block, {}, "direct");
  std::string log = block.Log();
  EXPECT_NE(log.find(">>Reading data...\n>>Generating result file...\n>>Generating adjustment report...\n"),
            std::string::npos)
      << log;
  EXPECT_EQ(log.find("sum matrix"), std::string::npos);
  EXPECT_TRUE(Exists(block.Output("OrvoResult_gcp.rst")));
  EXPECT_FALSE(Exists(block.Output("OrvoResult.rst")));
  block.Set("Absolute_Orientation", "true");
  Adjust(block, {}, "both");
  EXPECT_FALSE(Exists(block.Output("OrvoResult.rst")));
  // With a device this mode is a whole adjustment.
  block.Set("Direct_Intersection", "false");
  block.Set("Max_LM_Iteration_Num", "1");
  Adjust(block, {}, "absolute");
  log = block.Log();
  EXPECT_NE(log.find(">>>>Start PCG iteration 0\n"), std::string::npos);
  EXPECT_TRUE(Exists(block.Output("OrvoResult.rst")));
}

TEST(DevicePath, ThinnedPoints) {
  SyntheticOptions options = Options();
  options.fMeasurementsPerImage = 600;
  Block block(options);
  ManyIterations(block, "1e-4", "10");
  block.Set("Resampling_Points", "true");
  Adjust(block, {});
  const std::string log = block.Log();
  EXPECT_NE(log.find(">>Reampling image point data...\n"), std::string::npos);
  EXPECT_EQ(log.find(">>>>Read points data"), std::string::npos) << "the points are in memory";
  const Report report = block.AdjustReport();
  EXPECT_LT(std::max(report.Rmse[0], report.Rmse[1]), 0.6);
  EXPECT_LT(report.Check.Rmse[2], 1.0) << "control and check points are in the frame of the block";
}

/// Control points that stand in the text project come into the frame of the block as those of the GCP file
/// do.
TEST(DevicePath, ControlInTheProject) {
  Block block(Options());
  ManyIterations(block, "1e-4", "6");
  std::string project = ReadFile(block.Paths().szText);
  const size_t point = project.find("T0000003");
  ASSERT_NE(point, std::string::npos);
  const size_t end = project.find('\n', point);
  char name[64];
  double X = 0, Y = 0, Z = 0;
  ASSERT_EQ(std::sscanf(project.c_str() + point, "%63s %lf %lf %lf", name, &X, &Y, &Z), 4);
  char line[256];
  std::snprintf(line, sizeof(line), "%s %.6f %.6f %.6f 1", name, X, Y, Z);
  project.replace(point, end - point, line);
  WriteFile(block.Paths().szText, project);
  for (const int sections : {1, 3}) {
    BlockRun run;
    run.Options.At = DeviceChoice::Host;
    run.Machine = MadeUpPlatform(sections == 1 ? int64_t{1} << 32 : MemoryForSections(block, sections), 2);
    ASSERT_TRUE(block.Run(run).bDone);
    // The start value of the point is a metre off the truth. In another frame it would be a thousand.
    EXPECT_LT(block.AdjustReport().Rmse[0], 1.0) << sections;
  }
}

TEST(DevicePath, BrokenBlocksEnd) {
  SyntheticOptions options = Options();
  options.nImagesPerStrip = 3;
  options.nCrossStrips = 0;
  Block block(options);
  ManyIterations(block, "1e-4", "3");
  const auto run = [&](gpu::KernelForm form) {
    BlockRun asked;
    asked.bBinary = true;
    asked.Options.At = DeviceChoice::Host;
    asked.Options.Kernels = form;
    const bool done = block.Run(asked).bDone;
    EXPECT_NE(block.Log().find(">>Elapsed time"), std::string::npos);
    return done;
  };
  const std::string project = ReadFile(block.Paths().szOvc);
  for (const gpu::KernelForm form : {gpu::KernelForm::Fast, gpu::KernelForm::Literal}) {
    // Points that could not be thinned are not in memory.
    block.Set("Resampling_Points", "true");
    block.Set("Point_Resample_Number", "0");
    EXPECT_FALSE(run(form));
    EXPECT_NE(block.Log().find("Error!Unexpected image point number!\nCompute GPU section info failed!\n"),
              std::string::npos)
        << block.Log();
    block.Set("Resampling_Points", "false");
    // A scale that makes everything infinite or zero on the device.
    for (const char* scale : {"1e-45", "1e30", "0", "-1"}) {
      block.Set("Image_Coor_Scale", scale);
      run(form);
    }
    block.Set("Image_Coor_Scale", "0.001");
    for (const char* weight : {"0", "1e-300", "nan", "-1e-9"}) {
      block.Set("GCP_Accuracy", weight);
      run(form);
    }
    block.Set("GCP_Accuracy", "0.01");
    for (const char* damping : {"1e300", "-1", "nan"}) {
      block.Set("Damping_Coefficient", damping);
      run(form);
    }
    block.Set("Damping_Coefficient", "1e-4");
    block.Set("Gross_Point_Threshold", "nan");
    run(form);
    block.Set("Gross_Point_Threshold", "5.0");
    EXPECT_TRUE(run(form));
  }
}

RunOutcome AdjustSeneca(const std::string& project, const std::string& settings, const std::string& output) {
  RunPaths paths;
  paths.szProject = project;
  paths.szGcp = Example("seneca/seneca_gcp.txt");
  paths.szSettings = settings;
  paths.szOutput = output;
  RunOptions options;
  options.At = DeviceChoice::Host;
  return RunAdjustment(paths, NativePlatform(), nullptr, options);
}

TEST(DevicePath, SenecaComesToTheReportOfTheCpu) {
  ScratchFolder folder;
  std::string settings = ReadFile(Example("seneca/AdjPara.xml"));
  // Ten steps an iteration need more iterations than direct solutions.
  for (const char* name : {"Free_LM_Iteration_Num", "GCP_LM_Iteration_Num", "Max_LM_Iteration_Num"}) {
    const std::string open = std::string("<") + name + ">";
    const size_t begin = settings.find(open) + open.size();
    settings.replace(begin, settings.find('<', begin) - begin, "100");
  }
  const std::string listing = "<Output_Image_Point_RMSE>";
  settings.replace(settings.find(listing) + listing.size(), 4, "false");
  WriteFile(folder / "AdjPara.xml", settings);
  ASSERT_TRUE(AdjustSeneca(Example("seneca/seneca_start.prj"), folder / "AdjPara.xml", folder / "out").bDone);
  const Report report = ReadReport(folder / "out/OrvoAdjustReport.txt");
  ASSERT_TRUE(report.bRead);
  EXPECT_NEAR(report.Rmse[0], 0.750, 0.0005);
  EXPECT_NEAR(report.Rmse[1], 0.829, 0.0005);
}

TEST(DevicePath, SenecaWithTheSettingsOfTheExample) {
  ScratchFolder folder;
  ASSERT_TRUE(
      AdjustSeneca(Example("seneca/seneca_start.prj"), Example("seneca/AdjPara.xml"), folder / "out").bDone);
  const Report report = ReadReport(folder / "out/OrvoAdjustReport.txt");
  EXPECT_NEAR(report.Rmse[0], 0.758, 0.005);
  EXPECT_NEAR(report.Rmse[1], 0.831, 0.005);
}

}  // namespace
}  // namespace orvo::test
