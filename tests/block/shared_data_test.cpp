// The example block, in both project forms.
#include <gtest/gtest.h>

#include "block/SectionChecks.h"

namespace orvo::test {
namespace {

TEST(SharedData, BothFormsOfTheSmallBlockAreTheSameBlock) {
  const auto text = SharedData("seneca/seneca_small.prj"), ovc = SharedData("seneca/seneca_small.ovc"),
             gcp = SharedData("seneca/seneca_gcp.txt");
  if (!text || !ovc || !gcp) GTEST_SKIP() << "shared data not at hand";
  LoggedBlock a, b;
  ProjectFiles::ReadAll(*a, *text, *gcp);
  ProjectFiles::ReadAll(*b, *ovc, *gcp);
  EXPECT_EQ(165, a->Images.nImageNum);
  EXPECT_EQ(165, b->Images.nImageNum);
  EXPECT_EQ(1, a->Cameras.nCameraNum);
  EXPECT_EQ(a->Points.nTiePointNum, Read(a, 0));
  EXPECT_EQ(b->Points.nTiePointNum, Read(b, 0));
  EXPECT_EQ(a->Points.pPointImageCount, b->Points.pPointImageCount);
  EXPECT_EQ(a->Images.pImagePointCount, b->Images.pImagePointCount);
  ASSERT_EQ(a->Points.pImagePoints.size(), b->Points.pImagePoints.size());
  for (size_t i = 0; i < a->Points.pImagePoints.size(); ++i) {
    ASSERT_EQ(a->Points.pImagePoints[i].nImage, b->Points.pImagePoints[i].nImage);
    ASSERT_EQ(a->Points.pImagePoints[i].nObjectPoint, b->Points.pImagePoints[i].nObjectPoint);
    ASSERT_NEAR(a->Points.pImagePoints[i].x, b->Points.pImagePoints[i].x, 1e-5);
    ASSERT_NEAR(a->Points.pImagePoints[i].y, b->Points.pImagePoints[i].y, 1e-5);
  }
}

TEST(SharedData, TheFullBlockInSections) {
  const auto ovc = SharedData("seneca/seneca_full.ovc");
  if (!ovc) GTEST_SKIP() << "shared data not at hand";
  LoggedBlock whole, parts(4000000);
  ProjectFiles::ReadAll(*whole, *ovc, "");
  ProjectFiles::ReadAll(*parts, *ovc, "");
  EXPECT_EQ(580686, whole->Points.nImagePointNum);
  EXPECT_EQ(whole->Points.nTiePointNum, Read(whole, 0));
  EXPECT_EQ(580686u, whole->Points.pImagePoints.size());
  ASSERT_GT(parts->Points.Sections.Count(), 5);
  size_t measures = 0;
  int64_t points = 0;
  for (int32_t s = 0; s < parts->Points.Sections.Count(); ++s) {
    points += Read(parts, s);
    for (const ImagePointRecord& image : parts->Points.pImagePoints) {
      ASSERT_EQ(whole->Points.pImagePoints[measures].x, image.x);
      ASSERT_EQ(whole->Points.pImagePoints[measures].nImage, image.nImage);
      ++measures;
    }
  }
  EXPECT_EQ(whole->Points.nTiePointNum, points);
  EXPECT_EQ(580686u, measures);
}

}  // namespace
}  // namespace orvo::test
