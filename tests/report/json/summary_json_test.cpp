#include <gtest/gtest.h>

#include <limits>

#include "report/SampleFigures.h"
#include "report/json/SameFigures.h"
#include "report/json/SummaryFile.h"

namespace orvo::test {
namespace {

using nlohmann::json;

TEST(SummaryJson, ReadsBackWhatItWrites) {
  report::RunFigures bare = MakeSampleFigures();
  bare.Pos.reset();
  for (report::CameraFigure& camera : bare.vCameras) camera.vField.clear(), camera.vRings.clear();
  for (const auto& figures : {MakeSampleFigures(), MakeFailedFigures(), bare, report::RunFigures()}) {
    const std::string text = SummaryOf(figures);
    const report::SummaryOrFault read = ReadBack(text);
    ASSERT_TRUE(std::holds_alternative<report::RunFigures>(read)) << std::get<std::string>(read);
    EXPECT_TRUE(Same(std::get<report::RunFigures>(read), figures));
    EXPECT_EQ(SummaryOf(std::get<report::RunFigures>(read)), text);
  }
}

TEST(SummaryJson, TellsFiguresApart) {
  // Were a field compared with itself, nothing above would show it.
  const report::RunFigures sample = MakeSampleFigures();
  report::RunFigures changed = sample;
  changed.vImages[7].Rmse.y += 1e-9;
  EXPECT_FALSE(Same(sample, changed));
  changed = sample;
  changed.Pos->vImages[3].nStrip += 1;
  EXPECT_FALSE(Same(sample, changed));
}

TEST(SummaryJson, HasReadableKeys) {
  const json summary = json::parse(SummaryOf(MakeSampleFigures()));
  EXPECT_EQ(summary["form"], "orvo-summary");
  EXPECT_EQ(summary["version"], report::kSummaryVersion);
  EXPECT_EQ(summary["counts"]["tie_points_in_file"], 55 * 40 + 5);
  EXPECT_EQ(summary["settings"][2], json({{"key", "UseGps"}, {"value", "true"}, {"origin", "command line"}}));
  EXPECT_EQ(summary["iterations"][1]["rmse"], json({1.75, 1.1 * 1.75}));
  EXPECT_EQ(summary["residuals"]["strict_kept"]["mean"], json({0.0025, -0.0015}));
  EXPECT_EQ(summary["images"][5]["strip"], -1);
  EXPECT_EQ(summary["images"][7]["footprint"], nullptr);
  EXPECT_EQ(summary["images"][8]["footprint"].size(), 4u);
  EXPECT_EQ(summary["cameras"][0]["field"][21][0], 10 + 3 + 1);
  EXPECT_EQ(summary["ground"]["points"][3]["difference"], nullptr);
  EXPECT_EQ(summary["ground"]["points"][19]["difference"], json({1.25, -0.875, 2.5}));
  EXPECT_EQ(summary["ground"]["survey_sigma_vertical"], 0.035);
  EXPECT_EQ(json::parse(SummaryOf(MakeFailedFigures()))["ground"]["survey_sigma_vertical"], nullptr);
  EXPECT_EQ(summary["pos"]["sigma_z"], 0.075);
  EXPECT_EQ(summary["verdict"]["result"], "doubtful");
  EXPECT_EQ(summary["phases"][2], json({{"phase", "iterating"}, {"seconds", 20.75}}));
}

TEST(SummaryJson, GivesAnImageALine) {
  const std::string few = SummaryOf(MakeSampleFigures(40)), more = SummaryOf(MakeSampleFigures(41));
  const auto images = [](const std::string& text) {
    size_t count = 0;
    for (size_t at = text.find("\n    {\"name\":\"s"); at != std::string::npos;
         at = text.find("\n    {\"name\":\"s", at + 1))
      ++count;
    return count;
  };
  EXPECT_EQ(images(few), 40u);
  EXPECT_EQ(images(more), 41u);
}

TEST(SummaryJson, WritesNumbersThatAreNoneAsNull) {
  report::RunFigures figures = MakeSampleFigures();
  figures.vIterations[5].fLargest = std::numeric_limits<double>::infinity();
  figures.vImages[0].Mean.y = std::numeric_limits<double>::quiet_NaN();
  figures.fSeconds = -0.0;
  const std::string text = SummaryOf(figures);
  const json summary = json::parse(text);
  EXPECT_TRUE(summary["iterations"][5]["largest_correction"].is_null());
  EXPECT_TRUE(summary["images"][0]["mean"][1].is_null());
  const report::SummaryOrFault read = ReadBack(text);
  ASSERT_TRUE(std::holds_alternative<report::RunFigures>(read));
  const auto& again = std::get<report::RunFigures>(read);
  EXPECT_TRUE(std::isnan(again.vIterations[5].fLargest));
  EXPECT_TRUE(std::signbit(again.fSeconds));
  EXPECT_EQ(SummaryOf(again), text);
}

TEST(SummaryJson, WritesWhatNobodyKnowsAsNull) {
  report::RunFigures figures = MakeSampleFigures();
  figures.vIterations[1].nUsed = figures.vIterations[1].nGross = report::kUnknownCount;
  figures.Residuals.Listed.nMeasurements = report::kUnknownCount;
  figures.Residuals.nGross = report::kUnknownCount;
  figures.Judgement.bJudged = false;
  const std::string text = SummaryOf(figures);
  const json summary = json::parse(text);
  EXPECT_TRUE(summary["iterations"][1]["used"].is_null());
  EXPECT_TRUE(summary["iterations"][1]["gross"].is_null());
  EXPECT_EQ(summary["iterations"][2]["used"], figures.vIterations[2].nUsed);
  EXPECT_TRUE(summary["residuals"]["listed"]["measurements"].is_null());
  EXPECT_TRUE(summary["residuals"]["gross"].is_null());
  EXPECT_TRUE(summary["verdict"]["result"].is_null());
  const report::SummaryOrFault read = ReadBack(text);
  ASSERT_TRUE(std::holds_alternative<report::RunFigures>(read)) << std::get<std::string>(read);
  const auto& again = std::get<report::RunFigures>(read);
  EXPECT_EQ(again.vIterations[1].nGross, report::kUnknownCount);
  EXPECT_EQ(again.Residuals.Listed.nMeasurements, report::kUnknownCount);
  EXPECT_FALSE(again.Judgement.bJudged);
  EXPECT_EQ(SummaryOf(again), text);
}

TEST(SummaryJson, GivesDoublesBack) {
  report::RunFigures figures = MakeSampleFigures();
  const double hard[] = {0.1,
                         1.0 / 3,
                         5e-324,
                         2.2250738585072014e-308,
                         1.7976931348623157e308,
                         1e16 / 3,
                         9007199254740993.0,
                         123456.7890123456};
  for (size_t k = 0; k < std::size(hard); ++k) figures.vImages[k].Centre = {hard[k], -hard[k], hard[k] / 7};
  const report::SummaryOrFault read = ReadBack(SummaryOf(figures));
  ASSERT_TRUE(std::holds_alternative<report::RunFigures>(read));
  for (size_t k = 0; k < std::size(hard); ++k) {
    const report::Triple& centre = std::get<report::RunFigures>(read).vImages[k].Centre;
    EXPECT_EQ(centre.X, hard[k]);
    EXPECT_EQ(centre.Y, -hard[k]);
    EXPECT_EQ(centre.Z, hard[k] / 7);
  }
}

TEST(SummaryJson, KeepsNamesOfEveryCharacter) {
  std::string valid = "quote\" </script> <b> & \\ ";
  for (char c = 1; c < 0x20; ++c) valid += c;
  valid +=
      "\x7f \xc2\x80 \xc3\xa4 \xe2\x80\xae \xe2\x80\xa8 \xed\x9f\xbf \xef\xbf\xbf \xf0\x9f\x9b\xb0 "
      "\xf4\x8f\xbf\xbf";
  report::RunFigures figures = MakeSampleFigures();
  figures.vImages[0].szName = valid;
  figures.vImages[1].szName = NastyName();
  figures.szProject = std::string("a\0b", 3);
  figures.vFindings[0].szWhat = "\xe4\xff";
  const std::string text = SummaryOf(figures);
  const json summary = json::parse(text);
  EXPECT_EQ(summary["images"][0]["name"], valid);
  EXPECT_EQ(summary["project"], figures.szProject);
  EXPECT_EQ(summary["findings"][0]["what"], "\\xe4\\xff");
  const auto nasty = summary["images"][1]["name"].get<std::string>();
  EXPECT_NE(nasty.find("\\xff\\xc3( \\xed\\xa0\\x80"), std::string::npos) << nasty;
  EXPECT_NE(nasty.find("\xf0\x9f\x9b\xb0"), std::string::npos);
  const report::SummaryOrFault read = ReadBack(text);
  ASSERT_TRUE(std::holds_alternative<report::RunFigures>(read));
  EXPECT_EQ(std::get<report::RunFigures>(read).vImages[0].szName, valid);
  EXPECT_EQ(SummaryOf(std::get<report::RunFigures>(read)), text);
}

}  // namespace
}  // namespace orvo::test
