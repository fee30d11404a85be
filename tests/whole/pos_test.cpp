// GPS and IMU records carry blocks with little control.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "support/Block.h"

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
  EXPECT_LT(with, 0.8 * without);
  EXPECT_NE(block.Log().find("New group number:6\n"), std::string::npos);
}

TEST(Pos, LinearDriftsOfStripsAreTakenOut) {
  SyntheticOptions options = Options();
  options.fPosOffset = 0.5;
  options.fPosDrift = 0.02;
  Block block(options);
  const auto [without, with] = CheckErrors(block, true, false, false);
  EXPECT_LT(with, without);
}

TEST(Pos, GpsAndImuTogether) {
  SyntheticOptions options = Options();
  options.fPosOffset = 0.3;
  options.fPosDrift = 0;
  Block block(options);
  const auto [without, with] = CheckErrors(block, false, true, false);
  EXPECT_LT(with, 1.1 * without);
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
  paths.szSettings = folder / "AdjPara.xml";
  std::string settings = ReadFile(Example("seneca/AdjPara.xml"));
  const auto replace = [&](const std::string& from, const std::string& to) {
    const size_t at = settings.find(from);
    ASSERT_NE(at, std::string::npos) << from;
    settings.replace(at, from.size(), to);
  };
  replace("<Apply_GPS_Data>false", "<Apply_GPS_Data>true");
  replace("<GPS_Accuracy_XY>1<", "<GPS_Accuracy_XY>32000<");
  replace("<GPS_Accuracy_Z>1<", "<GPS_Accuracy_Z>9800<");
  WriteFile(paths.szSettings, settings);
  ASSERT_TRUE(RunAdjustment(paths, NativePlatform(), nullptr).bDone) << ReadFile(folder / "out/log.txt");
  const Report report = ReadReport(folder / "out/OrvoAdjustReport.txt");
  ASSERT_TRUE(report.bRead);
  EXPECT_NEAR(report.Rmse[0], 0.75, 0.01);
  EXPECT_NEAR(report.Rmse[1], 0.83, 0.01);
  EXPECT_NE(ReadFile(folder / "out/log.txt").find("Total group number:24\n"), std::string::npos);
}

}  // namespace
}  // namespace orvo::test
