#include "check/block/StrayImages.h"

#include <gtest/gtest.h>

#include <utility>

#include "check/SurveyBlocks.h"

namespace orvo::test {
namespace {

const SurveyBlock& Sound() {
  static const SurveyBlock block = [] {
    SyntheticOptions options;
    options.nStrips = 3;
    options.nImagesPerStrip = 6;
    return ReadGenerated(options);
  }();
  return block;
}

std::vector<size_t> StrayOf(const SurveyBlock& block) {
  std::vector<size_t> images;
  for (const StrayImage& stray : FindStrayImages(block, UsableImages(block), 1))
    images.push_back(stray.nImage);
  return images;
}

void TurnAboutView(SurveyImage& image) {
  for (size_t row = 0; row < 3; ++row) {
    const double x = image.R[3 * row];
    image.R[3 * row] = image.R[3 * row + 1];
    image.R[3 * row + 1] = -x;
  }
}

TEST(StrayImages, OneThatLooksAwayIsToldAsThat) {
  SurveyBlock block = Sound();
  for (size_t k = 0; k < 9; ++k) {
    if (k % 3 != 0) block.Images[8].R[k] = -block.Images[8].R[k];
  }
  EXPECT_EQ(StrayOf(block), std::vector<size_t>{8});
  block.Control = {};
  block.Pos.clear();
  const SurveyFiles files{"block.prj", "", "", "", ""};
  Diagnosis diagnosis;
  CheckGeometry({block, files, {}}, diagnosis);
  EXPECT_TRUE(std::ranges::any_of(diagnosis.Findings(), [&](const Finding& finding) {
    return finding.szCode == "G014" &&
           finding.szWhat == "image " + block.Images[8].szName + " looks away from what the other images see";
  }));
}

TEST(StrayImages, AreNamedAmongSoundOnes) {
  const struct {
    const char* szWhat;
    void (*Change)(SurveyBlock& block);
    std::vector<size_t> Images;
  } rows[] = {
      {"nothing", [](SurveyBlock&) {}, {}},
      {"a quarter turn", [](SurveyBlock& block) { TurnAboutView(block.Images[8]); }, {8}},
      {"a centre elsewhere", [](SurveyBlock& block) { block.Images[7].S[0] += 500; }, {7}},
      {"by less than is told", [](SurveyBlock& block) { block.Images[7].S[0] += 10; }, {}},
      {"a height", [](SurveyBlock& block) { block.Images[10].S[2] += 400; }, {10}},
      {"two in three strips",
       [](SurveyBlock& block) { TurnAboutView(block.Images[2]), TurnAboutView(block.Images[15]); },
       {2, 15}},
      {"all of them", [](SurveyBlock& block) { std::ranges::for_each(block.Images, TurnAboutView); }, {}},
      {"one without a camera", [](SurveyBlock& block) { block.Images[8].nCamera = 7; }, {}},
  };
  for (const auto& row : rows) {
    SurveyBlock block = Sound();
    row.Change(block);
    EXPECT_EQ(StrayOf(block), row.Images) << row.szWhat;
  }
}

/// Where no ray misses another by little, nothing tells which image is wrong.
TEST(StrayImages, NoneIsToldOfAPoorStart) {
  SyntheticOptions options;
  options.nStrips = 3;
  options.nImagesPerStrip = 6;
  for (const double angle : {0.3, 1.0, 3.0}) {
    options.fStartAngle = angle;
    options.fStartPosition = 20 * angle;
    EXPECT_TRUE(StrayOf(ReadGenerated(options)).empty()) << angle;
  }
}

}  // namespace
}  // namespace orvo::test
