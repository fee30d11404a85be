// Whole runs of the rigorous method over blocks that are hardly held: what log and verdict say.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "support/Block.h"
#include "whole/BlockChanges.h"
#include "whole/RunSummary.h"

namespace orvo::test {
namespace {

using nlohmann::json;

struct Case {
  const char* szName;
  std::function<void(SyntheticOptions&)> Change;
  bool bPos = false;
  std::function<void(Block&)> Thin = {};
  const char* szLog = "";     ///< in the log
  const char* szReason = "";  ///< in the verdict, which is doubtful; empty: it is good
  bool bFreeCamera = false;
};

/// Measurements of tie points that are kept. Images are numbered from 0; points are left out with all but
/// one.
using Keeping = std::function<bool(size_t point, size_t image)>;

void Thin(Block& block, const Keeping& isKept) {
  const Lines project = ReadLines(block.Paths().szText);
  const size_t images = std::stoul(project[0][0]), cameras = std::stoul(project[0][1]);
  size_t row = 1 + cameras + 4 * images, points = 0;
  Lines thinned(project.begin(), project.begin() + static_cast<ptrdiff_t>(row));
  for (size_t point = 0; row + 1 < project.size() && project[row].size() >= 4; ++point) {
    const size_t count = std::stoul(project[row + 1].at(0));
    Lines kept;
    for (size_t m = 0; m < count; ++m) {
      const Fields& measured = project[row + 2 + m];
      if (isKept(point, std::stoul(measured[0]))) kept.push_back(measured);
    }
    if (kept.size() > 1) {
      thinned.push_back(project[row]);
      thinned.push_back({std::to_string(kept.size())});
      thinned.insert(thinned.end(), kept.begin(), kept.end());
      ++points;
    }
    row += 2 + count;
  }
  thinned[0][2] = std::to_string(points);
  WriteLines(block.Paths().szText, thinned);
}

/// Image 5 keeps its first points.
std::function<void(Block&)> KeepPoints(size_t count) {
  return [count](Block& block) {
    size_t kept = 0;
    Thin(block, [&](size_t, size_t image) { return image != 5 || kept++ < count; });
  };
}

/// No tie point of the first 16 images is one of the others.
void Split(Block& block) {
  Thin(block, [](size_t point, size_t image) { return (point % 2 == 0) == (image < 16); });
}

class WeakRun : public ::testing::TestWithParam<Case> {};

TEST_P(WeakRun, TellsWhatIsWeak) {
  const Case& c = GetParam();
  SyntheticOptions options;
  options.fGroundPointNoise = 0.02;
  options.fPosOffset = options.fPosDrift = 0;
  c.Change(options);
  Block block(options);
  if (c.Thin) c.Thin(block);
  if (c.bPos) block.Set("Apply_GPS_Data", "true");
  if (!c.bFreeCamera) block.Set("Set_IOP_Unknown", "false");
  BlockRun run;
  run.Options.Method = AdjustMethod::Rigorous;
  run.bPos = c.bPos;
  run.bGcp = options.nControlPoints > 0;
  const json summary = SummaryOfRun(block, run);
  EXPECT_NE(block.Log().find(c.szLog), std::string::npos) << block.Log();
  EXPECT_EQ(summary["verdict"]["result"], c.szReason[0] != 0 ? "doubtful" : "good") << summary["verdict"];
  EXPECT_NE(summary["verdict"].dump().find(c.szReason), std::string::npos) << summary["verdict"];
  EXPECT_TRUE(summary["converged"]);
}

/// A single one, straight and level.
std::function<void(SyntheticOptions&)> Strip(int32_t images, int32_t control) {
  return [=](SyntheticOptions& o) {
    o.nStrips = 1, o.nImagesPerStrip = images, o.nControlPoints = control;
    o.fScatter = 0;
  };
}

void Flat(SyntheticOptions& o) { o.fRelief = 0, o.fTilt = 0.01, o.fScatter = 0.1, o.nControlPoints = 4; }
void Free(SyntheticOptions& o) { o.nControlPoints = 0; }
void Same(SyntheticOptions&) {}

const char* const kAllFree = ">>No observation holds: position, turns and scale of the block";
const char* const kAxis =
    "no observation holds: turn about the strip's axis, although there is control or GPS";
const char* const kOpenRotation =
    "of image IMG_001006 is not determined, so that nothing has a standard deviation";

const Case kCases[] = {
    {"StripFree", Strip(8, 0), false, {}, kAllFree},
    {"StripWithGps", Strip(8, 0), true, {}, ">>No observation holds: turn about the strip's axis", kAxis},
    {"TwoImages", Strip(2, 0), false, {}, kAllFree},
    {"TwoImagesWithGps", Strip(2, 0), true, {}, ">>No observation holds: turn about the strip's axis", kAxis},
    {"FlatGround",
     Flat,
     false,
     {},
     ">>Weakest camera parameter: f of camera 0",
     "the focal length of camera 0 is known to",
     true},
    {"FreeNet", Free, false, {}, kAllFree},
    {"ImageOfTwoPoints", Same, false, KeepPoints(2), ">>No standard deviations: rotation about",
     kOpenRotation},
    {"ImageOfThreePoints", Free, false, KeepPoints(3), kAllFree, "image IMG_001006"},
    {"PartsApart", Free, false, Split,
     ">>No standard deviations: ", "share fewer than 3 points with the rest"},
};

INSTANTIATE_TEST_SUITE_P(All, WeakRun, ::testing::ValuesIn(kCases),
                         [](const ::testing::TestParamInfo<Case>& test) {
                           return std::string(test.param.szName);
                         });

}  // namespace
}  // namespace orvo::test
