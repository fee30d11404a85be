#include "rigorous/UnknownPlan.h"

#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <string>
#include <vector>

#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

using Sizes = std::vector<int32_t>;

/// Of a camera: its lens, and whether lever arm and boresight are unknown.
struct CameraKind {
  uint32_t nLens = 0;
  bool bLeverArm = false, bBoresight = false;
};

/// Which terms of a strip are unknown: constant and linear of GPS, then of IMU.
using StripKind = std::array<bool, 4>;

/// Of an image.
struct ImageKind {
  int32_t nCamera = 0, nStrip = -1;
  bool bUnknown = true;
};

constexpr uint32_t kClassic = kLensFocal | kLensRadial;
constexpr StripKind kHeldStrip = {false, false, false, false}, kShift = {true, false, false, false},
                    kTurn = {false, false, false, true}, kFullDrift = {true, true, true, true};

Problem ProblemOf(const std::vector<CameraKind>& cameras, const std::vector<StripKind>& strips,
                  const std::vector<ImageKind>& images) {
  Problem problem;
  for (const CameraKind& kind : cameras) {
    CameraModel& camera = problem.vCameras.emplace_back();
    camera.nLensUnknowns = kind.nLens;
    camera.bLeverArm = kind.bLeverArm;
    camera.bBoresight = kind.bBoresight;
  }
  for (const StripKind& kind : strips) {
    StripModel& strip = problem.vStrips.emplace_back();
    strip.bGpsConstant = kind[0];
    strip.bGpsLinear = kind[1];
    strip.bImuConstant = kind[2];
    strip.bImuLinear = kind[3];
  }
  for (const ImageKind& kind : images) {
    ImageModel& image = problem.vImages.emplace_back();
    image.nCamera = kind.nCamera;
    image.nStrip = kind.nStrip;
    image.bUnknown = kind.bUnknown;
  }
  return problem;
}

/// "node: lens lever boresight" of each camera.
std::string TextOf(const std::vector<CameraColumns>& cameras) {
  std::string text;
  for (const CameraColumns& c : cameras) {
    text += std::to_string(c.nNode) + ": " + std::to_string(c.nLens) + " " + std::to_string(c.nLeverArm) +
            " " + std::to_string(c.nBoresight) + "; ";
  }
  return text;
}

/// "node: constant linear of GPS, constant linear of IMU" of each strip.
std::string TextOf(const std::vector<StripColumns>& strips) {
  std::string text;
  for (const StripColumns& s : strips) {
    text += std::to_string(s.nNode) + ": " + std::to_string(s.nGpsConstant) + " " +
            std::to_string(s.nGpsLinear) + " " + std::to_string(s.nImuConstant) + " " +
            std::to_string(s.nImuLinear) + "; ";
  }
  return text;
}

struct PlanCase {
  const char* szWhat;
  std::vector<CameraKind> Cameras;
  std::vector<StripKind> Strips;
  std::vector<ImageKind> Images;
  Sizes ImageNodes, NodeSizes;
  int32_t nFirstBorder;
  std::string CameraText, StripText;
};

