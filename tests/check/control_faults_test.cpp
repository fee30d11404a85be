// What is wrong with all control points of a sound block at once, and what only looks like it.
#include <gtest/gtest.h>

#include <functional>
#include <utility>

#include "check/SurveyBlocks.h"

namespace orvo::test {
namespace {

SyntheticOptions SoundOptions() {
  SyntheticOptions options;
  options.nStrips = 3;
  options.nImagesPerStrip = 6;
  options.nControlPoints = 6;
  options.nCheckPoints = 3;
  return options;
}

const SurveyBlock& Sound() {
  static const SurveyBlock block = ReadGenerated(SoundOptions());
  return block;
}

struct Case {
  const char* szName;
  std::function<void(SurveyBlock&, AdjustmentSettings&)> Change;
  const char* szCodes;
};

void Expect(const Case& each) {
  SurveyBlock block = Sound();
  AdjustmentSettings settings;
  each.Change(block, settings);
  EXPECT_EQ(Codes(block, settings), each.szCodes) << each.szName;
}

void MoveImages(SurveyBlock& block, double dX, double factor) {
  for (SurveyImage& image : block.Images) {
    for (double& coordinate : image.S) coordinate *= factor;
    image.S[0] += dX;
  }
}

TEST(ControlFaults, HeightsSignsAndExchanges) {
  const auto keep = [](SurveyBlock& block, size_t controlNum) { block.Control.Points.resize(controlNum); };
  const Case cases[] = {
      {"heights of another kind",
       [](SurveyBlock& block, AdjustmentSettings&) {
         for (SurveyPoint& point : block.Control.Points) point.P[2] -= 400;
       },
       "K006"},
      {"heights that a focal length makes as well",
       [](SurveyBlock& block, AdjustmentSettings&) {
         for (SurveyPoint& point : block.Control.Points) point.P[2] -= 60;
       },
       "K018"},
      {"the same where a run holds the focal length",
       [](SurveyBlock& block, AdjustmentSettings& settings) {
         settings.Set_IOP_Unknown = false;
         for (SurveyPoint& point : block.Control.Points) point.P[2] -= 60;
       },
       "K006"},
      {"heights of another kind that nothing but control tells",
       [](SurveyBlock& block, AdjustmentSettings&) {
         block.Pos = {};
         for (SurveyPoint& point : block.Control.Points) point.P[2] -= 400;
       },
       "K014"},
      {"the same with 3 control points",
       [&](SurveyBlock& block, AdjustmentSettings&) {
         block.Pos = {};
         keep(block, 3);
         for (SurveyPoint& point : block.Control.Points) point.P[2] -= 400;
       },
       "K006"},
      {"a frame of the block's own, and heights of positions of another kind",
       [](SurveyBlock& block, AdjustmentSettings&) {
         MoveImages(block, 50000, 0.1);
         for (SurveyPos& pos : block.Pos) pos.S[2] += 60;
       },
       "P014"},
      {"two of 3 points exchanged",
       [&](SurveyBlock& block, AdjustmentSettings&) {
         keep(block, 3);
         std::swap(block.Control.Points[0].P, block.Control.Points[2].P);
       },
       "K007"},
      {"X with the other sign",
       [](SurveyBlock& block, AdjustmentSettings&) {
         for (SurveyPoint& point : block.Control.Points) point.P[0] = -point.P[0];
       },
       "K005"},
  };
  for (const Case& each : cases) Expect(each);
}

TEST(ControlFaults, SimilaritiesThatEndARun) {
  const auto keep = [](SurveyBlock& block, size_t controlNum) { block.Control.Points.resize(controlNum); };
  const Case cases[] = {
      {"a similarity, and too few points for it",
       [&](SurveyBlock& block, AdjustmentSettings& settings) {
         settings.Absolute_Orientation = true;
         keep(block, 2);
       },
       "K019"},
      {"a similarity, and no control",
       [&](SurveyBlock& block, AdjustmentSettings& settings) {
         settings.Absolute_Orientation = true;
         keep(block, 0);
       },
       "K019"},
      {"one of 4 points far off, so that a run finds no similarity",
       [&](SurveyBlock& block, AdjustmentSettings&) {
         keep(block, 4);
         block.Control.Points[1].P[2] += 9000;
       },
       "K008 K016"},
  };
  for (const Case& each : cases) Expect(each);
}

/// Where the start is as good as GPS and IMU make it, less than a poor start would hide.
TEST(ControlFaults, OnePointOffItsPlace) {
  SyntheticOptions options;
  options.nStrips = 3;
  options.nImagesPerStrip = 6;
  options.nControlPoints = 6;
  options.fStartPosition = 0.05;
  options.fStartAngle = 0.005;
  options.fStartFocal = 0;
  const SurveyBlock good = ReadGenerated(options);
  const std::pair<double, const char*> rows[] = {{0, ""}, {10, ""}, {60, "K008"}, {-60, "K008"}};
  for (const size_t axis : {0u, 1u, 2u}) {
    for (const auto& [off, codes] : rows) {
      SurveyBlock block = good;
      block.Control.Points[2].P[axis] += off;
      EXPECT_EQ(Codes(block), codes) << axis << ' ' << off;
    }
  }
}

/// Measured by another program than the tie points.
TEST(ControlFaults, OtherImageAxes) {
  using Change = void (*)(SurveyMeasurement&);
  const std::pair<Change, const char*> rows[] = {
      {[](SurveyMeasurement&) {}, ""},
      {[](SurveyMeasurement& m) { m.y = -m.y; }, "K017: Write x, -y in the GCP file"},
      {[](SurveyMeasurement& m) { m.x += 4000, m.y = 6000 - m.y; },
       "K017: Write x - 4000, 6000 - y in the GCP file"},
      {[](SurveyMeasurement& m) { std::swap(m.x, m.y); }, "K017: Write y, x in the GCP file"},
      {[](SurveyMeasurement& m) { m.x = -m.x, m.y = -m.y; }, "K017: Write -x, -y in the GCP file"},
      {[](SurveyMeasurement& m) { m.x = -std::exchange(m.y, m.x); }, "K017: Write y, -x in the GCP file"},
      {[](SurveyMeasurement& m) { m.y = -std::exchange(m.x, m.y); }, "K017: Write -y, x in the GCP file"},
  };
  SyntheticOptions level = SoundOptions();
  level.fTilt = level.fNoise = level.fStartAngle = level.fStartPosition = level.fScatter = 0;
  const SurveyBlock vertical = ReadGenerated(level);
  for (const SurveyBlock* sound : {&Sound(), &vertical}) {
    for (const auto& [change, remedy] : rows) {
      SurveyBlock block = *sound;
      std::ranges::for_each(block.Control.Measurements, change);
      EXPECT_EQ(Remedies(block), remedy);
    }
  }
}

}  // namespace
}  // namespace orvo::test
