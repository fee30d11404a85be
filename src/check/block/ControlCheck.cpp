#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "check/BlockCheck.h"
#include "check/block/BlockScene.h"
#include "check/block/ControlAxes.h"
#include "check/block/ControlPairs.h"
#include "check/block/ControlSpread.h"
#include "check/block/ExchangedPoints.h"
#include "check/block/FindingPlaces.h"
#include "check/block/FindingTexts.h"
#include "check/block/HeightOffset.h"
#include "geometry/PositionSpread.h"
#include "geometry/Similarity.h"

namespace orvo {
namespace {

constexpr double kOnALine = 0.01;   // across by along
constexpr double kInACorner = 0.3;  // of the extent of the block
constexpr double kStartAngle =
    0.002;  // radians: in a few images, errors of the start may hide from each other
constexpr int64_t kSimilarityNum = 4;      // control points that let a run change the frame
constexpr double kSeenOffset = 0.015;      // of the depth
constexpr double kMostOfGeoid = 110;       // metres between the two kinds of heights, anywhere
constexpr double kPosAgree = 0.2;          // of the offset
constexpr double kPoorStart = 5;           // times what the rays let expect
constexpr double kLeastThroughPos = 0.05;  // of the depth
constexpr size_t kFewForSimilarity = 6;
constexpr double kOfFew = 3;

/// How the control points stand to the block, and what the POS file says to it.
struct ControlStanding {
  FrameJudgement Judgement;
  bool bThroughPos = false;  ///< they are held against the POS file, which the block has another frame than
  std::optional<double> PosOffset =
      std::nullopt;  ///< heights of positions above the block's, where both are in one frame
};

const char* CodeOf(CoordinateFault fault) {
  switch (fault) {
    case CoordinateFault::Exchanged:
      return "K002";
    case CoordinateFault::Feet:
      return "K003";
    case CoordinateFault::HeightInFeet:
      return "K004";
    default:
      return "K005";
  }
}

void TellSinglyMeasured(const BlockCheckInput& input, const ControlPairs& pairs, Diagnosis& diagnosis) {
  for (const size_t i : pairs.Unmeasured) {
    const SurveyPoint& point = input.Block.Control.Points[i];
    diagnosis.Add("K001", PlaceOfControl(input, point),
                  fmt::format("{} is measured in fewer than two images of the block", NameOfPoint(point)),
                  "Measure it in two images and more, or leave it out");
  }
}

void TellReading(const BlockCheckInput& input, const FrameJudgement& judgement, Diagnosis& diagnosis) {
  const CoordinateReading& reading = *judgement.pReading;
  diagnosis.Add(CodeOf(reading.Fault), {input.Files.szGcp, 2},
                fmt::format("control coordinates {}: points lie {} from their intersections that way, {} as "
                            "written",
                            reading.szWhat, Figure(judgement.dAfter), Figure(judgement.dBefore)),
                reading.szWrite);
}

void TellHeightOffset(const BlockCheckInput& input, const FrameJudgement& judgement, Diagnosis& diagnosis) {
  const double offset = judgement.dHeightOffset;
  diagnosis.Add(
      "K006", {input.Files.szGcp, 2},
      fmt::format("heights of the control points are {} {} those of the block, by the same amount at all",
                  Figure(std::fabs(offset)), offset > 0 ? "above" : "below"),
      fmt::format("Write heights of one kind, ellipsoidal or above the geoid, on both sides: {} {} {} the "
                  "heights of the control points, or bring the orientations to theirs",
                  offset > 0 ? "take" : "add", Figure(std::fabs(offset)), offset > 0 ? "off" : "to"));
}

/// Both are alike where the block has a frame of its own: one of the files is wrong.
void TellOffsetOfPositions(const BlockCheckInput& input, const FrameJudgement& judgement,
                           Diagnosis& diagnosis) {
  const double offset = -judgement.dHeightOffset;
  diagnosis.Add("P014", {input.Files.szPos, 1},
                fmt::format("heights of the POS file are {} {} those of the control points",
                            Figure(std::fabs(offset)), offset > 0 ? "above" : "below"),
                fmt::format("Write heights of one kind, ellipsoidal or above the geoid, in all files: {} {}",
                            offset > 0 ? "take off" : "add", Figure(std::fabs(offset))));
}

/// An offset that a run takes away, or that a poor focal length may make, is no error.
void TellOffset(const BlockCheckInput& input, const ControlPairs& pairs, const ControlStanding& standing,
                double depth, Diagnosis& diagnosis) {
  const FrameJudgement& judgement = standing.Judgement;
  const double offset = judgement.dHeightOffset;
  if (standing.bThroughPos) return TellOffsetOfPositions(input, judgement, diagnosis);
  // A focal length that a run holds makes an offset that stays.
  const bool beyond =
      !input.Settings.Set_IOP_Unknown || IsBeyondFocalLength(pairs.Block, pairs.Given, depth, offset);
  const auto controlNum = static_cast<int64_t>(pairs.ControlGiven.size());
  const bool positions = standing.PosOffset && std::fabs(*standing.PosOffset) < kPosAgree * std::fabs(offset);
  const bool stays = controlNum > 0 && controlNum < kSimilarityNum && !input.Settings.Absolute_Orientation;
  // What a run would take away as the frame of the block may be heights of another kind all the same.
  const bool kinds = std::fabs(offset) < kMostOfGeoid;
  if (beyond && (positions || stays || kinds)) return TellHeightOffset(input, judgement, diagnosis);
  if (beyond && controlNum >= kSimilarityNum) {
    diagnosis.Add("K014", {input.Files.szGcp, 2},
                  fmt::format("orientations are in another frame, {} {} that of the control points",
                              Figure(std::fabs(offset)), offset > 0 ? "below" : "above"),
                  "An adjustment brings them over by a similarity");
  } else {
    diagnosis.Add("K018", {input.Files.szGcp, 2},
                  fmt::format("heights of the control points are {} {} those of the block, as a focal length "
                              "{:.1f} % off makes them, or heights of another kind",
                              Figure(std::fabs(offset)), offset > 0 ? "above" : "below",
                              100 * std::fabs(offset) / depth),
                  "Where the focal length is known to be better, write heights of one kind, ellipsoidal or "
                  "above the geoid");
  }
}

PointFaults FaultsOf(const ControlPairs& pairs, const FrameJudgement& judgement, double depth) {
  const auto inGiven = Apply(judgement.Transform, pairs.Block);
  std::vector<double> expected = pairs.Expected;
  // A similarity takes up most of what few points have, and leaves it to one of them.
  const bool few = judgement.Kind == FrameKind::Free && pairs.Block.size() <= kFewForSimilarity;
  for (double& value : expected) value *= judgement.Transform.fScale * (few ? kOfFew : 1);
  const Expectation expectation = few ? Expectation::AsGiven : Expectation::Learned;
  return FindPointFaults(inGiven, pairs.Given, expected, depth * judgement.Transform.fScale, expectation);
}

void TellPointFaults(const BlockCheckInput& input, const ControlPairs& pairs, const PointFaults& faults,
                     Diagnosis& diagnosis) {
  const auto point = [&](size_t pair) -> const SurveyPoint& {
    return input.Block.Control.Points[pairs.Points[pair]];
  };
  for (const auto& [first, second] : faults.Exchanged) {
    const std::string a = NameOfPoint(point(first)), b = NameOfPoint(point(second));
    diagnosis.Add(
        "K007", PlaceOfControl(input, point(second)),
        fmt::format("{} and {} are exchanged: the rays of each meet at the coordinates of the other", a, b),
        fmt::format("Write the coordinates of {} with {} and those of {} with {}", a, b, b, a));
  }
  for (const auto& outlier : faults.Outliers) {
    const SurveyPoint& at = point(outlier.nPoint);
    const bool other = outlier.nFits >= 0;
    diagnosis.Add(
        "K008", PlaceOfControl(input, at),
        fmt::format("{} lies {} from where its rays meet{}", NameOfPoint(at), Figure(outlier.dDistance),
                    other ? ", which is at " + NameOfPoint(point(static_cast<size_t>(outlier.nFits))) : ""),
        "Look at its name, its coordinates and its measurements, or leave it out");
  }
}

/// Two of two or three, which leave no majority to tell them.
bool TellExchangeOfFew(const BlockCheckInput& input, const ControlPairs& pairs, double depth,
                       Diagnosis& diagnosis) {
  const auto exchange = FindExchangeOfFew(pairs.Block, pairs.Given, depth);
  if (!exchange) return false;
  PointFaults faults;
  faults.Exchanged.push_back(*exchange);
  TellPointFaults(input, pairs, faults, diagnosis);
  return true;
}

void CheckSpread(const BlockCheckInput& input, const ControlPairs& pairs, const BlockScene& scene,
                 Diagnosis& diagnosis) {
  if (static_cast<int64_t>(pairs.ControlInBlock.size()) < 3) return;
  const double across = SpreadAcross(pairs.ControlGiven);
  if (across < kOnALine) {
    const bool ends = static_cast<int64_t>(pairs.ControlGiven.size()) >= kSimilarityNum;
    diagnosis.Add(ends ? "K009" : "K010", {input.Files.szGcp, 2},
                  fmt::format("the {} control points lie on a line, {:.1g} of its length across",
                              pairs.ControlGiven.size(), across),
                  "Add one off the line: nothing holds the block against a turn about it");
    return;
  }
  const double share = ShareOfExtent(pairs.ControlInBlock, scene.Low, scene.High);
  if (share < kInACorner) {
    diagnosis.Add(
        "K011", {input.Files.szGcp, 2},
        fmt::format("all control points lie together, within {:.0f} % of the block's extent", 100 * share),
        "Spread them over the block, to its corners first");
  }
}

/// What a run does itself: from eight turns about Z, upright.
bool RunFindsSimilarity(const ControlPairs& pairs) {
  double parameters[SevenParameterNum] = {};
  return SolveSevenParametersFromAnyKappa(pairs.ControlInBlock, pairs.ControlGiven, parameters) == 1;
}

/// False where nothing further can be told of the points.
bool TellFrame(const BlockCheckInput& input, const ControlPairs& pairs, const FrameJudgement& judgement,
               double depth, Diagnosis& diagnosis) {
  const auto controlNum = static_cast<int64_t>(pairs.ControlGiven.size());
  std::vector<double> expected = pairs.Expected;
  const double poor = kPoorStart * Quantile(expected, 0.5);
  if (controlNum > 0 && controlNum < kSimilarityNum && !input.Settings.Absolute_Orientation) {
    if (judgement.dBefore < poor) return false;
    if (TellExchangeOfFew(input, pairs, depth, diagnosis)) return false;
    diagnosis.Add(
        "K012", {input.Files.szGcp, 2},
        fmt::format("orientations are not in the frame of the control points, {} away from it, and {} is "
                    "too few to bring them there",
                    Figure(judgement.dBefore), CountOf(controlNum, "control point", {})),
        "Write orientations in the frame of the control points, add control points up to 4, or apply GPS "
        "positions in their frame");
    return false;
  } else if (judgement.Kind == FrameKind::Free && controlNum >= kSimilarityNum &&
             !RunFindsSimilarity(pairs)) {
    // Exchanged points keep a run from it as well.
    if (!FaultsOf(pairs, judgement, depth).Exchanged.empty()) return true;
    diagnosis.Add(
        "K016", {input.Files.szGcp, 2},
        "the similarity that brings the orientations to the control points is none that a run finds",
        "Bring the orientations into a frame with Z up, roughly, or into that of the control points");
  } else if (judgement.Kind == FrameKind::Free) {
    diagnosis.Add(
        "K014", {input.Files.szGcp, 2},
        fmt::format("orientations are in another frame, {:.5g} times smaller than that of the control points",
                    judgement.Transform.fScale),
        "An adjustment brings them over by a similarity");
  } else if (controlNum >= kSimilarityNum && judgement.dAfter > poor) {
    diagnosis.Add(
        "K013", {input.Files.szGcp, 2},
        fmt::format("control points fit the block by no similarity; they lie {} from their intersections",
                    Figure(judgement.dBefore)),
        "Look at names, coordinates and measurements of all of them");
  }
  return judgement.Kind == FrameKind::Free;
}

/// A change of heights alone is an offset as well, where the points lie at one height.
FrameJudgement PreferOffset(const ControlPairs& pairs, double depth, const FrameJudgement& judgement,
                            double factor) {
  if (judgement.Kind != FrameKind::Reading || judgement.pReading->Factor[2] == 1 ||
      judgement.pReading->Factor[0] != 1)
    return judgement;
  const auto offset = FindHeightOffset(pairs.Block, pairs.Given, depth, kSeenOffset * depth);
  return offset && offset->dAfter < factor * judgement.dAfter ? *offset : judgement;
}

/// Of the frames in which the block can be held against the control, the one that fits.
ControlStanding JudgeControl(const BlockCheckInput& input, const ControlPairs& pairs, const BlockScene& scene,
                             const std::vector<bool>& usable) {
  ControlStanding standing;
  standing.Judgement = JudgeFrame(pairs.Block, pairs.Given, scene.dDepth, scene.Up);
  FrameJudgement& inProject = standing.Judgement;
  const PositionPairing positions =
      PairPositions(input.Block, PairPos(input.Block, usable), input.Settings.Object_Coor_Scale);
  const FrameJudgement pos = JudgeFrame(positions.Block, positions.Given, scene.dDepth, scene.Up);
  if (pos.Kind == FrameKind::Same) {
    std::vector<double> offsets;
    for (size_t i = 0; i < positions.Block.size(); ++i)
      offsets.push_back(positions.Given[i][2] - positions.Block[i][2]);
    standing.PosOffset = Quantile(offsets, 0.5);
  }
  inProject = PreferOffset(pairs, scene.dDepth, inProject, 0.5);
  if (inProject.Kind == FrameKind::Same) {
    // Few points show no scatter.
    std::vector<double> expected = pairs.Expected;
    const double usual = std::ssize(expected) < kSimilarityNum ? 3 * Quantile(expected, 0.5) : 0;
    const auto offset =
        FindHeightOffset(pairs.Block, pairs.Given, scene.dDepth, std::max(kSeenOffset * scene.dDepth, usual));
    if (offset) inProject = *offset;
    return standing;
  }
  if (pos.Kind != FrameKind::Free && pos.Kind != FrameKind::HeightOffset) return standing;
  const auto inPos = Apply(pos.Transform, pairs.Block);
  FrameJudgement throughPos = JudgeFrame(inPos, pairs.Given, scene.dDepth * pos.Transform.fScale);
  const bool told = throughPos.Kind == FrameKind::Reading || throughPos.Kind == FrameKind::HeightOffset;
  const bool toldInProject =
      inProject.Kind == FrameKind::Reading || inProject.Kind == FrameKind::HeightOffset;
  if (throughPos.Kind == FrameKind::Same) {
    throughPos.Transform = pos.Transform;
    return {throughPos, false};
  }
  // What a focal length and a drift of the positions make together is no offset of either.
  const bool small =
      throughPos.Kind == FrameKind::HeightOffset &&
      std::fabs(throughPos.dHeightOffset) < kLeastThroughPos * scene.dDepth * pos.Transform.fScale;
  if (!toldInProject && told && !small) return {throughPos, true};
  return standing;
}

void TellSimilarityWithoutControl(const BlockCheckInput& input, Diagnosis& diagnosis) {
  if (!input.Settings.Absolute_Orientation) return;
  const std::vector<bool> usable = UsableImages(input.Block);
  const auto counts = [&](const SurveyPoint& point) {
    return point.nType == 1 &&
           RaysOf(input.Block, usable, input.Block.Control.Of(point), input.Settings.Object_Coor_Scale)
                   .size() >= 2;
  };
  const int64_t controlNum = std::ranges::count_if(input.Block.Control.Points, counts);
  if (controlNum >= 3) return;
  diagnosis.Add("K019", {input.Files.szSettings, 0},
                fmt::format("Absolute_Orientation is on, with {} for its similarity",
                            CountOf(controlNum, "control point", {})),
                "Switch it off, or add control points, 3 at least, measured in two images and more");
}

void TellAxes(const BlockCheckInput& input, const ControlAxes& axes, Diagnosis& diagnosis) {
  const std::string what =
      axes.bByPlace ? fmt::format("points lie {} from where their rays meet that way, {} as written",
                                  Figure(axes.dRead), Figure(axes.dWritten))
                    : fmt::format(
                          "rays meet to {} px that way, to {} px as written, and those of the tie "
                          "points as they are",
                          Figure(axes.dRead), Figure(axes.dWritten));
  diagnosis.Add("K017", {input.Files.szGcp, 3},
                fmt::format("measurements of the GCP file {}: {}", axes.szWhat, what),
                fmt::format("Write {} in the GCP file", axes.szWrite));
}

/// Points off their place keep a run from its similarity, which then ends it.
void TellLostSimilarity(const BlockCheckInput& input, const ControlPairs& pairs, Diagnosis& diagnosis) {
  if (static_cast<int64_t>(pairs.ControlGiven.size()) < kSimilarityNum || RunFindsSimilarity(pairs)) return;
  diagnosis.Add("K016", {input.Files.szGcp, 2},
                "a run finds no similarity that brings the orientations to the control points",
                "Mend the points that lie off their place first");
}

}  // namespace

void CheckControl(const BlockCheckInput& input, Diagnosis& diagnosis) {
  TellSimilarityWithoutControl(input, diagnosis);
  if (input.Block.Control.Points.empty()) return;
  const std::vector<bool> usable = UsableImages(input.Block);
  const BlockScene scene = SampleScene(input.Block, usable, input.Settings.Object_Coor_Scale);
  const ControlPairs pairs = PairControl(input.Block, usable, input.Settings.Object_Coor_Scale,
                                         std::max(scene.dRaySigma, kStartAngle));
  TellSinglyMeasured(input, pairs, diagnosis);
  if (const auto axes = FindControlAxes(input.Block, usable, input.Settings.Object_Coor_Scale)) {
    TellAxes(input, *axes, diagnosis);
    return;
  }
  if (pairs.Points.empty() || !(scene.dDepth > 0)) return;
  if (LooksGeographic(pairs.Given)) {
    diagnosis.Add(
        "K015", {input.Files.szGcp, 2}, "control coordinates look like longitude and latitude in degrees",
        "Write metres in a Cartesian frame: project them, and the orientations into the same frame");
    return;
  }
  const ControlStanding standing = JudgeControl(input, pairs, scene, usable);
  const FrameJudgement& judgement = standing.Judgement;
  switch (judgement.Kind) {
    case FrameKind::Reading:
      return TellReading(input, judgement, diagnosis);
    case FrameKind::HeightOffset:
      TellOffset(input, pairs, standing, scene.dDepth, diagnosis);
      if (standing.bThroughPos) return;
      break;
    case FrameKind::Unknown:
    case FrameKind::Free:
      if (!TellFrame(input, pairs, judgement, scene.dDepth, diagnosis)) return;
      break;
    case FrameKind::Same:
      break;
  }
  const PointFaults faults = FaultsOf(pairs, judgement, scene.dDepth);
  TellPointFaults(input, pairs, faults, diagnosis);
  if (faults.Exchanged.empty() && !faults.Outliers.empty()) TellLostSimilarity(input, pairs, diagnosis);
  CheckSpread(input, pairs, scene, diagnosis);
}

}  // namespace orvo
