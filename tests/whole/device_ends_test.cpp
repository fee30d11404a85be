// Modes, files and ends of runs on the device path, and the real block.
#include <gtest/gtest.h>

#include <sstream>

#include "whole/DeviceRuns.h"

namespace orvo::test::device {
namespace {

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
    run.Options = HostOptions();
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
    asked.Options = HostOptions(form);
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
  return RunAdjustment(paths, NativePlatform(), nullptr, HostOptions());
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
}  // namespace orvo::test::device
