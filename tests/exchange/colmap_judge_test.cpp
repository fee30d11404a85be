// Exports judged by COLMAP itself, where it is installed.
#include <gtest/gtest.h>

#include <cstdlib>

#include "exchange/Commands.h"
#include "exchange/ModelFixture.h"
#include "exchange/ProjectWriting.h"
#include "exchange/ResultReading.h"
#include "exchange/colmap/ColmapForm.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::ReadFile;
using test::RunOrvo;
using test::ScratchFolder;
using test::SharedData;
using test::WriteFile;

bool HasColmap() { return std::system("command -v colmap > /dev/null 2>&1") == 0; }

/// What its adjustment says of the model before it does anything: the root of half the mean squared length of
/// a residual's two components. Below 0 where it does not say.
double CostByColmap(const ScratchFolder& scratch, const std::string& folder) {
  std::filesystem::create_directories(scratch / "judged");
  const std::string log = scratch / "judge.txt";
  const std::string command = "QT_QPA_PLATFORM=offscreen colmap bundle_adjuster --input_path " + folder +
                              " --output_path " + (scratch / "judged") +
                              " --BundleAdjustment.max_num_iterations 0 > " + log + " 2>&1";
  if (std::system(command.c_str()) != 0) return -1;
  const std::string text = ReadFile(log);
  const size_t place = text.find("Initial cost : ");
  return place == std::string::npos ? -2 : std::atof(text.c_str() + place + 15);
}

double CostOf(const ResidualSums& sums) {
  return std::sqrt((sums.RmsX() * sums.RmsX() + sums.RmsY() * sums.RmsY()) / 4);
}

TEST(ColmapJudge, SeesTheSameResidualsThroughEveryCamera) {
  if (!HasColmap()) GTEST_SKIP() << "colmap is not installed";
  for (const NamedCamera& named : EveryCamera()) {
    for (const bool text : {false, true}) {
      const ScratchFolder scratch;
      ForeignModel model = MakeModel(CameraLike(named));
      ImportOptions block;
      block.szOut = scratch / "block";
      const BlockTotals totals = WriteBlock(model, block, Silent());
      ExportOptions options;
      options.szOut = scratch / "model";
      options.bText = text;
      WriteColmap(model, options, Silent());
      EXPECT_NEAR(CostByColmap(scratch, options.szOut), CostOf(totals.Given), 2e-6) << named.szName;
    }
  }
}

/// Imports sceaux, adjusts it and exports the result; the residuals of the result.
struct AdjustedSceaux {
  AdjustedSceaux(const ScratchFolder& scratch, const std::string& source, bool free) {
    const std::string block = scratch / "block.ovc";
    Imported = RunOrvo({"import", "colmap", source, "--out", block, "--distortion", "correct"}).nCode;
    std::string settings = ReadFile(scratch / "block_AdjPara.xml");
    if (!free) {
      const std::string on = "<Set_IOP_Unknown>true";
      settings.replace(settings.find(on), on.size(), "<Set_IOP_Unknown>false");
    }
    WriteFile(scratch / "settings.xml", settings);
    Adjusted =
        RunOrvo({"adjust", block, "--settings", scratch / "settings.xml", "--out", scratch / "out"}).nCode;
    const ResultBlock result = ReadResult(scratch / "out");
    Sums = StrictResidualsOf(result.Block, result.Block.Tie);
  }
  int Imported = -1, Adjusted = -1;
  ResidualSums Sums;
};

std::string Sceaux() {
  const auto source = SharedData("exchange/sceaux/txt/cameras.txt");
  return source ? source->substr(0, source->rfind('/')) : "";
}

TEST(ColmapJudge, SceauxAdjustedWithItsCamera) {
  if (Sceaux().empty()) GTEST_SKIP() << "the shared data sets are not at hand";
  const ScratchFolder scratch;
  const AdjustedSceaux sceaux(scratch, Sceaux(), false);
  EXPECT_EQ(sceaux.Imported, ExitDone);
  EXPECT_EQ(sceaux.Adjusted, ExitDone);
  EXPECT_NEAR(sceaux.Sums.RmsX(), 0.5268, 1e-3);
  EXPECT_NEAR(sceaux.Sums.RmsY(), 0.6324, 1e-3);
  const std::string pinhole = scratch / "pinhole", original = scratch / "original";
  EXPECT_EQ(RunOrvo({"export", "colmap", scratch / "out", "--out", pinhole, "--camera", "pinhole"}).nCode,
            ExitDone);
  const test::CommandRun run = RunOrvo({"export", "colmap", scratch / "out", "--out", original, "--text"});
  EXPECT_EQ(run.nCode, ExitDone) << run.szErr;
  EXPECT_NE(run.szOut.find("Camera 1: the original, unchanged"), std::string::npos) << run.szOut;
  EXPECT_NE(
      ReadFile(original + "/cameras.txt").find("1 SIMPLE_RADIAL 2832 2128 2971.71 1416 1064 -0.164224\n"),
      std::string::npos);
  EXPECT_NE(ReadFile(original + "/images.txt").find(" 1 100_7109.JPG\n"), std::string::npos);
  if (!HasColmap()) GTEST_SKIP() << "colmap is not installed";
  EXPECT_NEAR(CostByColmap(scratch, pinhole), 0.411525, 1e-5);
  // The same residuals in measured pixels, which the lens has made smaller.
  EXPECT_NEAR(CostByColmap(scratch, original), 0.39918, 1e-4);
}

TEST(ColmapJudge, SceauxAdjustedWithAFreeCamera) {
  if (Sceaux().empty()) GTEST_SKIP() << "the shared data sets are not at hand";
  const ScratchFolder scratch;
  const AdjustedSceaux sceaux(scratch, Sceaux(), true);
  EXPECT_EQ(sceaux.Adjusted, ExitDone);
  EXPECT_NEAR(sceaux.Sums.RmsX(), 0.4363, 1e-3);
  EXPECT_NEAR(sceaux.Sums.RmsY(), 0.5917, 1e-3);
  const std::string rational = scratch / "rational", pinhole = scratch / "pinhole";
  EXPECT_EQ(RunOrvo({"export", "colmap", scratch / "out", "--out", pinhole, "--camera", "pinhole"}).nCode,
            ExitDone);
  std::filesystem::remove(scratch / "block.orvo.json");
  const test::CommandRun run = RunOrvo({"export", "colmap", scratch / "out", "--out", rational});
  EXPECT_EQ(run.nCode, ExitDone) << run.szErr;
  EXPECT_NE(run.szOut.find("refitted as FULL_OPENCV"), std::string::npos) << run.szOut;
  if (!HasColmap()) GTEST_SKIP() << "colmap is not installed";
  EXPECT_NEAR(CostByColmap(scratch, pinhole), CostOf(sceaux.Sums), 2e-6);
  EXPECT_NEAR(CostByColmap(scratch, rational), 0.366175, 1e-3);
}

}  // namespace
}  // namespace orvo::exchange