const PlanCase kPlanCases[] = {
    {"nothing at all", {}, {}, {}, {}, {}, 0, "", ""},
    {"no unknown", {{0}}, {kHeldStrip}, {{0, 0, false}}, {-1}, {}, 0, "-1: -1 -1 -1; ", "-1: -1 -1 -1 -1; "},
    {"camera held", {{0}}, {}, {{0}, {0}, {0}}, {0, 1, 2}, {6, 6, 6}, 3, "-1: -1 -1 -1; ", ""},
    {"one camera", {{kClassic}}, {}, {{0}, {0}}, {0, 1}, {6, 6, 3}, 2, "2: 0 -1 -1; ", ""},
    {"one camera with all",
     {{kLensAll, true, true}},
     {},
     {{0}, {0}},
     {0, 1},
     {6, 6, 16},
     2,
     "2: 0 10 13; ",
     ""},
    {"bits of no parameter", {{0x400}}, {}, {{0}, {0}}, {0, 1}, {6, 6}, 2, "-1: -1 -1 -1; ", ""},
    {"mounting alone", {{0, false, true}}, {}, {{0}, {0}}, {0, 1}, {6, 6, 3}, 2, "2: -1 -1 0; ", ""},
    {"several cameras",
     {{kClassic}, {0}, {kLensFocal, true, false}},
     {},
     {{2}, {0}, {1}, {0}, {2}, {1}},
     {0, 1, 2, 3, 4, 5},
     {6, 6, 6, 6, 6, 6, 3, 4},
     6,
     "6: 0 -1 -1; -1: -1 -1 -1; 7: 0 1 -1; ",
     ""},
    {"a camera for each image",
     {{kClassic}, {kLensAll}, {0, true, true}},
     {},
     {{1}, {0}, {2}},
     {0, 1, 2},
     {16, 9, 12},
     3,
     "1: 6 -1 -1; 0: 6 -1 -1; 2: -1 6 9; ",
     ""},
    {"a camera of one unknown image among held ones",
     {{kClassic}},
     {},
     {{0, -1, false}, {0}, {0, -1, false}},
     {-1, 0, -1},
     {9},
     1,
     "0: 6 -1 -1; ",
     ""},
    {"a camera of held images alone",
     {{kClassic}, {0}},
     {},
     {{0, -1, false}, {1}, {0, -1, false}},
     {-1, 0, -1},
     {6, 3},
     1,
     "1: 0 -1 -1; -1: -1 -1 -1; ",
     ""},
    {"a camera of no image", {{0}, {kClassic}}, {}, {{0}}, {0}, {6, 3}, 1, "-1: -1 -1 -1; 1: 0 -1 -1; ", ""},
    {"strips",
     {{kClassic}},
     {kFullDrift, kHeldStrip, kShift, kTurn},
     {{0, 0}, {0, 1}, {0, 2, false}, {0, -1}},
     {0, 1, -1, 2},
     {6, 6, 6, 12, 3, 3, 3},
     6,
     "6: 0 -1 -1; ",
     "3: 0 3 6 9; -1: -1 -1 -1 -1; 4: 0 -1 -1 -1; 5: -1 -1 -1 0; "},
    {"strips, and cameras of both kinds",
     {{kLensFocal}, {kLensFocal, false, true}},
     {kShift},
     {{1, 0}, {0, 0}, {1, 0}},
     {0, 1, 2},
     {6, 7, 6, 3, 4},
     4,
     "1: 6 -1 -1; 4: 0 -1 1; ",
     "3: 0 -1 -1 -1; "},
};

TEST(UnknownPlan, NodesAndColumns) {
  for (const PlanCase& c : kPlanCases) {
    SCOPED_TRACE(c.szWhat);
    const UnknownPlan plan = PlanUnknowns(ProblemOf(c.Cameras, c.Strips, c.Images));
    EXPECT_EQ(plan.vImageNode, c.ImageNodes);
    EXPECT_EQ(plan.vSizes, c.NodeSizes);
    EXPECT_EQ(plan.nFirstBorder, c.nFirstBorder);
    EXPECT_EQ(TextOf(plan.vCameras), c.CameraText);
    EXPECT_EQ(TextOf(plan.vStrips), c.StripText);
    ASSERT_EQ(plan.vFirstUnknown.size(), c.NodeSizes.size() + 1);
    int64_t first = 0;
    for (int32_t node = 0; node < plan.NodeNum(); ++node) {
      EXPECT_EQ(plan.vFirstUnknown[node], first);
      first += plan.vSizes[node];
    }
    EXPECT_EQ(plan.UnknownNum(), first);
    Sizes border;
    for (int32_t node = c.nFirstBorder; node < plan.NodeNum(); ++node) border.push_back(node);
    EXPECT_EQ(plan.Border(), border);
  }
}

/// Every number of it another one, with rotations that are some.
Estimate AnyEstimate(const Problem& problem) {
  Estimate e;
  double next = 0;
  const auto vector = [&next] {
    next += 3;
    return Vector3{0.1 * next, 0.1 * next + 0.2, -0.1 * next};
  };
  for (size_t i = 0; i < problem.vImages.size(); ++i) {
    e.vPoses.push_back({vector(), RotationOfVector(0.3 * vector())});
  }
  for (size_t s = 0; s < problem.vStrips.size(); ++s) {
    e.vStrips.push_back({{vector(), vector()}, {vector(), vector()}});
  }
  for (size_t c = 0; c < problem.vCameras.size(); ++c) {
    CameraEstimate& camera = e.vCameras.emplace_back();
    for (int k = 0; k < kLensParameterNum; ++k) {
      ParameterOf(camera.LensNow, static_cast<LensParameter>(k)) = vector()[0];
    }
    camera.LeverArm = vector();
    camera.Boresight = RotationOfVector(0.3 * vector());
  }
  e.vPoints = {vector(), vector()};
  return e;
}

bool SameBits(const void* a, const void* b, size_t size) { return std::memcmp(a, b, size) == 0; }

