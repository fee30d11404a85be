// Sections, whatever their source.
#include <gtest/gtest.h>

#include <cmath>

#include "block/SectionChecks.h"

namespace orvo::test {
namespace {

TEST(SectionPoints, FilesThatHaveGone) {
  ProjectFiles files;
  LoggedBlock block;
  block->Paths.szProjectPath = files.szText;
  block->Paths.szGcpPath = files.szGcp;
  block->Points.nTiePointNum = 2;
  MakeSections(*block, {{0, 3}});
  EXPECT_EQ(0, Read(block, 0));
  EXPECT_EQ(
      ">>>>Reading points from prj file...\nError!Open prj file failed!\n>>>>Reading gcp file...\n"
      "Error!Open gcp file falied!\n",
      block.Log());
  block->Paths.szOvtPath = files.szOvt;
  EXPECT_EQ(0, Read(block, 0));
  EXPECT_EQ(
      ">>>>Reading ovt file...0\nOpen ovt file failed!\n>>>>Reading gcp file...\nError!Open gcp file "
      "falied!\n",
      block.Log());
  EXPECT_EQ(0, block->Points.Sections.ImagePoints[0].Count());
}

TEST(SectionPoints, AnEmptySectionClearsTheArrays) {
  LoggedBlock block;
  block->Points.pObjectPoints.resize(3);
  block->Points.pImagePoints.resize(3);
  MakeSections(*block, {{5, 4}});
  EXPECT_EQ(0, Read(block, 0));
  EXPECT_TRUE(block->Points.pObjectPoints.empty());
  EXPECT_TRUE(block->Points.pImagePoints.empty());
  EXPECT_EQ("", block.Log());
}

TEST(SectionPoints, NoSuchSection) {
  LoggedBlock block;
  int64_t count = -1;
  for (int32_t section : {-1, 0, 1}) {
    EXPECT_FALSE(block->Read(section, count));
    EXPECT_EQ(0, count);
  }
}

TEST(SectionPoints, SampleDistanceIsTakenAtEachReading) {
  ProjectFiles files;
  std::string points;
  for (int i = 0; i < 21; ++i) {
    points += PointText("p", 0, {{0, 100.0 * i, 0}}, std::to_string(20 * i) + " 0 0");
  }
  WriteFile(files.szText, ProjectText(1, 21, points));
  LoggedBlock block;
  files.ReadAll(*block, files.szText, "");
  Read(block, 0);
  EXPECT_NEAR(0.2, block->Frame.fGsd, 1e-6);
  WriteFile(files.szText, ProjectText(1, 1, PointText("a", 0, {{0, 1, 1}})));
  block->Inputs.Forget();
  files.ReadAll(*block, files.szText, "");
  Read(block, 0);
  EXPECT_TRUE(std::isnan(block->Frame.fGsd));
}

}  // namespace
}  // namespace orvo::test
