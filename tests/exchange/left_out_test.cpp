// Images that nothing orients are in no export and in no figure.
#include "exchange/LeftOut.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>

#include "exchange/Commands.h"
#include "exchange/ExchangeFault.h"
#include "exchange/ModelFixture.h"
#include "exchange/ProjectWriting.h"
#include "exchange/ResultModel.h"
#include "exchange/VerticalBlock.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

using test::MakeVerticalBlock;
using test::ReadFile;
using test::RunOrvo;
using test::ScratchFolder;
using test::WriteFile;

/// Three images in a row, the middle one behind the second of two cameras.
SurveyBlock ThreeImages() {
  SurveyBlock block = MakeVerticalBlock({.nStrips = 1, .nImages = 3});
  block.Cameras.push_back(block.Cameras[0]);
  block.Images[1].nCamera = 1;
  block.Tie = {};
  test::AddPoint(block, block.Tie, "ALL", {200, 0, 50}, 0);
  test::AddPoint(block, block.Tie, "LEFT", {-50, 0, 50}, 0);
  test::AddPoint(block, block.Tie, "RIGHT", {450, 0, 50}, 0);
  test::AddPoint(block, block.Control, "C", {200, 10, 50}, 1);
  return block;
}

TEST(LeftOut, IsNothingOfASoundBlock) {
  SurveyBlock block = ThreeImages();
  ASSERT_EQ(block.Tie.Points[0].nMeasurementNum, 3);
  ASSERT_EQ(block.Tie.Points[1].nMeasurementNum, 2);
  const LeftOut left = LeaveOut(block, BlockOrigin::TextResult);
  EXPECT_TRUE(left.IsEmpty());
  EXPECT_EQ(block.Images.size(), 3u);
  EXPECT_EQ(block.Tie.Measurements.size(), 7u);
  EXPECT_TRUE(FindingsOf(left, "b.prj").empty());
}

TEST(LeftOut, HasAReason) {
  constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    const char* szWhat;
    void (*Break)(SurveyBlock& block);
    const char* szText;
    size_t nCameras;
  } rows[] = {
      {"position", [](SurveyBlock& block) { block.Images[1].S = {}; }, "without a position", 2},
      {"no number", [](SurveyBlock& block) { block.Images[1].S[2] = kNan; }, "without a position", 2},
      {"matrix", [](SurveyBlock& block) { block.Images[1].R[4] = kNan; }, "without a position", 2},
      {"focal length", [](SurveyBlock& block) { block.Cameras[1].dFocal = 0; }, "no run takes the camera", 1},
      {"principal point", [](SurveyBlock& block) { block.Cameras[1].dX0 = kNan; }, "no run takes the camera",
       1},
  };
  for (const auto& row : rows) {
    SurveyBlock block = ThreeImages();
    row.Break(block);
    const LeftOut left = LeaveOut(block, BlockOrigin::Project);
    ASSERT_EQ(left.Images.size(), 1u) << row.szWhat;
    EXPECT_EQ(left.Images[0].nImage, 1u) << row.szWhat;
    EXPECT_EQ(block.Cameras.size(), row.nCameras) << row.szWhat;
    ASSERT_EQ(block.Images.size(), 2u) << row.szWhat;
    EXPECT_EQ(block.Images[1].szName, "IMG_102") << row.szWhat;
    EXPECT_EQ(block.Images[1].nCamera, 0) << row.szWhat;
    // The points to the left and the right had two measurements, one of them in the middle.
    ASSERT_EQ(block.Tie.Points.size(), 1u) << row.szWhat;
    EXPECT_EQ(block.Tie.Measurements.size(), 2u) << row.szWhat;
    EXPECT_EQ(block.Tie.Measurements[1].nImage, 1) << row.szWhat;
    ASSERT_EQ(block.Control.Points.size(), 1u) << row.szWhat;
    EXPECT_EQ(block.Control.Points[0].nMeasurementNum, 2) << row.szWhat;
    EXPECT_EQ(left.nMeasurements, 4) << row.szWhat;
    EXPECT_EQ(left.nPoints, 2) << row.szWhat;
    const auto findings = FindingsOf(left, "b.prj");
    ASSERT_EQ(findings.size(), 2u) << row.szWhat;
    EXPECT_NE(findings[0].szWhat.find("1 image: images/IMG_101.jpg"), std::string::npos) << row.szWhat;
    EXPECT_NE(findings[0].szWhat.find(row.szText), std::string::npos) << findings[0].szWhat;
    EXPECT_NE(findings[1].szWhat.find("4 measurements"), std::string::npos) << findings[1].szWhat;
    EXPECT_NE(findings[1].szWhat.find("2 tie points"), std::string::npos) << findings[1].szWhat;
  }
}

