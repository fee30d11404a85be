#include "geometry/Intersection.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <random>

#include "geometry/GeometryBuilders.h"
#include "geometry/OrvoMatrix.h"
#include "geometry/SlowIntersection.h"

namespace orvo {
namespace {

using test::Camera;
using test::ExactStrip;
using test::Image;
using test::SlowRay;
using test::TestBlock;

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

/// Rays in both forms, with room for the frames that the fast one points to.
struct RaySet {
  std::vector<EopRecord> eop;
  std::vector<IopRecord> iop;
  std::vector<ImageCoordinates> measured;

  void Add(const EopRecord& image, const IopRecord& camera, const ImageCoordinates& xy) {
    eop.push_back(image);
    iop.push_back(camera);
    measured.push_back(xy);
  }
  void Reverse() {
    std::reverse(eop.begin(), eop.end());
    std::reverse(iop.begin(), iop.end());
    std::reverse(measured.begin(), measured.end());
  }
  int Intersect(double* P, double* deviation = nullptr) const {
    const std::vector<ImageFrame> frames = MakeImageFrames(eop);
    std::vector<Ray> rays;
    for (size_t i = 0; i < eop.size(); ++i) {
      rays.push_back({&frames[i], &iop[i], measured[i].x, measured[i].y});
    }
    return IntersectRays(rays, P, deviation);
  }
  std::vector<SlowRay> Slow() const {
    std::vector<SlowRay> rays;
    for (size_t i = 0; i < eop.size(); ++i) {
      rays.push_back({iop[i].fFocal, iop[i].fPrincipalX, iop[i].fPrincipalY, iop[i].fK1, iop[i].fK2, eop[i].X,
                      eop[i].Y, eop[i].Z, eop[i].fPhi, eop[i].fOmega, eop[i].fKappa, measured[i].x,
                      measured[i].y});
    }
    return rays;
  }
};

/// Aerial rays to (10, -20, 5) from 1000 above it, off by up to `noise` in the image.
RaySet RandomRays(std::mt19937& random, int count, double baseline, double noise) {
  std::uniform_real_distribution<double> unit(-1, 1);
  RaySet set;
  for (int i = 0; i < count; ++i) {
    const EopRecord eop =
        Image(10 + baseline * unit(random), -20 + baseline * unit(random), 1000 + 30 * unit(random),
              0.1 * unit(random), 0.1 * unit(random), 3.1 * unit(random));
    const IopRecord iop = Camera(4 + 0.1 * unit(random), 0.02 * unit(random), 0.02 * unit(random),
                                 1e-3 * unit(random), 1e-4 * unit(random));
    ImageCoordinates xy = test::Measure(eop, iop, 10, -20, 5);
    xy.x += noise * unit(random);
    xy.y += noise * unit(random);
    set.Add(eop, iop, xy);
  }
  return set;
}

void ExpectPoint(const double* P, double X, double Y, double Z, double tolerance) {
  EXPECT_NEAR(P[0], X, tolerance);
  EXPECT_NEAR(P[1], Y, tolerance);
  EXPECT_NEAR(P[2], Z, tolerance);
}

TEST(IntersectRays, ReturnsThePointOfConsistentRays) {
  std::mt19937 random(11);
  for (const int count : {2, 3, 4, 8, 50}) {
    for (int i = 0; i < 50; ++i) {
      double P[3];
      ASSERT_EQ(RandomRays(random, count, 500, 0).Intersect(P), 1);
      ExpectPoint(P, 10, -20, 5, 1e-9);
    }
  }
}

TEST(IntersectRays, EqualsTheSlowForm) {
  // The right sides are summed in another order, and the equations solved by elimination instead of an
  // inverse: both differ by rounding, which the condition of the point multiplies.
  std::mt19937 random(12);
  const struct { double baseline, tolerance; } table[] = {{500, 1e-11}, {50, 1e-9}, {1, 1e-8}, {0.03, 1e-6}};
  for (const auto& [baseline, tolerance] : table) {
    for (int i = 0; i < 300; ++i) {
      const RaySet set = RandomRays(random, 2 + i % 9, baseline, 1e-6 * baseline);
      double P[3];
      ASSERT_EQ(set.Intersect(P), 1);
      const test::SlowPoint slow = test::SlowIntersect(set.Slow());
      ASSERT_TRUE(slow.solved);
      const double spread = std::max({1.0, std::fabs(slow.P[0]), std::fabs(slow.P[1]), std::fabs(slow.P[2])});
      for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(P[k], slow.P[k], tolerance * spread) << "baseline " << baseline;
      }
    }
  }
}

TEST(IntersectRays, DeviationsEqualTheSlowForm) {
  std::mt19937 random(13);
  for (int i = 0; i < 200; ++i) {
    const RaySet set = RandomRays(random, 2 + i % 9, 500, 1e-3);
    double P[3], deviation[3];
    ASSERT_EQ(set.Intersect(P, deviation), 1);
    const test::SlowPoint slow = test::SlowIntersect(set.Slow());
    for (int k = 0; k < 3; ++k) {
      EXPECT_NEAR(P[k], slow.P[k], 1e-10);
      EXPECT_GT(deviation[k], 0.0);
      EXPECT_NEAR(deviation[k], slow.deviation[k], 1e-9 * slow.deviation[k]);
    }
  }
}

TEST(IntersectRays, DeviationsOfASymmetricPairAreKnown) {
  // Ground rays at half base : height to either side, y off by e and -e, f = 2: the y rows are (0, 2, 0) with
  // right sides e h and -e h, so with weights 2 and 1 Y = e h / 6, and 2n - 3 is 1. Small e: terms in e^2
  // vanish.
  const double e = 1e-6, h = 1000;
  RaySet set;
  set.Add(Image(-500, 0, h), Camera(2), {1, e});
  set.Add(Image(500, 0, h), Camera(2), {-1, -e});
  double P[3], deviation[3];
  ASSERT_EQ(set.Intersect(P, deviation), 1);
  ExpectPoint(P, 0, e * h / 6, 0, 2e-9);
  const double v1 = 2 * P[1] - e * h, v2 = 2 * P[1] + e * h;
  EXPECT_NEAR(deviation[1], std::sqrt(v1 * v1 + v2 * v2) / std::sqrt((2 + 1) * 2.0 * 2.0), 1e-12);
}

TEST(IntersectRays, WeighsRayJByNMinusJPlusOne) {
  std::mt19937 random(14);
  for (const int count : {2, 3, 7}) {
    const RaySet set = RandomRays(random, count, 500, 1e-2);
    COrvoMatrix N, W;
    N.Resize(3, 3);
    W.Resize(3, 1);
    for (int j = 1; j <= count; ++j) {
      COrvoMatrix A, L;
      test::SlowEquations(set.Slow()[static_cast<size_t>(j - 1)], A, L);
      const double weight = count - j + 1;
      N = COrvoMatrix::Add(N, COrvoMatrix::Scaled(COrvoMatrix::Multiply(A.Transposed(), A), weight));
      W = COrvoMatrix::Add(W, COrvoMatrix::Scaled(COrvoMatrix::Multiply(A.Transposed(), L), weight));
    }
    const COrvoMatrix expected = COrvoMatrix::Multiply(COrvoMatrix::Inverse(N), W);
    double P[3];
    ASSERT_EQ(set.Intersect(P), 1);
    ExpectPoint(P, expected.data[0], expected.data[1], expected.data[2], 1e-9);
  }
}

TEST(IntersectRays, OrderMattersForInconsistentRaysOnly) {
  RaySet set;
  set.Add(Image(-500, 0, 1000), Camera(2), {1, 3e-6});
  set.Add(Image(500, 0, 1000), Camera(2), {-1, 0});
  double P[3], reversed[3];
  ASSERT_EQ(set.Intersect(P), 1);
  set.Reverse();
  ASSERT_EQ(set.Intersect(reversed), 1);
  // y puts the first ray at Y = 0.0015, weighed 2 : 1 one way round and 1 : 2 the other.
  EXPECT_NEAR(P[1], 0.0010, 1e-10);
  EXPECT_NEAR(reversed[1], 0.0005, 1e-10);

  std::mt19937 random(15);
  RaySet consistent = RandomRays(random, 5, 500, 0);
  ASSERT_EQ(consistent.Intersect(P), 1);
  consistent.Reverse();
  ASSERT_EQ(consistent.Intersect(reversed), 1);
  ExpectPoint(reversed, P[0], P[1], P[2], 1e-9);
}

/// Intersects rays that the *observation* equations call consistent; how far off is the result?
double ErrorAgainstObservationModel(double x0, double y0) {
  const IopRecord iop = Camera(4, x0, y0, 1e-3, 1e-4);
  RaySet set;
  for (const double X : {-400.0, 0.0, 400.0}) {
    const EopRecord eop = Image(X, 30, 1000, 0.02, -0.03, 0.5);
    // The measurement whose observation-model correction is the projection.
    IopRecord centred = iop;
    centred.fPrincipalX = centred.fPrincipalY = 0;
    const ImageCoordinates offCentre = test::Measure(eop, centred, 10, -20, 5);
    set.Add(eop, iop, {offCentre.x + x0, offCentre.y + y0});
  }
  double P[3];
  EXPECT_EQ(set.Intersect(P), 1);
  return std::max({std::fabs(P[0] - 10), std::fabs(P[1] + 20), std::fabs(P[2] - 5)});
}

TEST(IntersectRays, DistortionQuirkVanishesForEqualPrincipalPointCoordinates) {
  EXPECT_LT(ErrorAgainstObservationModel(0, 0), 1e-9);
  EXPECT_LT(ErrorAgainstObservationModel(0.3, 0.3), 1e-9);
  EXPECT_GT(ErrorAgainstObservationModel(0.3, -0.3), 1e-4);
}

TEST(IntersectRays, HasNoSolutionWithoutTwoRaysThatCross) {
  const EopRecord oblique = Image(3, 4, 1000, 0.31, -0.12, 2.3);
  const ImageCoordinates xy = {0.123, -0.456};
  const struct {
    const char* what;
    std::vector<EopRecord> eop;
  } table[] = {{"no ray", {}},
               {"one ray", {oblique}},
               {"twice the same ray", {oblique, oblique}},
               {"many times the same ray", std::vector<EopRecord>(40, oblique)},
               {"parallel, upright", {Image(0, 0, 1000), Image(500, 0, 1000)}},
               {"parallel, oblique", {oblique, Image(503, -20, 1100, 0.31, -0.12, 2.3)}},
               {"NaN in the position", {oblique, Image(kNan, 0, 1000)}},
               {"NaN in an angle", {oblique, Image(500, 0, 1000, kNan)}}};
  for (const auto& row : table) {
    RaySet set;
    for (const EopRecord& eop : row.eop) set.Add(eop, Camera(4), xy);
    double P[3] = {1, 2, 3}, deviation[3] = {4, 5, 6};
    EXPECT_EQ(set.Intersect(P), 0) << row.what;
    EXPECT_EQ(set.Intersect(P, deviation), 0) << row.what;
    ExpectPoint(P, 1, 2, 3, 0);
    ExpectPoint(deviation, 4, 5, 6, 0);
  }
}

// ---- Points ----------------------------------------------------------------------------------------------

int Intersect(TestBlock& block) {
  return IntersectPoints(static_cast<int64_t>(block.points.size()), block.points.data(), block.imagePoints,
                         std::span<const EopRecord>(block.eop), block.iop);
}

struct Statistics {
  double check[6], control[6];
};

Statistics IntersectForStatistics(TestBlock& block, int threads = 1) {
  Statistics statistics;
  std::fill_n(statistics.check, 6, -7.0);
  std::fill_n(statistics.control, 6, -7.0);
  EXPECT_EQ(IntersectPointsWithStatistics(static_cast<int64_t>(block.points.size()), block.points.data(),
                                          block.imagePoints, block.eop, block.iop, statistics.check,
                                          statistics.control, threads),
            1);
  return statistics;
}

void ExpectAt(const ObjectPointRecord& point, double X, double Y, double Z) {
  const double P[3] = {point.X, point.Y, point.Z};
  ExpectPoint(P, X, Y, Z, 1e-9);
}

void ExpectSix(const double* actual, const std::vector<double>& expected) {
  for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(actual[i], expected[i], 1e-9) << i;
}

TEST(IntersectPoints, OfSeveralPointsOverwritesAllButControlPoints) {
  TestBlock block = ExactStrip();
  for (const int32_t type : {0, 1, 2, 3}) block.AddPoint(type, 64, -32, 0, {0, 1, 2}, 5, 6, 7);
  EXPECT_EQ(Intersect(block), 1);
  ExpectAt(block.points[0], 64, -32, 0);
  ExpectAt(block.points[1], 69, -26, 7);
  ExpectAt(block.points[2], 64, -32, 0);
  ExpectAt(block.points[3], 64, -32, 0);
}

TEST(IntersectPoints, OfOnePointOverwritesWhateverItsType) {
  for (const int32_t type : {0, 1, 2, 3}) {
    TestBlock block = ExactStrip();
    block.AddPoint(type, 64, -32, 0, {0, 1}, 5, 6, 7);
    EXPECT_EQ(Intersect(block), 1);
    ExpectAt(block.points[0], 64, -32, 0);
  }
}

TEST(IntersectPoints, OfNoPointIsDone) {
  TestBlock block = ExactStrip();
  EXPECT_EQ(Intersect(block), 1);
  EXPECT_EQ(IntersectPoints(-1, nullptr, {}, std::span<const EopRecord>(block.eop), block.iop), 1);
}

TEST(IntersectPoints, CountsOnlyRaysOnKeptImagesAndCameras) {
  const struct { int32_t image, camera; } unusable[] = {{-1, 0}, {3, 0}, {1 << 30, 0}, {0, -1}, {0, 1}};
  for (const auto& [image, camera] : unusable) {
    TestBlock block = ExactStrip();
    block.AddPoint(0, 64, -32, 0, {0, 1, 2}, 5, 6, 7);
    block.AddPoint(0, 64, -32, 0, {0, 1}, 5, 6, 7);
    // A wild ray in front would take the largest weight if it counted.
    for (const size_t i : {size_t{0}, size_t{3}}) {
      block.imagePoints[i].nImage = image;
      block.imagePoints[i].nCamera = camera;
      block.imagePoints[i].x = 1e6F;
    }
    Intersect(block);
    ExpectAt(block.points[0], 64, -32, 0);
    ExpectAt(block.points[1], 69, -26, 7);
  }
}

TEST(IntersectPoints, WeightsCountUsableRaysOnly) {
  // With the deleted ray in between, the two others still weigh 2 and 1.
  TestBlock block = ExactStrip();
  block.AddPoint(0, 64, 0, 0, {0, 1, 2});
  block.imagePoints[0].y = 3e-6F;
  block.imagePoints[1].nImage = -1;
  Intersect(block);
  EXPECT_NEAR(block.points[0].Y, 3e-6 * 1024 * 2 / 3, 1e-9);
}

TEST(IntersectPoints, KeepsThePointThatHasNoSolution) {
  constexpr float kFloatNan = std::numeric_limits<float>::quiet_NaN();
  constexpr float kInfinity = std::numeric_limits<float>::infinity();
  const struct {
    const char* what;
    void (*spoil)(TestBlock&);
  } table[] = {
      {"one ray", [](TestBlock& b) { b.points[0].nImagePointNum = 1; }},
      {"no ray", [](TestBlock& b) { b.points[0].nImagePointNum = 0; }},
      {"negative count", [](TestBlock& b) { b.points[0].nImagePointNum = -2; }},
      {"huge count", [](TestBlock& b) { b.points[0].nImagePointNum = 2147483647; }},
      {"negative first", [](TestBlock& b) { b.points[0].nFirstImagePoint = -1; }},
      {"first at the end", [](TestBlock& b) { b.points[0].nFirstImagePoint = 4; }},
      {"huge first", [](TestBlock& b) { b.points[0].nFirstImagePoint = INT64_MAX; }},
      {"least first", [](TestBlock& b) { b.points[0].nFirstImagePoint = INT64_MIN; }},
      {"reaches behind the end", [](TestBlock& b) { b.points[0].nImagePointNum = 5; }},
      {"NaN measured", [](TestBlock& b) { b.imagePoints[0].x = kFloatNan; }},
      {"infinity measured", [](TestBlock& b) { b.imagePoints[1].y = kInfinity; }},
      {"NaN position", [](TestBlock& b) { b.eop[0].Y = kNan; }},
      {"infinite position", [](TestBlock& b) { b.eop[0].Z = std::numeric_limits<double>::infinity(); }},
      {"NaN angle", [](TestBlock& b) { b.eop[0].fKappa = kNan; }},
      {"infinite angle", [](TestBlock& b) { b.eop[0].fKappa = std::numeric_limits<double>::infinity(); }},
      {"NaN focal length", [](TestBlock& b) { b.iop[0].fFocal = kNan; }},
      {"NaN distortion", [](TestBlock& b) { b.iop[0].fK1 = kNan; }},
      {"focal length 0",
       [](TestBlock& b) {
         b.iop[0].fFocal = 0;
         for (ImagePointRecord& point : b.imagePoints) point.x = point.y = 0;
       }},
      {"same image twice", [](TestBlock& b) { b.eop[1] = b.eop[0], b.imagePoints[1] = b.imagePoints[0]; }},
  };
  for (const auto& row : table) {
    TestBlock block = ExactStrip();
    block.AddPoint(0, 64, -32, 0, {0, 1}, 5, 6, 7);
    block.AddPoint(0, 64, -32, 0, {1, 2}, 5, 6, 7);
    row.spoil(block);
    EXPECT_EQ(Intersect(block), 1) << row.what;
    SCOPED_TRACE(row.what);
    ExpectAt(block.points[0], 69, -26, 7);
  }
}

TEST(IntersectPoints, NeverStoresWhatIsNotFinite) {
  for (const double huge : {1e100, 1e160, 1e300, 1.7e308}) {
    TestBlock block = ExactStrip();
    block.AddPoint(0, 64, -32, 0, {0, 1}, 5, 6, 7);
    block.eop[0].Z = huge;
    block.eop[1].Z = -huge;
    Intersect(block);
    const ObjectPointRecord& point = block.points[0];
    EXPECT_TRUE(std::isfinite(point.X) && std::isfinite(point.Y) && std::isfinite(point.Z)) << huge;
  }
}

/// `count` points of all types over a strip, off by up to 0.1 in their records; a few without a solution.
TestBlock RandomBlock(int count) {
  std::mt19937 random(21);
  std::uniform_real_distribution<double> unit(-1, 1);
  TestBlock block;
  for (int i = 0; i < 30; ++i) {
    block.eop.push_back(Image(100 * i, 50 * unit(random), 1000 + 20 * unit(random), 0.05 * unit(random),
                              0.05 * unit(random), 3 * unit(random)));
  }
  block.iop = {Camera(4, 0.01, 0.01, 1e-4, 1e-6)};
  for (int p = 0; p < count; ++p) {
    const int first = static_cast<int>(random() % 24);
    std::vector<int32_t> images;
    for (int j = 0; j < 1 + p % 6; ++j) images.push_back(first + j);
    block.AddPoint(p % 50 < 3 ? p % 50 : 0, 100 * first + 80 * unit(random), 200 * unit(random),
                   20 * unit(random), images, 0.1 * unit(random), 0.1 * unit(random), 0.1 * unit(random));
  }
  return block;
}

TEST(IntersectPoints, EqualsIntersectRaysOnItsOwnRays) {
  TestBlock block = RandomBlock(300);
  const TestBlock before = block;
  Intersect(block);
  for (size_t p = 0; p < block.points.size(); ++p) {
    const ObjectPointRecord& old = before.points[p];
    RaySet set;
    for (int j = 0; j < old.nImagePointNum; ++j) {
      const ImagePointRecord& point = block.imagePoints[static_cast<size_t>(old.nFirstImagePoint + j)];
      set.Add(block.eop[static_cast<size_t>(point.nImage)], block.iop[0],
              {static_cast<double>(point.x), static_cast<double>(point.y)});
    }
    double P[3] = {old.X, old.Y, old.Z};
    if (old.nType != 1) set.Intersect(P);
    EXPECT_EQ(block.points[p].X, P[0]);
    EXPECT_EQ(block.points[p].Y, P[1]);
    EXPECT_EQ(block.points[p].Z, P[2]);
  }
}

TEST(IntersectPoints, OneByOneGivesTheSameBits) {
  TestBlock together = RandomBlock(300), alone = RandomBlock(300);
  Intersect(together);
  for (size_t p = 0; p < alone.points.size(); ++p) {
    if (alone.points[p].nType == 1) continue;
    IntersectPoints(1, &alone.points[p], alone.imagePoints, std::span<const EopRecord>(alone.eop), alone.iop);
    EXPECT_EQ(alone.points[p].X, together.points[p].X);
    EXPECT_EQ(alone.points[p].Y, together.points[p].Y);
    EXPECT_EQ(alone.points[p].Z, together.points[p].Z);
  }
}

TEST(IntersectPointsWithStatistics, TakesDifferencesNewMinusOldByType) {
  TestBlock block = ExactStrip();
  block.AddPoint(0, 64, 0, 0, {0, 1}, 100, 100, 100);
  block.AddPoint(1, 64, 32, 0, {0, 1, 2}, -1, -2, -3);
  block.AddPoint(1, 64, -32, 0, {0, 1, 2}, -3, 2, -3);
  block.AddPoint(2, 128, 0, 0, {0, 1, 2}, -4, 0, 8);
  block.AddPoint(3, 128, 0, 0, {0, 1, 2}, 100, 100, 100);
  const Statistics statistics = IntersectForStatistics(block);
  ExpectSix(statistics.control, {2, 0, 3, std::sqrt(5.0), 2, 3});
  ExpectSix(statistics.check, {4, 0, -8, 4, 0, 8});
  ExpectAt(block.points[0], 64, 0, 0);
  ExpectAt(block.points[1], 63, 30, -3);
  ExpectAt(block.points[2], 61, -30, -3);
  ExpectAt(block.points[3], 128, 0, 0);
  ExpectAt(block.points[4], 128, 0, 0);
}

TEST(IntersectPointsWithStatistics, OfACheckPointInMemoryBecomesItsChange) {
  TestBlock block = ExactStrip();
  block.AddPoint(2, 128, 0, 0, {0, 1, 2}, -4, 0, 8);
  block.AddPoint(0, 64, 0, 0, {0, 1});
  ExpectSix(IntersectForStatistics(block).check, {4, 0, -8, 4, 0, 8});
  ExpectSix(IntersectForStatistics(block).check, {0, 0, 0, 0, 0, 0});
}

TEST(IntersectPointsWithStatistics, AreZeroForASinglePoint) {
  for (const int32_t type : {0, 1, 2}) {
    TestBlock block = ExactStrip();
    block.AddPoint(type, 64, -32, 0, {0, 1}, 5, 6, 7);
    const Statistics statistics = IntersectForStatistics(block);
    ExpectSix(statistics.control, {0, 0, 0, 0, 0, 0});
    ExpectSix(statistics.check, {0, 0, 0, 0, 0, 0});
    ExpectAt(block.points[0], 64, -32, 0);
  }
}

TEST(IntersectPointsWithStatistics, LeaveOutPointsWithoutASolution) {
  TestBlock block = ExactStrip();
  block.AddPoint(1, 64, 32, 0, {0, 1, 2}, -1, -2, -3);
  block.AddPoint(1, 64, 32, 0, {0}, -100, -100, -100);
  block.AddPoint(2, 64, 32, 0, {0}, -100, -100, -100);
  const Statistics statistics = IntersectForStatistics(block);
  ExpectSix(statistics.control, {1, 2, 3, 1, 2, 3});
  ExpectSix(statistics.check, {0, 0, 0, 0, 0, 0});
}

TEST(IntersectPointsWithStatistics, DoNotDependOnTheThreadNumber) {
  TestBlock reference = RandomBlock(13000);
  const Statistics expected = IntersectForStatistics(reference, 1);
  EXPECT_NE(expected.control[3], 0.0);
  EXPECT_NE(expected.check[3], 0.0);
  for (const int threads : {0, 2, 5}) {
    TestBlock block = RandomBlock(13000);
    const Statistics statistics = IntersectForStatistics(block, threads);
    for (int i = 0; i < 6; ++i) {
      EXPECT_EQ(statistics.check[i], expected.check[i]);
      EXPECT_EQ(statistics.control[i], expected.control[i]);
    }
    for (size_t p = 0; p < block.points.size(); ++p) ASSERT_EQ(block.points[p].Z, reference.points[p].Z);
  }
}

}  // namespace
}  // namespace orvo
