// The example block, in both project forms.
#include <gtest/gtest.h>

#include "block/SectionReading.h"

namespace orvo::test {
namespace {

TEST(SharedData, BothFormsOfTheSmallBlockAreTheSameBlock) {
  const auto text = SharedData("seneca/seneca_small.prj"), ovc = SharedData("seneca/seneca_small.ovc"),
             gcp = SharedData("seneca/seneca_gcp.txt");
  if (!text || !ovc || !gcp) GTEST_SKIP() << "shared data not at hand";
  LoggedBlock a, b;
  ProjectFiles::ReadAll(*a, *text, *gcp);
  ProjectFiles::ReadAll(*b, *ovc, *gcp);
  EXPECT_EQ(165, a->nImageNum);
  EXPECT_EQ(165, b->nImageNum);
  EXPECT_EQ(1, a->nCameraNum);
  EXPECT_EQ(a->nTiePointNum, Read(a, 0));
  EXPECT_EQ(b->nTiePointNum, Read(b, 0));
  EXPECT_EQ(a->pPointImageCount, b->pPointImageCount);
  EXPECT_EQ(a->pImagePointCount, b->pImagePointCount);
  ASSERT_EQ(a->pImagePoints.size(), b->pImagePoints.size());
  for (size_t i = 0; i < a->pImagePoints.size(); ++i) {
    ASSERT_EQ(a->pImagePoints[i].nImage, b->pImagePoints[i].nImage);
    ASSERT_EQ(a->pImagePoints[i].nObjectPoint, b->pImagePoints[i].nObjectPoint);
    ASSERT_NEAR(a->pImagePoints[i].x, b->pImagePoints[i].x, 1e-5);
    ASSERT_NEAR(a->pImagePoints[i].y, b->pImagePoints[i].y, 1e-5);
  }
}

TEST(SharedData, TheFullBlockInSections) {
  const auto ovc = SharedData("seneca/seneca_full.ovc");
  if (!ovc) GTEST_SKIP() << "shared data not at hand";
  LoggedBlock whole, parts(4000000);
  ProjectFiles::ReadAll(*whole, *ovc, "");
  ProjectFiles::ReadAll(*parts, *ovc, "");
  EXPECT_EQ(580686, whole->nImagePointNum);
  EXPECT_EQ(whole->nTiePointNum, Read(whole, 0));
  EXPECT_EQ(580686u, whole->pImagePoints.size());
  ASSERT_GT(parts->Sections.Count(), 5);
  size_t measures = 0;
  int64_t points = 0;
  for (int32_t s = 0; s < parts->Sections.Count(); ++s) {
    points += Read(parts, s);
    for (const ImagePointRecord& image : parts->pImagePoints) {
      ASSERT_EQ(whole->pImagePoints[measures].x, image.x);
      ASSERT_EQ(whole->pImagePoints[measures].nImage, image.nImage);
      ++measures;
    }
  }
  EXPECT_EQ(whole->nTiePointNum, points);
  EXPECT_EQ(580686u, measures);
}

}  // namespace
}  // namespace orvo::test
