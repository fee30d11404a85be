// Distortion beyond k1 and k2: whole rigorous runs.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <filesystem>
#include <string>
#include <vector>

#include "block/ProjectText.h"
#include "exchange/StrictResiduals.h"
#include "support/Block.h"
#include "support/TestFiles.h"
#include "whole/RunSummary.h"

namespace orvo::test {
namespace {

using nlohmann::json;

/// In the corner, 7,200 pixels out: 5, 3, 2, 2 and 3 pixels.
constexpr LensTerms kTrue = {5e-27, 2e-8, -1.5e-8, 5e-4, -5e-4};

SyntheticOptions BentBlock() {
  SyntheticOptions options;
  options.nStrips = 4;
  options.nImagesPerStrip = 8;
  options.nCrossStrips = 2;
  options.fMeasurementsPerImage = 200;
  options.fNoise = 0.5;
  options.nControlPoints = 12;
  options.nCheckPoints = 8;
  options.fGroundPointNoise = 0.02;
  options.fPrincipalX = 20;
  options.fPrincipalY = -30;
  options.fK3 = kTrue.fK3;
  options.fP1 = kTrue.fP1;
  options.fP2 = kTrue.fP2;
  options.fB1 = kTrue.fB1;
  options.fB2 = kTrue.fB2;
  return options;
}

BlockRun RunWith(const char* distortion) {
  BlockRun run;
  run.Options.Method = AdjustMethod::Rigorous;
  run.Options.Rules = RunRules::Guarded;
  run.Options.RigorousOverrides =
      RigorousOverridesOf(std::vector<std::string>{std::string("Distortion=") + distortion, "Robust=none"});
  return run;
}

double Sigma0Of(const json& summary) { return summary["precision"]["sigma0"]; }

struct LinePlace {
  size_t nBegin, nSize;
};

/// The only camera stands in the second line.
LinePlace CameraIn(const std::string& text) {
  const size_t begin = text.find('\n') + 1;
  return {begin, text.find('\n', begin) - begin};
}

std::string CameraLineOfResult(const Block& block) {
  const std::string text = ReadFile(block.Output("OrvoResult.ovc"));
  const LinePlace place = CameraIn(text);
  return text.substr(place.nBegin, place.nSize);
}

CameraLine CameraOfResult(const Block& block) { return ParseCameraLine(CameraLineOfResult(block)); }

/// The next run begins with the camera that the last one came to.
void TakeCameraOfResult(const Block& block) {
  std::string text = ReadFile(block.Paths().szText);
  const LinePlace place = CameraIn(text);
  text.replace(place.nBegin, place.nSize, CameraLineOfResult(block));
  WriteFile(block.Paths().szText, text);
}

SurveyCamera SurveyOf(const CameraLine& line) {
  SurveyCamera camera;
  camera.dFocal = line.fFocal;
  camera.dX0 = line.fPrincipalX;
  camera.dY0 = line.fPrincipalY;
  camera.dK1 = line.fK1;
  camera.dK2 = line.fK2;
  camera.Further = line.Further;
  return camera;
}

/// Over the image, of the directions of the two cameras, in pixels.
double LargestDifference(const SurveyCamera& one, const SurveyCamera& other, double halfWidth,
                         double halfHeight) {
  double largest = 0;
  for (int i = -4; i <= 4; ++i) {
    for (int j = -4; j <= 4; ++j) {
      const auto a = exchange::CorrectedMeasurement(one, halfWidth * i / 4, halfHeight * j / 4);
      const auto b = exchange::CorrectedMeasurement(other, halfWidth * i / 4, halfHeight * j / 4);
      const double scale = one.dFocal / other.dFocal;
      largest = std::max(largest, std::hypot(a.x - scale * b.x, a.y - scale * b.y));
    }
  }
  return largest;
}

SurveyCamera TrueCamera(const SyntheticOptions& options) {
  SurveyCamera camera;
  camera.dFocal = options.fFocal;
  camera.dX0 = options.fPrincipalX;
  camera.dY0 = options.fPrincipalY;
  camera.dK1 = options.fK1;
  camera.dK2 = options.fK2;
  camera.Further = kTrue;
  return camera;
}

TEST(RigorousLens, AllTermsComeBack) {
  Block block(BentBlock());
  const json plain = SummaryOfRun(block, RunWith("k1k2"));
  EXPECT_GT(Sigma0Of(plain), 1.5);
  EXPECT_EQ(CameraOfResult(block).fMark, 0);
  const json summary = SummaryOfRun(block, RunWith("brown_affinity"));
  EXPECT_NEAR(Sigma0Of(summary), 1, 0.03);
  EXPECT_EQ(summary["verdict"]["result"], "good") << summary["verdict"];
  const CameraLine line = CameraOfResult(block);
  ASSERT_EQ(line.fMark, kFurtherTerms);
  const SurveyCamera found = SurveyOf(line), truth = TrueCamera(block.Truth().Options);
  // What the principal point does is done as well by tilts of all images.
  EXPECT_LT(LargestDifference(truth, found, 4000, 6000), 2.0);
  EXPECT_NEAR(line.Further.fB1, kTrue.fB1, 3e-5);
  EXPECT_NEAR(line.Further.fB2, kTrue.fB2, 3e-5);
  const json& end = summary["cameras"][0]["end"]["further"];
  EXPECT_NEAR(end["b1"].get<double>(), line.Further.fB1, 1e-12);
  EXPECT_NEAR(end["k3"].get<double>(), line.Further.fK3, 1e-36);
  EXPECT_TRUE(summary["cameras"][0]["start"]["further"].is_null());
  // Check points are intersected with all terms.
  const Report report = block.AdjustReport();
  for (const double rmse : report.Check.Rmse) EXPECT_LT(rmse, 0.2);
}

/// Each by its standard deviation, all ten.
TEST(RigorousLens, EveryTermHasItsPrecision) {
  Block block(BentBlock());
  const json summary = SummaryOfRun(block, RunWith("brown_affinity"));
  const SyntheticOptions& o = block.Truth().Options;
  const std::vector<std::pair<std::string, double>> truth = {
      {"f", o.fFocal},   {"x0", o.fPrincipalX}, {"y0", o.fPrincipalY}, {"k1", o.fK1},     {"k2", o.fK2},
      {"k3", kTrue.fK3}, {"p1", kTrue.fP1},     {"p2", kTrue.fP2},     {"b1", kTrue.fB1}, {"b2", kTrue.fB2}};
  const json& quantities = summary["precision"]["cameras"][0]["parameters"];
  ASSERT_EQ(quantities.size(), truth.size());
  for (size_t k = 0; k < truth.size(); ++k) {
    EXPECT_EQ(quantities[k]["name"], truth[k].first);
    const double deviation = quantities[k]["deviation"];
    EXPECT_GT(deviation, 0) << truth[k].first;
    EXPECT_LT(std::abs(quantities[k]["value"].get<double>() - truth[k].second), 4 * deviation)
        << truth[k].first;
  }
}

TEST(RigorousLens, BrownHoldsTheAffinity) {
  Block block(BentBlock());
  const json summary = SummaryOfRun(block, RunWith("brown"));
  EXPECT_EQ(summary["precision"]["cameras"][0]["parameters"].size(), 8u);
  const CameraLine line = CameraOfResult(block);
  EXPECT_EQ(line.Further.fB1, 0);
  EXPECT_EQ(line.Further.fB2, 0);
  EXPECT_NE(line.Further.fP1, 0);
}

/// A second run begins where the first one ended.
TEST(RigorousLens, ResultsAreAStart) {
  Block block(BentBlock());
  const double first = Sigma0Of(SummaryOfRun(block, RunWith("brown_affinity")));
  TakeCameraOfResult(block);
  for (const bool unknown : {true, false}) {
    block.Set("Set_IOP_Unknown", unknown ? "true" : "false");
    const json summary = SummaryOfRun(block, RunWith("k1k2"));
    EXPECT_NEAR(Sigma0Of(summary), first, 2e-3) << unknown;
    EXPECT_NEAR(CameraOfResult(block).Further.fB1, kTrue.fB1, 3e-5) << unknown;
  }
}

TEST(RigorousLens, TheClassicMethodTellsWhatItTakesForZero) {
  Block block(BentBlock());
  SummaryOfRun(block, RunWith("brown_affinity"));
  TakeCameraOfResult(block);
  BlockRun classic;
  classic.Options.Rules = RunRules::Guarded;
  const RunOutcome outcome = block.Run(classic);
  ASSERT_TRUE(outcome.bDone);
  const auto told = std::ranges::find_if(outcome.Notes, [](const Finding& note) {
    return note.szWhat.find("k3, p1, p2, b1 and b2 are taken for 0") != std::string::npos;
  });
  EXPECT_NE(told, outcome.Notes.end());
  EXPECT_EQ(CameraOfResult(block).fMark, 0);
}

}  // namespace
}  // namespace orvo::test
