#include "rigorous/PointIntersection.h"

#include <gtest/gtest.h>

#include <limits>

#include "rigorous/PointBuilders.h"

namespace orvo::rigorous {
namespace {

using test::Block;

std::optional<Vector3> Intersect(const Block& block, int64_t point, const ControlObservation* control) {
  return IntersectionOf(PointSurroundings(block.Of, block.Truth),
                        ObservationsOf(block.Of.RaysOf(point), control));
}

TEST(PointIntersection, IsThePlaceThatWasMeasured) {
  test::BlockForm form;
  form.fNoise = 0;
  form.nCameras = 3;
  form.nPoints = 200;
  const Block block = test::MakeBlock(1, form);
  int64_t met = 0;
  for (int64_t p = 0; p < block.Of.PointNum(); ++p) {
    const auto rays = std::ssize(block.Of.RaysOf(p));
    const std::optional<Vector3> place = Intersect(block, p, nullptr);
    ASSERT_EQ(place.has_value(), rays >= 2) << p;
    if (!place) continue;
    // Measurements are floats, of 2e-7 at most.
    EXPECT_LE(Norm(*place - block.Truth.vPoints[static_cast<size_t>(p)]), 1e-4) << p;
    ++met;
  }
  EXPECT_GE(met, 190);
}

TEST(PointIntersection, IsNearestToAllRays) {
  test::BlockForm form;
  form.fNoise = 100;
  const Block block = test::MakeBlock(2, form);
  for (int64_t p = 0; p < block.Of.PointNum(); ++p) {
    const std::optional<Vector3> place = Intersect(block, p, nullptr);
    if (!place) continue;
    // The sum of the vectors from the rays to the place vanishes.
    Vector3 sum{};
    for (const Ray& ray : block.Of.RaysOf(p)) {
      const ImagePose& pose = block.Truth.vPoses[static_cast<size_t>(ray.nImage)];
      const Lens& lens = block.Truth.vCameras[0].LensNow;
      const Vector2 q = CorrectedBy(lens, {static_cast<double>(ray.x), static_cast<double>(ray.y)});
      const Vector3 d = Multiply(pose.R, Vector3{q[0], q[1], -lens.f}), s = *place - pose.Centre;
      const double along = (d[0] * s[0] + d[1] * s[1] + d[2] * s[2]) / (Norm(d) * Norm(d));
      sum = sum + (s - along * d);
    }
    EXPECT_LE(Norm(sum), 1e-9) << p;
  }
}

TEST(PointIntersection, HoldsWhatIsObserved) {
  test::BlockForm form;
  form.fNoise = 0;
  const Block block = test::MakeBlock(3, form);
  const double none = kNotObserved;
  const Vector3 sigmas[] = {{none, none, 0.1}, {0, none, none}, {0.1, 0.1, none}, {0, 0.1, 0}};
  for (int64_t p = 0; p < 20; ++p) {
    for (const Vector3& sigma : sigmas) {
      const Vector3& truth = block.Truth.vPoints[static_cast<size_t>(p)];
      const ControlObservation control = {p, truth, sigma};
      const PointObservations all = ObservationsOf(block.Of.RaysOf(p), &control);
      PointObservations one = all;
      one.Rays = one.Rays.first(1);
      for (const PointObservations& point : {all, one}) {
        const std::optional<Vector3> place = IntersectionOf(PointSurroundings(block.Of, block.Truth), point);
        ASSERT_TRUE(place.has_value());
        EXPECT_LE(Norm(*place - truth), 1e-3);
        for (int k = 0; k < 3; ++k) EXPECT_EQ((*place)[k] == truth[k], point.IsObserved(k));
      }
    }
  }
}

TEST(PointIntersection, IsEmptyWhereNothingMeets) {
  const double nan = std::numeric_limits<double>::quiet_NaN();
  const struct {
    const char* What;
    double Base;
    std::vector<int32_t> Images;
    double Z;
    bool bMet;
  } table[] = {{"apart", 10, {0, 1}, 100, true},
               {"at one place", 0, {0, 1}, 100, false},
               {"at almost one", 0.01, {0, 1}, 100, false},
               {"close", 1, {0, 1}, 100, true},
               {"one ray", 10, {0}, 100, false},
               {"the same twice", 10, {1, 1}, 100, false},
               {"none", 10, {}, 100, false},
               {"no number", 10, {0, 1}, nan, false}};
  for (const auto& row : table) {
    SCOPED_TRACE(row.What);
    Problem problem;
    problem.vCameras.resize(1);
    problem.vImages.resize(2);
    Estimate estimate;
    estimate.vCameras.resize(1);
    estimate.vCameras[0].LensNow.f = 5;
    estimate.vPoses = {{{0, 0, 100}, kIdentity3}, {{row.Base, 0, row.Z}, kIdentity3}};
    std::vector<Ray> rays;
    for (const int32_t i : row.Images) {
      rays.push_back({i, static_cast<float>(i == 0 ? 0 : -row.Base / 20), 0.5F});
    }
    const auto place = IntersectionOf(PointSurroundings(problem, estimate), ObservationsOf(rays, nullptr));
    EXPECT_EQ(place.has_value(), row.bMet);
    EXPECT_LE(place ? Norm(*place - Vector3{0, 10, 0}) : 0, 1e-2);
  }
}

}  // namespace
}  // namespace orvo::rigorous
