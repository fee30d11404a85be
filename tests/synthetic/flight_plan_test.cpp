#include "synthetic/FlightPlan.h"

#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <map>

#include "synthetic/SyntheticScene.h"

namespace orvo {
namespace {

SyntheticOptions ExactFlight() {
  SyntheticOptions options;
  options.fScatter = options.fTilt = 0;
  return options;
}

TEST(FlightPlan, BaseAndStripSpacingGiveTheOverlaps) {
  SyntheticOptions options = ExactFlight();
  options.nStrips = 3;
  options.nImagesPerStrip = 5;
  options.fForwardOverlap = 80;
  options.fSideOverlap = 25;
  const FlightPlan plan(options);
  ASSERT_EQ(plan.Images().size(), 15u);
  ASSERT_EQ(FlightPlan::CountImages(options), 15);
  // 8000 x 12000 px at 0.1 m: 800 m by 1200 m on the ground.
  const auto distance = [&](size_t a, size_t b) {
    return std::hypot(plan.Images()[a].X - plan.Images()[b].X, plan.Images()[a].Y - plan.Images()[b].Y);
  };
  EXPECT_NEAR(distance(0, 1), 0.2 * 800, 1e-9);
  EXPECT_NEAR(distance(3, 4), 0.2 * 800, 1e-9);
  EXPECT_NEAR(distance(4, 5), 0.75 * 1200, 1e-9) << "the second strip starts where the first ends";
  EXPECT_NEAR(distance(0, 9), 0.75 * 1200, 1e-9);
  for (const SyntheticImage& image : plan.Images()) EXPECT_EQ(image.Z, 1300);
}

TEST(FlightPlan, StripsAreFlownToAndFroAlongTheHeading) {
  SyntheticOptions options = ExactFlight();
  options.nCrossStrips = 2;
  const FlightPlan plan(options);
  std::map<int32_t, const SyntheticImage*> last;
  for (const SyntheticImage& image : plan.Images()) {
    if (const auto found = last.find(image.nStrip); found != last.end()) {
      const SyntheticImage& before = *found->second;
      const double course = std::atan2(image.Y - before.Y, image.X - before.X);
      EXPECT_NEAR(std::remainder(course - image.fKappa, 2 * kPi), 0, 1e-9);
    }
    last[image.nStrip] = &image;
  }
  const double degree = kRadiansPerDegree;
  ASSERT_EQ(last.size(), 6u);
  EXPECT_NEAR(last[0]->fKappa, 20 * degree, 1e-12);
  EXPECT_NEAR(last[1]->fKappa, -160 * degree, 1e-12);
  EXPECT_NEAR(last[4]->fKappa, 110 * degree, 1e-12);
  EXPECT_NEAR(last[5]->fKappa, -70 * degree, 1e-12);
}

TEST(FlightPlan, ImageIdsAreNotOrdinals) {
  const FlightPlan plan({});
  for (size_t i = 0; i < plan.Images().size(); ++i) {
    EXPECT_EQ(plan.Images()[i].nId, static_cast<int32_t>(i) + 1001);
  }
}

TEST(FlightPlan, RotationIsTheProductAboutYXZ) {
  const FlightPlan plan({});
  for (const SyntheticImage& image : plan.Images()) {
    const Eigen::Matrix3d R = (Eigen::AngleAxisd(-image.fPhi, Eigen::Vector3d::UnitY()) *
                               Eigen::AngleAxisd(image.fOmega, Eigen::Vector3d::UnitX()) *
                               Eigen::AngleAxisd(image.fKappa, Eigen::Vector3d::UnitZ()))
                                  .toRotationMatrix();
    for (int i = 0; i < 9; ++i) EXPECT_NEAR(image.R[i], R(i / 3, i % 3), 1e-15);
  }
}

TEST(FlightPlan, TimeIsSignedDistanceOverSpeed) {
  SyntheticOptions options = ExactFlight();
  options.fAircraftSpeed = 40;
  const FlightPlan plan(options);
  for (size_t i = 0; i < 8; ++i) {
    // 320 m between images; the second strip goes towards smaller X.
    EXPECT_NEAR(plan.Images()[i].fTime, 8.0 * static_cast<double>(i), 1e-9);
    EXPECT_NEAR(plan.Images()[8 + i].fTime, -8.0 * static_cast<double>(i), 1e-9);
  }
}

TEST(FlightPlan, TimeOfAStripAcrossXTakesItsSignFromY) {
  SyntheticOptions options = ExactFlight();
  options.fHeading = 100;  // X falls while Y rises, and Y changes more
  const FlightPlan plan(options);
  EXPECT_GT(plan.Images()[1].fTime, 0);
  EXPECT_LT(plan.Images()[9].fTime, 0);
}

TEST(FlightPlan, NoImageThatSeesAPointIsPassedOver) {
  SyntheticOptions rows[6];
  rows[1].nCrossStrips = 3;
  rows[2].fTilt = 5, rows[2].fRelief = 400, rows[2].fScatter = 40;
  rows[3].fK1 = -2e-9, rows[3].nCameras = 0, rows[3].fCameraSpread = 0.01;
  rows[4].nStrips = 1, rows[4].fForwardOverlap = 90, rows[4].nCrossStrips = 1;
  rows[5].fHeading = -135, rows[5].fPrincipalX = 900, rows[5].fPrincipalY = -700;
  for (const SyntheticOptions& options : rows) {
    ASSERT_EQ(CheckSyntheticOptions(options), "");
    const SyntheticScene scene(options);
    const FlightPlan& plan = scene.Flight();
    int64_t rays = 0;
    for (int i = 0; i < 4000; ++i) {
      CounterRandom random(77, RandomStream::Density, i);
      double X, Y;
      plan.FromPlan(random.Uniform(-1, 1) * (plan.HalfLength() + 1500),
                    random.Uniform(-1, 1) * (plan.HalfWidth() + 1500), X, Y);
      const double Z = scene.GroundHeight(X, Y);
      int32_t expected = 0;
      for (const SyntheticImage& image : plan.Images()) {
        const SyntheticProjector projector(scene.Cameras()[static_cast<size_t>(image.nCamera)],
                                           options.nImageWidth, options.nImageHeight);
        if (projector.Project(image, X, Y, Z)) ++expected;
      }
      ASSERT_EQ(scene.CountRays(X, Y, Z), expected);
      rays += expected;
    }
    EXPECT_GT(rays, 2000);
  }
}

TEST(FlightPlan, CandidatesComeOnceAndInAscendingOrder) {
  SyntheticOptions options;
  options.nCrossStrips = 2;
  const FlightPlan plan(options);
  int32_t before = -1, count = 0;
  plan.VisitCandidates(1000, 2000, [&](int32_t ordinal) {
    EXPECT_GT(ordinal, before);
    before = ordinal;
    ++count;
  });
  EXPECT_GT(count, 2);
  plan.VisitCandidates(1e7, -1e7, [&](int32_t) { ADD_FAILURE() << "nothing is seen out there"; });
}

TEST(Terrain, StaysWithinTheReliefAndIsSmooth) {
  SyntheticOptions options;
  options.fRelief = 200;
  const Terrain terrain(options);
  double low = 1e9, high = -1e9;
  for (int i = 0; i < 20000; ++i) {
    CounterRandom random(3, RandomStream::Density, i);
    const double X = random.Uniform(-20000, 20000), Y = random.Uniform(-20000, 20000);
    const double height = terrain.Height(X, Y);
    low = std::min(low, height);
    high = std::max(high, height);
    ASSERT_NEAR(terrain.Height(X + 1, Y + 1), height, 2.0);
  }
  EXPECT_GE(low, -100);
  EXPECT_LE(high, 300);
  EXPECT_GT(high - low, 250);
}

}  // namespace
}  // namespace orvo