/// The last image has a point of its own with the one that is left out, or none at all.
TEST(LeftOut, OfARunIsWhatHadNoTiePoint) {
  const struct {
    BlockOrigin Origin;
    bool bAtOrigin;  ///< the middle image
    std::vector<size_t> Left;
  } rows[] = {
      {BlockOrigin::Project, false, {}},         {BlockOrigin::BinaryResult, false, {0}},
      {BlockOrigin::TextResult, false, {0}},     {BlockOrigin::Project, true, {1}},
      {BlockOrigin::BinaryResult, true, {0, 1}}, {BlockOrigin::TextResult, true, {0, 1, 2}},
  };
  for (const auto& row : rows) {
    SurveyBlock block = ThreeImages();
    block.Tie = {};
    test::AddPoint(block, block.Tie, "RIGHT", {450, 0, 50}, 0);
    if (row.bAtOrigin) block.Images[1].S = {};
    const LeftOut left = LeaveOut(block, row.Origin);
    EXPECT_EQ(ImageOrdinalsOf(left), row.Left) << static_cast<int>(row.Origin) << row.bAtOrigin;
  }
}

TEST(LeftOut, ComesIntoNoExportAndNoFigure) {
  const ScratchFolder scratch;
  ForeignModel model = MakeModel(CameraLike(EveryCamera()[0]));
  ImportOptions options;
  options.szOut = scratch / "b";
  options.szSource = "model";
  WriteBlock(model, options, Silent());
  std::string head = ReadFile(scratch / "b.ovc");
  // The position of the first image is the sixth line.
  size_t begin = 0;
  for (int line = 0; line < 5; ++line) begin = head.find('\n', begin) + 1;
  head.replace(begin, head.find('\n', begin) - begin, "0 0 0");
  WriteFile(scratch / "b.ovc", head);
  const ResultBlock result = ReadResult(scratch / "b.ovc");
  const size_t whole = model.Images.size();
  ASSERT_EQ(result.Block.Images.size(), whole - 1);
  const auto sidecar = SidecarOf(result, {}, Silent());
  ASSERT_TRUE(sidecar);
  ASSERT_EQ(sidecar->Images.size(), whole - 1);
  EXPECT_EQ(sidecar->Images[0].szName, model.Images[1].szPath);
  for (const char* form : {"colmap", "csv", "ply", "opensfm"}) {
    const test::CommandRun run = RunOrvo({"export", form, scratch / "b.ovc", "--out", scratch / form});
    EXPECT_EQ(run.nCode, ExitDone) << run.szErr;
    EXPECT_NE(run.szErr.find("1 image: "), std::string::npos) << run.szErr;
    EXPECT_NE(run.szErr.find("left out, without a position"), std::string::npos) << run.szErr;
  }
  const std::string table = ReadFile(scratch / "csv/orientations.csv");
  EXPECT_EQ(static_cast<size_t>(std::ranges::count(table, '\n')), whole);  // with the headings
  const test::CommandRun info = RunOrvo({"info", scratch / "b.ovc"});
  EXPECT_NE(info.szOut.find("left out, without a position"), std::string::npos) << info.szOut;
  EXPECT_NE(info.szOut.find("images:        " + std::to_string(whole - 1) + " with"), std::string::npos)
      << info.szOut;
}

TEST(LeftOut, ABlockOfNothingElseIsRefused) {
  const ScratchFolder scratch;
  WriteFile(scratch / "b.prj",
            "1 1 0\n0 4000 3000 0 5000 0 0 0 0 0\n1 0\na/left.jpg\n1 0 0 0 1 0 0 0 1\n0 0 0\n");
  const test::CommandRun run = RunOrvo({"export", "csv", scratch / "b.prj", "--out", scratch / "t"});
  EXPECT_EQ(run.nCode, ExitFailed);
  EXPECT_NE(run.szErr.find("no image of it has an orientation"), std::string::npos) << run.szErr;
  EXPECT_FALSE(test::Exists(scratch / "t"));
}

}  // namespace
}  // namespace orvo::exchange
