// GPS and IMU records carry blocks with little control.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <sstream>
#include <vector>

#include "whole/DeviceRuns.h"

namespace orvo::test {
namespace {

SyntheticOptions Options() {
  SyntheticOptions options;
  options.nStrips = 4;
  options.nImagesPerStrip = 10;
  options.nCrossStrips = 2;
  options.fSideOverlap = 40;
  options.nControlPoints = 3;
  options.nCheckPoints = 20;
  options.fMeasurementsPerImage = 150;
  options.fNoise = 0.5;
  options.fPosNoise = 0.05;
  options.fStartPosition = 0.5;
  return options;
}

double Norm(const std::array<double, 3>& v) { return std::hypot(v[0], v[1], v[2]); }

/// The block adjusted without and with its GPS records; the check point errors of both.
std::pair<double, double> CheckErrors(Block& block, bool linear, bool imu, bool sparse) {
  block.Set("Set_IOP_Unknown", "true");
  block.Set("GCP_Accuracy", "0.01");
  block.Set("Damping_Coefficient", "1e-6");
  block.Set("Apply_PCG_Model", sparse ? "true" : "false");
  BlockRun run;
  run.szOutput = "without";
  EXPECT_TRUE(block.Run(run).bDone) << block.Log();
  const double without = Norm(block.AdjustReport().Check.Rmse);
  block.Set("Apply_GPS_Data", "true");
  block.Set("Apply_IMU_Data", imu ? "true" : "false");
  block.Set("Correct_Const_Error", "true");
  block.Set("Correct_LinearError", linear ? "true" : "false");
  run.bPos = true;
  run.szOutput = "with";
  EXPECT_TRUE(block.Run(run).bDone) << block.Log();
  EXPECT_NE(block.Log().find(">>>>Building GPS normal equation 0...\n"), std::string::npos);
  return {without, Norm(block.AdjustReport().Check.Rmse)};
}

TEST(Pos, ConstantOffsetsOfStripsAreTakenOut) {
  SyntheticOptions options = Options();
  options.fPosOffset = 0.5;
  options.fPosDrift = 0;
  Block block(options);
  const auto [without, with] = CheckErrors(block, false, false, false);
  EXPECT_LT(with, 0.5 * without);
  EXPECT_NE(block.Log().find("New group number:6\n"), std::string::npos);
}

TEST(Pos, LinearDriftsOfStripsAreTakenOut) {
  SyntheticOptions options = Options();
  options.fPosOffset = 0.5;
  options.fPosDrift = 0.02;
  Block block(options);
  const auto [without, with] = CheckErrors(block, true, false, false);
  EXPECT_LT(with, 0.5 * without);
}

TEST(Pos, GpsAndImuTogether) {
  SyntheticOptions options = Options();
  options.fPosOffset = 0.3;
  options.fPosDrift = 0;
  Block block(options);
  const auto [without, with] = CheckErrors(block, false, true, false);
  EXPECT_LT(with, 0.5 * without);
}

TEST(Pos, SparseFormComesToTheDenseOne) {
  SyntheticOptions options = Options();
  options.fPosDrift = 0;
  Block block(options);
  const double dense = CheckErrors(block, false, false, false).second;
  Block again(options);
  const double sparse = CheckErrors(again, false, false, true).second;
  EXPECT_NEAR(sparse, dense, 0.3 * dense);
}

/// The drift parameters of a run: the sums of their corrections, which stand last in each file.
std::vector<double> DriftParameters(const Block& block, size_t number) {
  std::vector<double> parameters(number, 0.0);
  for (int k = 0; Exists(block.Output("Corrections_" + std::to_string(k) + ".txt")); ++k) {
    std::istringstream text(ReadFile(block.Output("Corrections_" + std::to_string(k) + ".txt")));
    std::vector<double> corrections;
    for (double value; text >> value;) corrections.push_back(value);
    EXPECT_GE(corrections.size(), number);
    if (corrections.size() < number) break;
    for (size_t j = 0; j < number; ++j) parameters[j] += corrections[corrections.size() - number + j];
  }
  return parameters;
}

struct DriftCase {
  const char* szName;
  bool bLinear, bImu, bSparse;
};

void PrintTo(const DriftCase& drift, std::ostream* out) { *out << drift.szName; }

double SquareSum(const std::string& numbers) {
  std::istringstream text(numbers);
  double sum = 0;
  for (double value; text >> value;) sum += value * value;
  return sum;
}

TEST(Pos, OneGroupWithLinearTermsAloneIsHeldByItsWeights) {
  // Its linear terms are switched off, and with the constants off, too, no drift parameter is left.
  SyntheticOptions options = Options();
  options.nStrips = 1;
  options.nCrossStrips = 0;
  options.fPosNoise = options.fPosOffset = options.fPosDrift = 0;
  options.fStartPosition = 2;
  options.fStartFocal = options.fStartPrincipal = 0;
  for (const bool iop : {false, true}) {
    for (const int form : {0, 1, 2}) {
      SCOPED_TRACE(std::to_string(iop) + " " + std::to_string(form));
      Block block(options);
      block.Set("Set_IOP_Unknown", iop ? "true" : "false");
      block.Set("Apply_PCG_Model", form == 1 ? "true" : "false");
      block.Set("Max_LM_Iteration_Num", "12");
      block.Set("Free_LM_Iteration_Num", "12");
      block.Set("Apply_GPS_Data", "true");
      block.Set("Correct_Const_Error", "false");
      block.Set("Correct_LinearError", "true");
      BlockRun run;
      run.bGcp = false;
      run.bPos = true;
      if (form == 2) run.Options = device::HostOptions();
      ASSERT_TRUE(block.Run(run).bDone) << block.Log();
      EXPECT_EQ(block.Log().find("invalid"), std::string::npos) << block.Log();
      EXPECT_EQ(block.Log().find("Error!"), std::string::npos) << block.Log();
      // The file of the first step has no lines of drift parameters.
      const int64_t unknowns = 6 * block.Truth().Counts.nImages + (iop ? 5 : 0);
      const std::string corrections = ReadFile(block.Output("Corrections_0.txt"));
      EXPECT_EQ(std::ranges::count(corrections, '\n'), unknowns);
      const double held = SquareSum(corrections);
      block.Set("Apply_GPS_Data", "false");
      ASSERT_TRUE(block.Run(run).bDone) << block.Log();
      const double free = SquareSum(ReadFile(block.Output("Corrections_0.txt")));
      EXPECT_GT(held, 0);
      EXPECT_LT(held, 0.9 * free);
    }
  }
}

class PlantedDrift : public ::testing::TestWithParam<DriftCase> {};

TEST_P(PlantedDrift, ComesBackWithinItsBounds) {
  const auto& [name, linear, imu, sparse] = GetParam();
  SyntheticOptions options = Options();
  options.nControlPoints = 12;
  options.fPosOffset = 1;
  options.fPosDrift = linear ? 0.05 : 0;
  options.fImuOffset = imu ? 0.05 : 0;
  options.fStartFocal = options.fStartPrincipal = 0;
  Block block(options);
  // Without normalisation the parameters are metres and radians.
  block.Set("Coor_Normalization", "false");
  block.Set("Set_IOP_Unknown", "false");
  block.Set("GCP_Accuracy", "0.01");
  block.Set("Damping_Coefficient", "1e-9");
  block.Set("Apply_PCG_Model", sparse ? "true" : "false");
  block.Set("Apply_GPS_Data", "true");
  block.Set("Apply_IMU_Data", imu ? "true" : "false");
  block.Set("Correct_Const_Error", "true");
  block.Set("Correct_LinearError", linear ? "true" : "false");
  // Half a pixel against 5 cm: (0.0005 / 0.05)^2.
  block.Set("GPS_Accuracy_XY", "10");
  block.Set("GPS_Accuracy_Z", "10");
  BlockRun run;
  run.bPos = true;
  ASSERT_TRUE(block.Run(run).bDone) << block.Log();

  const SyntheticTruth& truth = block.Truth();
  const size_t rows = imu ? 6 : 3, perStrip = rows * (linear ? 2 : 1), strips = truth.pStripErrors.size();
  const std::vector<double> found = DriftParameters(block, perStrip * strips);
  const ProjectFile result = block.Result();
  std::vector<double> meanError(3 * strips, 0.0), images(strips, 0.0);
  for (size_t i = 0; i < truth.pImages.size(); ++i) {
    const SyntheticImage& image = truth.pImages[i];
    const auto strip = static_cast<size_t>(image.nStrip);
    const double position[3] = {image.X, image.Y, image.Z};
    for (size_t axis = 0; axis < 3; ++axis) {
      meanError[3 * strip + axis] += position[axis] - result.pImages[i].Position[axis];
    }
    images[strip] += 1;
  }
  double square = 0, plantedSquare = 0, driftSquare = 0, plantedDriftSquare = 0;
  for (size_t strip = 0; strip < strips; ++strip) {
    for (size_t axis = 0; axis < 3; ++axis) {
      const double planted = truth.pStripErrors[strip].fOffset[axis];
      const double offset = found[strip * perStrip + axis];
      square += std::pow(offset - planted, 2);
      plantedSquare += planted * planted;
      if (!linear) {
        // What the offset does not say of the records, the orientations of the strip must: their mean error
        // makes up the difference, but for the mean noise of the strip's records.
        const double explained = planted + meanError[3 * strip + axis] / images[strip];
        const double limit = sparse ? 0.1 : 5 * options.fPosNoise / std::sqrt(images[strip]);
        EXPECT_NEAR(offset, explained, limit) << strip << ' ' << axis;
        continue;
      }
      const double plantedDrift = truth.pStripErrors[strip].fDrift[axis];
      driftSquare += std::pow(std::abs(found[strip * perStrip + rows + axis]) - std::abs(plantedDrift), 2);
      plantedDriftSquare += plantedDrift * plantedDrift;
    }
    for (size_t axis = 3; imu && axis < 6; ++axis) {
      EXPECT_NEAR(found[strip * perStrip + axis], truth.pStripErrors[strip].fOffset[axis], 2e-4) << strip;
    }
  }
  EXPECT_LT(std::sqrt(square), 0.25 * std::sqrt(plantedSquare));
  if (linear) {
    EXPECT_LT(std::sqrt(driftSquare), 0.25 * std::sqrt(plantedDriftSquare));
  }
}

INSTANTIATE_TEST_SUITE_P(Models, PlantedDrift,
                         ::testing::Values(DriftCase{"ConstantDense", false, false, false},
                                           DriftCase{"ConstantSparse", false, false, true},
                                           DriftCase{"LinearDense", true, false, false},
                                           DriftCase{"ConstantWithImu", false, true, false}),
                         [](const auto& parameter) { return parameter.param.szName; });

TEST(Pos, WithoutPosNothingIsLogged) {
  Block block(Options());
  ASSERT_TRUE(block.Run().bDone);
  EXPECT_EQ(block.Log().find("GPS"), std::string::npos);
}

TEST(Pos, SenecaWithItsOwnRecord) {
  ScratchFolder folder;
  RunPaths paths;
  paths.szProject = Example("seneca/seneca_start.prj");
  paths.szGcp = Example("seneca/seneca_gcp.txt");
  paths.szPos = Example("seneca/seneca_pos.txt");
  paths.szOutput = folder / "out";
  paths.szSettings = Example("seneca/AdjPara_gps.xml");
  ASSERT_TRUE(RunAdjustment(paths, NativePlatform(), nullptr).bDone) << ReadFile(folder / "out/log.txt");
  const Report report = ReadReport(folder / "out/OrvoAdjustReport.txt");
  ASSERT_TRUE(report.bRead);
  EXPECT_NEAR(report.Rmse[0], 0.75, 0.01);
  EXPECT_NEAR(report.Rmse[1], 0.83, 0.01);
  EXPECT_NE(ReadFile(folder / "out/log.txt").find("Total group number:24\n"), std::string::npos);
}

}  // namespace
}  // namespace orvo::test
