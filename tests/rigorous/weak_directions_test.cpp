#include "rigorous/WeakDirections.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numeric>
#include <string>
#include <vector>

#include "rigorous/RigorousBuilders.h"
#include "rigorous/TruthBlock.h"

namespace orvo::rigorous {
namespace {

using test::MakeTruthBlock;
using test::TruthBlock;
using test::TruthCameras;
using test::TruthOptions;

constexpr double kInfinity = std::numeric_limits<double>::infinity();
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

struct Net {
  explicit Net(const TruthOptions& options)
      : Block(MakeTruthBlock(options)), Plan(PlanUnknowns(Block.Given)) {}

  std::vector<double> Directions() const { return FreeDirections(Block.Given, Plan, Block.Truth); }
  std::vector<double> Direction(int motion) const {
    const std::vector<double> all = Directions();
    const auto first = all.begin() + motion * Plan.UnknownNum();
    return {first, first + Plan.UnknownNum()};
  }
  BlockMotion Motion(const std::vector<double>& direction) const {
    return MotionOf(Block.Given, Plan, Block.Truth, direction);
  }

  TruthBlock Block;
  UnknownPlan Plan;
};

Vector3 MiddleOf(const Estimate& estimate) {
  Vector3 sum{};
  for (const ImagePose& pose : estimate.vPoses) sum = sum + pose.Centre;
  return 1.0 / static_cast<double>(estimate.vPoses.size()) * sum;
}

/// How the seven move a place.
Vector3 MotionOfPlace(const Vector3& place, const Vector3& middle, int motion) {
  const Vector3 arm = place - middle;
  if (motion < 3) return test::Unit(motion);
  if (motion == 6) return arm;
  return Multiply(CrossMatrix(test::Unit(motion - 3)), arm);
}

/// The truth, moved by `step` of a direction, with its points or without.
Estimate Moved(const Net& net, int motion, std::vector<double> direction, double step, bool withPoints) {
  Estimate moved = net.Block.Truth;
  const Vector3 middle = MiddleOf(moved);
  for (double& d : direction) d *= step;
  ApplyCorrections(net.Block.Given, net.Plan, direction, moved);
  for (Vector3& point : moved.vPoints) {
    if (withPoints) point = point + step * MotionOfPlace(point, middle, motion);
  }
  return moved;
}

/// Residuals of all rays, x and y in turn.
std::vector<double> RayResiduals(const Problem& problem, const Estimate& estimate) {
  std::vector<double> residuals;
  for (int64_t p = 0; p < problem.PointNum(); ++p) {
    for (const Ray& ray : problem.RaysOf(p)) {
      const CameraEstimate& camera = estimate.vCameras[problem.vImages[ray.nImage].nCamera];
      Vector2 v{};
      EXPECT_EQ(ResidualOfRay(estimate.vPoses[ray.nImage], camera.LensNow, estimate.vPoints[p],
                              {ray.x, ray.y}, problem.Form, v),
                RayStatus::Good);
      residuals.insert(residuals.end(), v.begin(), v.end());
    }
  }
  return residuals;
}

double LargestOf(const std::vector<double>& values) {
  double largest = 0;
  for (const double v : values) largest = std::max(largest, std::fabs(v));
  return largest;
}

TEST(WeakDirections, FreeDirectionsLeaveAllRaysAsTheyAre) {
  const struct {
    const char* szWhat;
    TruthOptions Options;
  } cases[] = {{"a block", {.nCrossStrips = 1}},
               {"a strip", {.nStrips = 1, .nImages = 12}},
               {"a pair", {.nStrips = 1, .nImages = 2, .fForwardOverlap = 0.6}},
               {"a camera each image", {.Cameras = TruthCameras::EachImage}},
               {"corrected form", {.Form = ResidualForm::Corrected}}};
  for (const auto& c : cases) {
    const Net net(c.Options);
    for (int motion = 0; motion < kBlockMotionNum; ++motion) {
      SCOPED_TRACE(testing::Message() << c.szWhat << ", motion " << motion);
      const std::vector<double> direction = net.Direction(motion);
      const auto slope = [&](bool withPoints) {
        return LargestOf(test::NumericDerivative(
            [&](double h) {
              return RayResiduals(net.Block.Given, Moved(net, motion, direction, h, withPoints));
            },
            1e-3));
      };
      EXPECT_GT(slope(false), 10) << "pixels by the images alone";
      EXPECT_LT(slope(true), 1e-6);
    }
  }
}

TEST(WeakDirections, NothingButImagesMovesWithoutGps) {
  const Net net({.Cameras = TruthCameras::EachStrip, .fGpsConstant = 1, .fImuLinear = 0.1});
  const int64_t ofImages = 6 * std::ssize(net.Block.Given.vImages);
  ASSERT_GT(net.Plan.UnknownNum(), ofImages);
  for (int motion = 0; motion < kBlockMotionNum; ++motion) {
    const std::vector<double> direction = net.Direction(motion);
    EXPECT_EQ(LargestOf({direction.begin() + ofImages, direction.end()}), 0);
    EXPECT_GT(LargestOf(direction), 0);
  }
}

/// Residuals of GPS, or of IMU, of all images, x, y and z in turn.
std::vector<double> SensorResiduals(const Problem& problem, const Estimate& now, bool imu) {
  std::vector<double> residuals;
  for (size_t i = 0; i < problem.vImages.size(); ++i) {
    const ImageModel& image = problem.vImages[i];
    const CameraEstimate& camera = now.vCameras[image.nCamera];
    const StripEstimate& strip = now.vStrips[image.nStrip];
    GpsRows gps{};
    ImuRows turn{};
    EXPECT_TRUE(LinearizeGps(now.vPoses[i], camera.LeverArm, strip.Gps, image.fTime, image.GpsObserved, gps));
    EXPECT_TRUE(
        LinearizeImu(now.vPoses[i], camera.Boresight, strip.Imu, image.fTime, image.ImuObserved, turn));
    const Vector3& r = imu ? turn.Residual : gps.Residual;
    residuals.insert(residuals.end(), r.begin(), r.end());
  }
  return residuals;
}

std::vector<double> SensorSlopes(const Net& net, int motion, bool imu) {
  const std::vector<double> direction = net.Direction(motion);
  return test::NumericDerivative(
      [&](double h) {
        return SensorResiduals(net.Block.Given, Moved(net, motion, direction, h, false), imu);
      },
      1e-3);
}

TEST(WeakDirections, DriftsOfGpsFollowAsCloselyAsTheyCan) {
  for (const double linear : {0.0, 0.2}) {
    TruthOptions options = {.GpsSigma = {0.1, 0.1, 0.1}, .LeverArm = {0.3, -0.2, 0.5}, .fGpsConstant = 1};
    options.fGpsLinear = linear;
    Net net(options);
    for (ImageModel& image : net.Block.Given.vImages) image.fTime += 0.7;
    for (int motion = 0; motion < kBlockMotionNum; ++motion) {
      SCOPED_TRACE(testing::Message() << "linear " << linear << ", motion " << motion);
      const std::vector<double> slopes = SensorSlopes(net, motion, false);
      EXPECT_EQ(LargestOf(slopes) < 1e-8, motion < 3);
      // The rest is orthogonal to the columns of the drift: by strip and component.
      std::vector<double> sums(12), moments(12);
      for (size_t k = 0; k < slopes.size(); ++k) {
        const ImageModel& image = net.Block.Given.vImages[k / 3];
        sums[3 * image.nStrip + k % 3] += slopes[k];
        moments[3 * image.nStrip + k % 3] += image.fTime * slopes[k];
      }
      EXPECT_LT(LargestOf(sums), 1e-7);
      EXPECT_EQ(LargestOf(moments) < 1e-7, linear > 0 || motion < 3);
    }
  }
}

TEST(WeakDirections, DriftsOfImuTakeUpTheTurnOfALevelBlock) {
  const Net net(
      {.fTilt = 0, .ImuSigma = {1e-6, 1e-6, 1e-6}, .Boresight = {0.1, 0.2, 1.5}, .fImuConstant = 0.2});
  const Net without({.fTilt = 0, .ImuSigma = {1e-6, 1e-6, 1e-6}});
  for (int motion = 0; motion < kBlockMotionNum; ++motion) {
    SCOPED_TRACE(motion);
    EXPECT_LT(LargestOf(SensorSlopes(net, motion, true)), 1e-5);
    EXPECT_EQ(LargestOf(SensorSlopes(without, motion, true)) > 0.9, motion >= 3 && motion < 6);
  }
}

using Motions = std::array<double, kBlockMotionNum>;

/// Free directions, each times a factor.
std::vector<double> Combined(const Net& net, const Motions& factors) {
  std::vector<double> sum(static_cast<size_t>(net.Plan.UnknownNum()));
  for (int k = 0; k < kBlockMotionNum; ++k) {
    const std::vector<double> direction = net.Direction(k);
    for (size_t i = 0; i < sum.size(); ++i) sum[i] += factors[k] * direction[i];
  }
  return sum;
}

/// Centres moved by `lift` upwards, others not.
template <class Lift>
std::vector<double> Lifted(const Net& net, Lift lift) {
  std::vector<double> direction(static_cast<size_t>(net.Plan.UnknownNum()));
  for (size_t i = 0; i < net.Block.Truth.vPoses.size(); ++i) {
    direction[net.Plan.vFirstUnknown[net.Plan.vImageNode[i]] + 2] = lift(net.Block.Truth.vPoses[i].Centre);
  }
  return direction;
}

const TruthOptions kBlock = {.nStrips = 5, .nImages = 11};
const TruthOptions kStrip = {.nStrips = 1, .nImages = 20};

TEST(WeakDirections, WordsOfMotions) {
  const struct {
    const TruthOptions& Options;
    Motions Factors;
    const char* szWords;
  } cases[] = {
      {kBlock, {1, 0, 0, 0, 0, 0, 0}, "shift in X"},
      {kBlock, {0, -3, 0, 0, 0, 0, 0}, "shift in Y"},
      {kBlock, {0, 0, 1e-9, 0, 0, 0, 0}, "height"},
      {kBlock, {0, 0, 0, 1, 0, 0, 0}, "turn about X"},
      {kBlock, {0, 0, 0, 0, 1e9, 0, 0}, "turn about Y"},
      {kBlock, {0, 0, 0, 0, 0, 1, 0}, "turn about the vertical"},
      {kBlock, {0, 0, 0, 0, 0, 0, 1}, "scale"},
      {kBlock, {0, 0, 70, 0, 0, 0, 1}, "scale and height of the block"},
      {kBlock, {1, 1, 1, 0, 0, 0, 0}, "height, shift in X and shift in Y of the block"},
      {kBlock, {0.1, 0, 1, 0, 0, 0, 0}, "height"},
      {kBlock, {0, 0, 0, 0, 0, 0, 0}, "no motion of the images"},
      {kStrip, {0, 0, 0, 1, 0, 0, 0}, "turn about the strip's axis"},
      {kStrip, {0, 0, 0, 0, 1, 0, 0}, "turn across the strip"},
      {kStrip, {0, 0, 0, 0, 0, 1, 0}, "turn about the vertical"},
      {kStrip, {0, 100, 0, 1, 0, 0, 0}, "shift in Y and turn about the strip's axis of the block"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.szWords);
    const Net net(c.Options);
    const BlockMotion motion = net.Motion(Combined(net, c.Factors));
    EXPECT_EQ(WordsOf(motion), c.szWords);
    EXPECT_NEAR(motion.fRest, 0, 1e-9);
    EXPECT_EQ(motion.bStrip, &c.Options == &kStrip);
  }
}

TEST(WeakDirections, WordsOfWhatIsNoMotionOfTheBlock) {
  const Net net(kBlock);
  const auto dome = [](const Vector3& c) { return c[0] * c[0]; };
  const auto domeAndHeight = [](const Vector3& c) { return c[0] * c[0] + 10000; };
  EXPECT_EQ(WordsOf(net.Motion(Lifted(net, domeAndHeight))), "height");
  EXPECT_EQ(WordsOf(net.Motion(Lifted(net, dome))), "height with deformation");
  EXPECT_EQ(WordsOf(net.Motion(Lifted(net, [&](const Vector3& c) { return dome(c) - 2500; }))),
            "deformation of the block");
  std::vector<double> camera(static_cast<size_t>(net.Plan.UnknownNum()));
  camera.back() = 1;
  EXPECT_EQ(WordsOf(net.Motion(camera)), "no motion of the images");
  for (const double broken : {kNan, kInfinity}) {
    camera.back() = broken;
    EXPECT_FALSE(net.Motion(camera).bFinite);
    EXPECT_EQ(WordsOf(net.Motion(camera)), "not finite");
  }
}

TEST(WeakDirections, SharesAreOfTheWholeAndOfAnyLength) {
  const Net net(kBlock);
  test::Random random(3);
  for (int i = 0; i < 20; ++i) {
    std::vector<double> direction(static_cast<size_t>(net.Plan.UnknownNum()));
    for (double& d : direction) d = random.Within(-1, 1);
    const BlockMotion motion = net.Motion(direction);
    const double whole = std::accumulate(motion.Shares.begin(), motion.Shares.end(), motion.fRest);
    EXPECT_NEAR(whole, 1, 1e-12);
    EXPECT_GT(motion.fRest, 0.7) << "7 of 330";
    for (double& d : direction) d *= 0x1p900;
    EXPECT_EQ(net.Motion(direction).Shares, motion.Shares);
  }
}

TEST(WeakDirections, RaysThatAreLeftOutCountForNothing) {
  Net net({.fRelief = 0.4});
  std::vector<double> direction = net.Direction(2);
  for (size_t k = 0; k < direction.size(); ++k) direction[k] += 0.01 * static_cast<double>(k % 7);
  const Problem whole = net.Block.Given;
  // One point keeps its rays.
  for (size_t r = 0; r < net.Block.Given.vRays.size(); ++r) {
    if (r >= 2) net.Block.Given.vRays[r].nImage = -1;
  }
  const BlockMotion left = net.Motion(direction);
  net.Block.Given.vRays.resize(2);
  net.Block.Given.vFirstRay.assign(net.Block.Given.vFirstRay.size(), 2);
  net.Block.Given.vFirstRay.front() = 0;
  const BlockMotion without = net.Motion(direction);
  EXPECT_EQ(left.Shares, without.Shares);
  EXPECT_EQ(left.fRest, without.fRest);
  net.Block.Given = whole;
  EXPECT_NE(left.fRest, net.Motion(direction).fRest) << "distances of other rays";
}

TEST(WeakDirections, OfFewImagesThereIsNoFault) {
  TruthOptions options = {.nStrips = 1, .nImages = 1};
  const Net single(options);
  EXPECT_EQ(WordsOf(single.Motion(single.Direction(2))), "height");
  EXPECT_EQ(WordsOf(single.Motion(single.Direction(6))), "no motion of the images");
  options.nHeldImages = 1;
  options.nLensUnknowns = 0;
  const Net held(options);
  EXPECT_TRUE(held.Directions().empty());
  EXPECT_EQ(WordsOf(held.Motion({})), "no motion of the images");
}

}  // namespace
}  // namespace orvo::rigorous
