// The sparse form and the thinning of tie points, in whole runs.
#include <gtest/gtest.h>

#include <cmath>
#include <sstream>

#include "support/Block.h"

namespace orvo::test {
namespace {

SyntheticOptions Options() {
  SyntheticOptions options;
  options.nStrips = 4;
  options.nImagesPerStrip = 12;
  options.fSideOverlap = 50;
  options.nControlPoints = 6;
  options.nCheckPoints = 10;
  options.fMeasurementsPerImage = 200;
  options.fNoise = 0.4;
  return options;
}

struct SparseCase {
  const char* szName;
  bool bEop, bIop;
  int32_t nCameras;
};

void PrintTo(const SparseCase& layout, std::ostream* out) { *out << layout.szName; }

class SparseForm : public ::testing::TestWithParam<SparseCase> {};

TEST_P(SparseForm, EndsWhereTheDenseFormEnds) {
  SyntheticOptions options = Options();
  options.nCameras = GetParam().nCameras;
  if (!GetParam().bEop) options.fStartPosition = options.fStartAngle = 0;
  Block block(options);
  block.Set("Set_EOP_Unknown", GetParam().bEop ? "true" : "false");
  block.Set("Set_IOP_Unknown", GetParam().bIop ? "true" : "false");
  Report reports[2];
  for (bool sparse : {false, true}) {
    block.Set("Apply_PCG_Model", sparse ? "true" : "false");
    // With a camera for each image, steps that are solved to a tenth run away along focal length and height
    // unless the damping holds them; the dense form takes other increments there and would be stopped on its
    // way.
    if (options.nCameras == 0) {
      block.Set("Damping_Coefficient", sparse ? "1e-4" : "1e-8");
      block.Set("GCP_LM_Iteration_Num", "8");
    }
    BlockRun run;
    run.bBinary = true;
    ASSERT_TRUE(block.Run(run).bDone) << block.Log();
    reports[sparse] = block.AdjustReport();
    ASSERT_TRUE(reports[sparse].bRead);
    EXPECT_EQ(block.Log().find(">>PCG Iteration times:") != std::string::npos, sparse);
  }
  // Each solution stops at a tenth of the right-hand side, so the last digits of the orientations differ.
  EXPECT_NEAR(reports[1].Rmse[0], reports[0].Rmse[0], 0.02 * reports[0].Rmse[0]);
  EXPECT_NEAR(reports[1].Rmse[1], reports[0].Rmse[1], 0.02 * reports[0].Rmse[1]);
}

INSTANTIATE_TEST_SUITE_P(Layouts, SparseForm,
                         ::testing::Values(SparseCase{"Eop", true, false, 1},
                                           SparseCase{"Iop", false, true, 2},
                                           SparseCase{"Merged", true, true, 0},
                                           SparseCase{"EopIop", true, true, 2}),
                         [](const auto& parameter) { return parameter.param.szName; });

TEST(Sparse, SectionsThreadsAndRepetitionAgree) {
  Block block(Options());
  block.Set("Apply_PCG_Model", "true");
  block.Set("Gross_Point_Threshold", "1e6");
  const int64_t need =
      68 * (block.Truth().Counts.nTiePoints + 16) +
      28 * (block.Truth().Counts.nTieMeasurements + block.Truth().Counts.nGroundMeasurements);
  struct {
    const char* output;
    int64_t memory;
    int processors;
  } const runs[] = {{"plain", int64_t{1} << 32, 1},
                    {"again", int64_t{1} << 32, 1},
                    {"threads", int64_t{1} << 32, 4},
                    {"sections", need / 2, 1}};
  for (const auto& row : runs) {
    BlockRun run;
    run.bBinary = true;
    run.szOutput = row.output;
    run.Machine = MadeUpPlatform(row.memory, row.processors);
    ASSERT_TRUE(block.Run(run).bDone) << block.Log();
  }
  EXPECT_NE(ReadFile(block / "sections/log.txt").find("CPU Sections:3\n"), std::string::npos);
  EXPECT_EQ(ReadFile(block / "plain/OrvoResult.ovc"), ReadFile(block / "again/OrvoResult.ovc"));
  // A solution to a tenth magnifies the rounding of the sums in the weak directions of the block, but not in
  // the residuals.
  const Report plain = ReadReport(block / "plain/OrvoAdjustReport.txt");
  for (const char* other : {"threads", "sections"}) {
    const Report report = ReadReport(block / (std::string(other) + "/OrvoAdjustReport.txt"));
    ASSERT_TRUE(report.bRead);
    for (size_t axis = 0; axis < 2; ++axis) EXPECT_NEAR(report.Rmse[axis], plain.Rmse[axis], 2e-3) << other;
  }
}

class Thinning : public ::testing::TestWithParam<bool> {};

TEST_P(Thinning, KeepsFewPointsAndTheResult) {
  SyntheticOptions options = Options();
  options.fMeasurementsPerImage = 2000;
  Block block(options);
  block.Set("Resampling_Points", "true");
  block.Set("Point_Resample_Number", "6");
  BlockRun run;
  run.bBinary = GetParam();
  ASSERT_TRUE(block.Run(run).bDone) << block.Log();
  const std::string log = block.Log();
  const size_t at = log.find("Sampling object points ");
  ASSERT_NE(at, std::string::npos);
  long kept = 0, all = 0;
  ASSERT_EQ(std::sscanf(log.c_str() + at, "Sampling object points %ld from %ld", &kept, &all), 2);
  EXPECT_EQ(all, block.Truth().Counts.nTiePoints);
  EXPECT_LE(kept, 36 * block.Truth().Counts.nImages);
  EXPECT_LT(kept, all / 4);
  const Report report = block.AdjustReport();
  ASSERT_TRUE(report.bRead);
  EXPECT_LT(std::max(report.Rmse[0], report.Rmse[1]), 0.45);
  for (size_t axis = 0; axis < 3; ++axis) EXPECT_LT(report.Check.Rmse[axis], 0.4);
}

INSTANTIATE_TEST_SUITE_P(Forms, Thinning, ::testing::Bool(),
                         [](const auto& parameter) { return parameter.param ? "Binary" : "Text"; });

TEST(ColonForm, RunsWithThinning) {
  Block block(Options());
  BlockRun run;
  run.bColonForm = true;
  ASSERT_TRUE(block.Run(run).bDone) << block.Log();
  EXPECT_NE(block.Log().find(">>Reampling image point data...\n"), std::string::npos);
  EXPECT_TRUE(block.AdjustReport().bRead);
}

/// A block whose working units are so small that the squares of the derivatives by k1 and k2 count as zero,
/// and with them the diagonal blocks that hold a camera as singular.
SyntheticOptions TinyUnits(int32_t cameras) {
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 5;
  options.fMeasurementsPerImage = 80;
  options.nCameras = cameras;
  return options;
}

void UseTinyUnits(Block& block) {
  block.Set("Image_Coor_Scale", "4e-9");
  block.Set("Apply_PCG_Model", "true");
  block.Set("Max_LM_Iteration_Num", "6");
  block.Set("Free_LM_Iteration_Num", "6");
  block.Set("GCP_LM_Iteration_Num", "6");
}

TEST(SparseFormInTinyUnits, TheCameraIsAdjustedAsFarAsItsBlockIsInverted) {
  Block block(TinyUnits(1));
  UseTinyUnits(block);
  ASSERT_TRUE(block.Run().bDone) << block.Log();
  const FileCamera start = ReadProjectFile(block.Paths().szText).pCameras.at(0);
  const FileCamera result = block.Result().pCameras.at(0);
  EXPECT_GT(std::fabs(result.fFocal - start.fFocal), 0.5);
  EXPECT_GT(std::hypot(result.fPrincipalX - start.fPrincipalX, result.fPrincipalY - start.fPrincipalY), 0.5);
  EXPECT_LT(std::fabs(result.fFocal - start.fFocal), 100);
  EXPECT_LT(block.AdjustReport().Rmse[0], 0.4);
  EXPECT_LT(block.AdjustReport().Rmse[1], 0.5);
}

TEST(SparseFormInTinyUnits, MergedBlocksTakeAStep) {
  Block block(TinyUnits(0));
  UseTinyUnits(block);
  ASSERT_TRUE(block.Run().bDone) << block.Log();
  std::istringstream corrections(ReadFile(block.Output("Corrections_0.txt")));
  int64_t lines = 0, moved = 0;
  for (double value; corrections >> value; ++lines) moved += value != 0.0 ? 1 : 0;
  EXPECT_EQ(lines, 11 * block.Truth().Counts.nImages);
  EXPECT_GT(moved, lines / 2);
}

}  // namespace
}  // namespace orvo::test