TEST(UnknownPlan, CorrectionsGoWhereTheyBelong) {
  const Problem problem = ProblemOf({{kLensFocal | kLensTangential, true, true}, {kLensRadial, false, true}},
                                    {kShift, kFullDrift}, {{0, 0}, {1, 1}, {0, 1}, {0, 1, false}});
  const UnknownPlan plan = PlanUnknowns(problem);
  ASSERT_EQ(plan.vSizes, (Sizes{6, 11, 6, 3, 12, 9}));
  std::vector<double> dx;
  for (int64_t k = 0; k < plan.UnknownNum(); ++k) dx.push_back(0.001 * static_cast<double>(k + 1));
  const Estimate old = AnyEstimate(problem);
  Estimate e = old;
  ApplyCorrections(problem, plan, dx, e);

  const auto at = [&dx](int64_t k) { return Vector3{dx[k], dx[k + 1], dx[k + 2]}; };
  const int64_t firstOfImage[] = {0, 6, 17};
  for (int i = 0; i < 3; ++i) {
    EXPECT_EQ(e.vPoses[i].Centre, old.vPoses[i].Centre + at(firstOfImage[i]));
    EXPECT_EQ(e.vPoses[i].R, RotationUpdatedBy(old.vPoses[i].R, at(firstOfImage[i] + 3)));
  }
  Lens second = old.vCameras[1].LensNow, first = old.vCameras[0].LensNow;
  second.k1 += dx[12];
  second.k2 += dx[13];
  first.f += dx[38];
  first.p1 += dx[39];
  first.p2 += dx[40];
  EXPECT_TRUE(SameBits(&e.vCameras[1].LensNow, &second, sizeof second));
  EXPECT_TRUE(SameBits(&e.vCameras[0].LensNow, &first, sizeof first));
  EXPECT_EQ(e.vCameras[0].LeverArm, old.vCameras[0].LeverArm + at(41));
  EXPECT_EQ(e.vCameras[0].Boresight, RotationUpdatedBy(old.vCameras[0].Boresight, at(44)));
  EXPECT_EQ(e.vCameras[1].Boresight, RotationUpdatedBy(old.vCameras[1].Boresight, at(14)));
  EXPECT_EQ(e.vStrips[0].Gps.Constant, old.vStrips[0].Gps.Constant + at(23));
  EXPECT_EQ(e.vStrips[1].Gps.Constant, old.vStrips[1].Gps.Constant + at(26));
  EXPECT_EQ(e.vStrips[1].Gps.Linear, old.vStrips[1].Gps.Linear + at(29));
  EXPECT_EQ(e.vStrips[1].Imu.Constant, old.vStrips[1].Imu.Constant + at(32));
  EXPECT_EQ(e.vStrips[1].Imu.Linear, old.vStrips[1].Imu.Linear + at(35));

  // Held ones, and points.
  EXPECT_TRUE(SameBits(&e.vPoses[3], &old.vPoses[3], sizeof(ImagePose)));
  EXPECT_TRUE(SameBits(&e.vCameras[1].LeverArm, &old.vCameras[1].LeverArm, sizeof(Vector3)));
  EXPECT_TRUE(SameBits(&e.vStrips[0].Gps.Linear, &old.vStrips[0].Gps.Linear, sizeof(Vector3)));
  EXPECT_TRUE(SameBits(&e.vStrips[0].Imu, &old.vStrips[0].Imu, sizeof(StripDrift)));
  EXPECT_EQ(e.vPoints, old.vPoints);
}

TEST(UnknownPlan, HeldValuesStayBitByBitEvenWhereTheyAreBroken) {
  const Problem problem =
      ProblemOf({{0}, {kLensFocal}}, {kHeldStrip}, {{0, 0, false}, {1, 0, false}, {1, 0}, {1, 0}});
  const UnknownPlan plan = PlanUnknowns(problem);
  ASSERT_EQ(plan.vSizes, (Sizes{6, 6, 1}));
  Estimate old = AnyEstimate(problem);
  const double nan = std::numeric_limits<double>::quiet_NaN();
  old.vPoses[0].R = {2, -0.0, nan, 4, 5, 6, 7, 8, 9};
  old.vStrips[0].Gps.Linear = {-0.0, nan, 1};
  old.vCameras[0].LensNow.k3 = -0.0;
  Estimate e = old;
  ApplyCorrections(problem, plan, std::vector<double>(13, 0.5), e);
  for (int i = 0; i < 2; ++i) EXPECT_TRUE(SameBits(&e.vPoses[i], &old.vPoses[i], sizeof(ImagePose))) << i;
  EXPECT_TRUE(SameBits(&e.vCameras[0], &old.vCameras[0], sizeof(CameraEstimate)));
  EXPECT_TRUE(SameBits(&e.vStrips[0], &old.vStrips[0], sizeof(StripEstimate)));
  EXPECT_EQ(e.vCameras[1].LensNow.f, old.vCameras[1].LensNow.f + 0.5);
  EXPECT_EQ(e.vPoses[2].Centre, old.vPoses[2].Centre + Vector3({0.5, 0.5, 0.5}));
}

}  // namespace
}  // namespace orvo::rigorous
