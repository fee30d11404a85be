// Run modes, switches and the ends of a run.
#include <gtest/gtest.h>

#include <filesystem>

#include "support/Block.h"

namespace orvo::test {
namespace {

SyntheticOptions Options() {
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 5;
  options.fSideOverlap = 50;
  options.nControlPoints = 3;
  options.nCheckPoints = 3;
  options.fMeasurementsPerImage = 80;
  return options;
}

bool Contains(const std::string& text, const std::string& part) {
  return text.find(part) != std::string::npos;
}

TEST(Modes, AdjustmentLogsItsPhasesInOrder) {
  Block block(Options());
  block.Set("Max_LM_Iteration_Num", "1");
  BlockRun run;
  run.Machine = MadeUpPlatform(int64_t{1} << 30, 1);
  ASSERT_TRUE(block.Run(run).bDone);
  const char* const phases[] = {
      ">>Pre-reading data...\n>>Reading eop and camera data from project file...\nCPU Sections:1\n0/0 ",
      ">>Reading points data...\n>>>>Reading points from prj file...\n>>>>Reading gcp file...\n",
      ">>Adjustment preprocessing...\n>>Normalizing data...\n>>Computing sub-matrix position...\n"
      ">>>>Computing tie point 3D coordinates 0 0...\n>>>>Building normal equation 0 0...\n",
      ">>>>Adding damping coefficients 0...\n>>>>Solving normal equation and update unknowns 0...\n>>",
      ">>Unnormalizing data...\n>>Out put resut file...\n>>Out put adjustment report...\n"
      ">>Out put points data...\n>>Elapsed time:<clock>\n",
  };
  const std::string log = block.Log();
  size_t at = 0;
  for (const char* phase : phases) {
    const size_t found = log.find(phase, at);
    ASSERT_NE(found, std::string::npos) << phase << "\nin\n" << log;
    at = found + 1;
  }
}

TEST(Modes, LimitOfNoIterationsRunsOne) {
  Block block(Options());
  block.Set("Max_LM_Iteration_Num", "0");
  ASSERT_TRUE(block.Run().bDone);
  EXPECT_TRUE(Exists(block.Output("Residuals_0_0.res")));
  EXPECT_FALSE(Exists(block.Output("Residuals_1_0.res")));
}

TEST(Modes, AdjustmentWritesItsFiles) {
  Block block(Options());
  BlockRun run;
  run.bBinary = true;
  ASSERT_TRUE(block.Run(run).bDone);
  for (const char* name :
       {"log.txt", "OrvoResult.ovc", "OrvoResult.ovt", "OrvoResult_gcp.rst", "OrvoAdjustReport.txt",
        "ObjectPointError.xyz", "Residuals_0_0.res", "Corrections_0.txt", "LM_R_Vector_0.txt"}) {
    EXPECT_GT(ReadFile(block.Output(name)).size(), 0u) << name;
  }
  EXPECT_FALSE(Exists(block.Output("OrvoResult.rst")));
}

TEST(Modes, TextProjectHasNoTiePointFile) {
  Block block(Options());
  ASSERT_TRUE(block.Run().bDone);
  EXPECT_FALSE(Exists(block.Output("OrvoResult.ovt")));
}

TEST(Modes, DirectIntersectionOfTheResultReproducesTheReport) {
  Block block(Options());
  BlockRun run;
  run.bBinary = true;
  ASSERT_TRUE(block.Run(run).bDone);
  const Report adjusted = block.AdjustReport();
  const std::string listing = ReadFile(block.Output("OrvoResult_gcp.rst"));
  const std::string points = ReadFile(block.Output("OrvoResult.ovt"));

  block.Set("Direct_Intersection", "true");
  block.Set("Absolute_Orientation", "true");  // has no effect then
  RunPaths paths;
  paths.szProject = block.Output("OrvoResult.ovc");
  paths.szGcp = block.Paths().szGcp;
  paths.szSettings = block.Paths().szXml;
  paths.szOutput = block / "again";
  ASSERT_TRUE(RunAdjustment(paths, NativePlatform(), nullptr).bDone);
  const Report again = ReadReport(block / "again/OrvoAdjustReport.txt");
  ASSERT_TRUE(again.bRead);
  ASSERT_EQ(again.Control.pPoints.size(), 3u);
  ASSERT_EQ(again.Check.pPoints.size(), 3u);
  for (const auto& [first, second] :
       {std::pair{&adjusted.Control, &again.Control}, {&adjusted.Check, &again.Check}}) {
    for (size_t i = 0; i < first->pPoints.size(); ++i) {
      EXPECT_EQ(first->pPoints[i].szName, second->pPoints[i].szName);
      for (size_t axis = 0; axis < 3; ++axis) {
        EXPECT_NEAR(first->pPoints[i].Residual[axis], second->pPoints[i].Residual[axis], 2e-6);
        EXPECT_NEAR(first->Rmse[axis], second->Rmse[axis], 2e-6);
      }
    }
  }
  // Without adjustment the image statistics stand at their start values, 100 pixels at the default scale.
  EXPECT_EQ(again.Rmse[0], 100.0);
  EXPECT_TRUE(Exists(block / "again/OrvoResult_gcp.rst"));
  EXPECT_FALSE(Exists(block / "again/OrvoResult.rst"));
  EXPECT_FALSE(Exists(block / "again/Residuals_0_0.res"));
  // The intersections are the adjusted ones up to the printed digits of the orientations.
  const auto before = ReadOvtFile(block.Output("OrvoResult.ovt")),
             after = ReadOvtFile(block / "again/OrvoResult.ovt");
  ASSERT_EQ(before.size(), after.size());
  ASSERT_EQ(static_cast<int64_t>(after.size()), block.Truth().Counts.nTiePoints);
  for (size_t i = 0; i < before.size(); ++i) {
    for (size_t axis = 0; axis < 3; ++axis) {
      EXPECT_NEAR(before[i].Position[axis], after[i].Position[axis], 1e-4) << before[i].szName;
    }
  }
  const std::string log = ReadMaskedLog(block / "again/log.txt");
  EXPECT_FALSE(Contains(log, ">>Pre-reading data...\n"));
  EXPECT_TRUE(Contains(log, ">>Generating result file...\n"));
  EXPECT_TRUE(Contains(log, ">>Generating adjustment report...\n"));
}

TEST(Modes, ResultsAreInputAgain) {
  Block block(Options());
  BlockRun run;
  run.bBinary = true;
  ASSERT_TRUE(block.Run(run).bDone);
  const Report first = block.AdjustReport();
  RunPaths paths;
  paths.szProject = block.Output("OrvoResult.ovc");
  paths.szGcp = block.Paths().szGcp;
  paths.szSettings = block.Paths().szXml;
  paths.szOutput = block / "again";
  ASSERT_TRUE(RunAdjustment(paths, NativePlatform(), nullptr).bDone);
  const Report second = ReadReport(block / "again/OrvoAdjustReport.txt");
  EXPECT_NEAR(second.Rmse[0], first.Rmse[0], 1e-3);
  EXPECT_NEAR(second.Rmse[1], first.Rmse[1], 1e-3);
}

TEST(Modes, NoUnknownsEndTheRun) {
  Block block(Options());
  block.Set("Set_EOP_Unknown", "false");
  block.Set("Set_IOP_Unknown", "false");
  EXPECT_FALSE(block.Run().bDone);
  EXPECT_TRUE(Contains(block.Log(), "Error!No unknown parameter is defined!\n>>Elapsed time:"));
  EXPECT_FALSE(Exists(block.Output("OrvoResult.ovc")));
}

TEST(Modes, DenseMatrixThatDoesNotFitEndsTheRun) {
  Block block(Options());
  BlockRun run;
  run.Machine = MadeUpPlatform(4000, 1);
  EXPECT_FALSE(block.Run(run).bDone);
  EXPECT_TRUE(Contains(block.Log(), "Error!Not enough memory for normal matrix!\n"));
}

TEST(Modes, PosWithoutFileIsSwitchedOffSilently) {
  Block block(Options());
  block.Set("Apply_GPS_Data", "true");
  ASSERT_TRUE(block.Run().bDone) << block.Log();
  EXPECT_FALSE(Contains(block.Log(), "pos data"));
  EXPECT_FALSE(Contains(block.Log(), "GPS"));
}

TEST(Modes, WithoutControlFileTheBlockIsFree) {
  Block block(Options());
  BlockRun run;
  run.bGcp = false;
  ASSERT_TRUE(block.Run(run).bDone);
  EXPECT_TRUE(Contains(block.Log(), "Open Gcp file failed!\n"));
  EXPECT_EQ(block.AdjustReport().Control.nNumber, 0);
}

TEST(Modes, WithoutNormalisationNothingIsShifted) {
  Block block(Options());
  block.Set("Coor_Normalization", "false");
  ASSERT_TRUE(block.Run().bDone);
  EXPECT_FALSE(Contains(block.Log(), "ormalizing data"));
  EXPECT_LT(block.AdjustReport().Rmse[0], 1.0);
}

TEST(Modes, UnwritableOutputFolderEndsTheRun) {
  Block block(Options());
  RunPaths paths;
  paths.szProject = block.Paths().szText;
  paths.szSettings = block.Paths().szXml;
  paths.szOutput = block / "no/such/parent";
  EXPECT_FALSE(RunAdjustment(paths, NativePlatform(), nullptr).bDone);
}

}  // namespace
}  // namespace orvo::test
