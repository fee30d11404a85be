// Blocks that their observations hardly hold, or not at all: each adjustment ends, and tells what is open.
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <functional>
#include <set>
#include <string>
#include <vector>

#include "rigorous/PrecisionFigures.h"
#include "rigorous/RobustAdjust.h"
#include "rigorous/TruthBlock.h"

namespace orvo::rigorous::test {
namespace {

using O = TruthOptions;

constexpr int32_t kAnyImage = -1;  ///< in place of the image of a refusal
constexpr int32_t kNone = -2;

struct Case {
  const char* szName;
  std::function<void(O&)> Change;
  std::function<void(TruthBlock&)> Thin;
  int32_t nDefect = 0;
  const char* szFree = "";     ///< one of the words for free motions
  int32_t nRefusal = kNone;    ///< the image that keeps standard deviations from being known
  double fSpread = 0;          ///< the largest standard deviation of a centre by the median, at least
  double fFocalDeviation = 0;  ///< by f, at least
};

/// Points that are left with one ray are in no equation.
void LeaveOut(TruthBlock& block, const std::function<bool(int64_t point, const Ray& ray)>& isOut) {
  for (int64_t p = 0; p < block.Given.PointNum(); ++p) {
    for (int64_t r = block.Given.vFirstRay[p]; r < block.Given.vFirstRay[p + 1]; ++r) {
      Ray& ray = block.Given.vRays[static_cast<size_t>(r)];
      if (isOut(p, ray)) ray.nImage = -1;
    }
  }
}

/// The image keeps its first rays, which are close together.
std::function<void(TruthBlock&)> Keep(int32_t image, int count) {
  return [=](TruthBlock& block) {
    int kept = 0;
    LeaveOut(block, [&](int64_t, const Ray& ray) { return ray.nImage == image && ++kept > count; });
  };
}

/// Images below `first` and the others share `count` points, far from each other.
std::function<void(TruthBlock&)> Split(int32_t first, size_t count) {
  return [=](TruthBlock& block) {
    const auto isLow = [first](const Ray& ray) { return ray.nImage < first; };
    std::set<int64_t> shared;
    for (int64_t p = 0; p < block.Given.PointNum() && shared.size() < count; p += 37) {
      const auto rays = block.Given.RaysOf(p);
      const auto low = std::ranges::count_if(rays, isLow);
      if (low >= 2 && std::ssize(rays) - low >= 2) shared.insert(p);
    }
    LeaveOut(block,
             [&](int64_t p, const Ray& ray) { return !shared.contains(p) && (p % 2 == 0) == isLow(ray); });
  };
}

class WeakBlock : public ::testing::TestWithParam<Case> {};

TEST_P(WeakBlock, EndsAndTellsWhatIsOpen) {
  const Case& c = GetParam();
  O options;
  options.nSeed = 3;
  c.Change(options);
  TruthBlock block = MakeTruthBlock(options);
  if (c.Thin) c.Thin(block);
  Estimate at = block.Start;
  const RobustResult result = AdjustRobustly(block.Given, {}, at);
  ASSERT_EQ(result.Last.End, AdjustEnd::Converged);
  EXPECT_LE(std::ssize(result.vIterations), 25);
  EXPECT_LE(100 * result.vOut.size(), block.Given.vRays.size());
  const PrecisionFigures figures = PrecisionFiguresOf({block.Given, at, result.Last});
  EXPECT_EQ(figures.nDatumDefect, c.nDefect) << ::testing::PrintToString(figures.vFree);
  if (c.szFree[0] != 0) {
    EXPECT_GT(std::ranges::count(figures.vFree, c.szFree), 0) << ::testing::PrintToString(figures.vFree);
  } else {
    EXPECT_TRUE(figures.vFree.empty()) << ::testing::PrintToString(figures.vFree);
  }
  ASSERT_EQ(figures.Refusal.has_value(), c.nRefusal != kNone);
  if (figures.Refusal) {
    EXPECT_EQ(figures.Refusal->Owner, UnknownOwner::Image);
    if (c.nRefusal != kAnyImage) {
      EXPECT_EQ(figures.Refusal->nOwner, c.nRefusal);
    }
    return;
  }
  std::vector<double> deviations;
  for (const ImagePrecision& image : figures.vImages) {
    for (const double angle : image.Angles) EXPECT_TRUE(angle > 0 && std::isfinite(angle)) << angle;
    deviations.push_back(*std::ranges::max_element(image.Centre));
    EXPECT_TRUE(std::isfinite(deviations.back()));
  }
  std::ranges::sort(deviations);
  EXPECT_GE(deviations.back(), c.fSpread * deviations[deviations.size() / 2]);
  if (c.fFocalDeviation == 0) return;
  const CameraQuantity& focal = figures.vCameras.at(0).vQuantities.at(0);
  EXPECT_GT(focal.fDeviation, c.fFocalDeviation * focal.fValue);
}

const char* const kAllFree = "position, turns and scale of the block";
const Vector3 kGps = {0.03, 0.03, 0.05};

/// Of one strip; the camera is held.
std::function<void(O&)> Strip(int32_t images, int32_t control, const Vector3& gps) {
  return [=](O& o) {
    o.nStrips = 1, o.nImages = images, o.nControl = control, o.GpsSigma = gps;
    o.nLensUnknowns = 0;
  };
}

/// No tilts, no cross strip, nothing but the camera is weak.
std::function<void(O&)> Flat(int32_t control, const Vector3& gps) {
  return [=](O& o) { o.fRelief = 0, o.fTilt = 0.1, o.nControl = control, o.GpsSigma = gps; };
}

void Held(O& o) { o.nLensUnknowns = 0; }
void Controlled(O& o) { o.nControl = 6; }

const Case kCases[] = {
    {"StripFree", Strip(8, 0, kNotObserved3), {}, 7, kAllFree},
    {"StripWithOneControlPoint", Strip(8, 1, kNotObserved3), {}, 4, "turn about the vertical"},
    {"StripWithTwoControlPoints",
     Strip(8, 2, kNotObserved3),
     {},
     1,
     "shift in Y and turn about the strip's axis of the block"},
    {"StripWithGps", Strip(8, 0, kGps), {}},
    {"FlatGround", Flat(4, kNotObserved3), {}, 0, "", kNone, 0, 1},
    {"FlatGroundWithGps", Flat(0, kGps), {}, 0, "", kNone, 0, 0.003},
    {"HeightsAlone", [](O& o) { o.nHeightControl = 9; }, {}, 3, "turn about the vertical"},
    {"FreeNet", Held, {}, 7, kAllFree},
    {"FreeNetWithCamera", [](O&) {}, {}, 7, kAllFree},
    {"TwoImages", Strip(2, 0, kNotObserved3), {}, 7, kAllFree},
    {"TwoImagesWithGps", Strip(2, 0, kGps), {}, 1, "turn about the strip's axis"},
    {"TwoImagesWithControl", Strip(2, 4, kNotObserved3), {}},
    {"ImageOfThreePoints", Controlled, Keep(5, 3), 0, "", kNone, 20},
    {"ImageOfTwoPoints", Controlled, Keep(5, 2), 0, "", 5},
    {"ImageOfNoPoint", Controlled, Keep(5, 0), 0, "", 5},
    {"ImageOfTwoPointsInAFreeNet", Held, Keep(5, 2), 7, kAllFree, 5},
    {"PartsWithThreePoints", Held, Split(16, 3), 7, kAllFree},
    {"PartsWithTwoPoints", Held, Split(16, 2), 7, kAllFree, kAnyImage},
    {"PartsApart", Held, Split(16, 0), 7, kAllFree, kAnyImage},
    {"RaysAlmostParallel",
     [](O& o) {
       o.fForwardOverlap = o.fSideOverlap = 0.999;
       o.nControl = 4, o.nLensUnknowns = 0;
     },
     {}},
};

INSTANTIATE_TEST_SUITE_P(All, WeakBlock, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Case>& test) {
                           return std::string(test.param.szName);
                         });

}  // namespace
}  // namespace orvo::rigorous::test
