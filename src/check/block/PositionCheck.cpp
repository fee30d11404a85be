#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>

#include "base/PrintableName.h"
#include "check/BlockCheck.h"
#include "check/block/AngleTrial.h"
#include "check/block/BlockScene.h"
#include "check/block/ControlPairs.h"
#include "check/block/ExchangedPoints.h"
#include "check/block/FindingPlaces.h"
#include "check/block/FindingTexts.h"
#include "check/block/HeightOffset.h"

namespace orvo {
namespace {

constexpr size_t kFewestPairs = 3;
constexpr double kStrangeAngles = 15;  // degrees
constexpr double kFarOff = 0.05;       // of the depth
constexpr double kSeenOffset = 0.02;   // of the depth

const char* CodeOf(CoordinateFault fault) {
  switch (fault) {
    case CoordinateFault::Exchanged:
      return "P010";
    case CoordinateFault::Feet:
      return "P011";
    case CoordinateFault::HeightInFeet:
      return "P012";
    default:
      return "P013";
  }
}

void TellHeightOffset(const BlockCheckInput& input, const FrameJudgement& judgement, bool control,
                      Diagnosis& diagnosis) {
  const double offset = judgement.dHeightOffset;
  diagnosis.Add(
      control ? "P014" : "P015", {input.Files.szPos, 1},
      fmt::format("heights of the POS file are {} {} those of the block{}", Figure(std::fabs(offset)),
                  offset > 0 ? "above" : "below", control ? ", which is in the frame of its control" : ""),
      fmt::format("Write heights of one kind, ellipsoidal or above the geoid, in all files: {} {}",
                  offset > 0 ? "take off" : "add", Figure(std::fabs(offset))));
}

void TellOutliers(const BlockCheckInput& input, const PositionPairing& positions,
                  const FrameJudgement& judgement, double depth, Diagnosis& diagnosis) {
  const auto inGiven = Apply(judgement.Transform, positions.Block);
  const double scaled = depth * judgement.Transform.fScale;
  const PointFaults faults = FindPointFaults(inGiven, positions.Given, {}, scaled);
  const auto posOf = [&](size_t pair) -> const SurveyPos& {
    return input.Block.Pos[positions.Pairs[pair].nPos];
  };
  for (const auto& [first, second] : faults.Exchanged) {
    diagnosis.Add("P016", PlaceOfPos(input, posOf(second)),
                  fmt::format("positions of {} and {} are exchanged",
                              NameOfImage(input.Block.Images[positions.Pairs[first].nImage]),
                              NameOfImage(input.Block.Images[positions.Pairs[second].nImage])),
                  "Write each with the name of the other");
  }
  for (const auto& outlier : faults.Outliers) {
    if (outlier.dDistance < kFarOff * scaled) continue;
    diagnosis.Add("P017", PlaceOfPos(input, posOf(outlier.nPoint)),
                  fmt::format("the position of {} lies {} from its projection centre",
                              NameOfImage(input.Block.Images[positions.Pairs[outlier.nPoint].nImage]),
                              Figure(outlier.dDistance)),
                  "Look at the name and the coordinates, or leave the line out");
  }
}

/// Turns the block into the frame of the POS file, where positions tell.
std::optional<Rotation3> CheckFrame(const BlockCheckInput& input, const PositionPairing& positions,
                                    const FrameJudgement& judgement, bool controlAgrees, double depth,
                                    Diagnosis& diagnosis) {
  switch (judgement.Kind) {
    case FrameKind::Reading:
      diagnosis.Add(
          CodeOf(judgement.pReading->Fault), {input.Files.szPos, 1},
          fmt::format("coordinates of the POS file {}: positions lie {} from the projection centres that "
                      "way, {} as written",
                      judgement.pReading->szWhat, Figure(judgement.dAfter), Figure(judgement.dBefore)),
          judgement.pReading->szWrite);
      return std::nullopt;
    case FrameKind::HeightOffset:
      TellHeightOffset(input, judgement, controlAgrees, diagnosis);
      TellOutliers(input, positions, judgement, depth, diagnosis);
      return judgement.Transform.R;
    case FrameKind::Free:
    case FrameKind::Same:
      TellOutliers(input, positions, judgement, depth, diagnosis);
      if (judgement.Kind == FrameKind::Free && judgement.bLevel) return std::nullopt;
      return judgement.Transform.R;
    default:
      if (positions.Pairs.size() < 4) return std::nullopt;
      diagnosis.Add(
          "P018", {input.Files.szPos, 1},
          fmt::format("positions fit the projection centres by no similarity, {} away from them",
                      Figure(judgement.dBefore)),
          "Look at names and coordinates: they are in a Cartesian frame in metres, X east, Y north, Z up");
      return std::nullopt;
  }
}

/// With the block rather than with positions that are `offset` higher.
bool ControlAgrees(const BlockCheckInput& input, const std::vector<bool>& usable, double depth,
                   double offset) {
  const ControlPairs pairs = PairControl(input.Block, usable, input.Settings.Object_Coor_Scale, 0);
  if (JudgeFrame(pairs.Block, pairs.Given, depth).Kind != FrameKind::Same) return false;
  std::vector<double> heights;
  for (size_t i = 0; i < pairs.Block.size(); ++i) heights.push_back(pairs.Given[i][2] - pairs.Block[i][2]);
  const double height = Quantile(heights, 0.5);
  return std::fabs(height) < 0.5 * std::fabs(height - offset);
}

/// Projection centres that agree with the control leave no focal length to blame: less is told of positions.
void CheckHeightsOfPositions(const BlockCheckInput& input, const PositionPairing& positions,
                             const FrameJudgement& judgement, const std::vector<bool>& usable, double depth,
                             Diagnosis& diagnosis) {
  if (judgement.Kind != FrameKind::Same) return;
  const auto offset = FindHeightOffset(positions.Block, positions.Given, depth, kSeenOffset * depth);
  if (offset && ControlAgrees(input, usable, depth, offset->dHeightOffset))
    TellHeightOffset(input, *offset, true, diagnosis);
}

void TellNoAngles(const BlockCheckInput& input, const std::vector<PosPair>& pairs, Diagnosis& diagnosis) {
  double largest = 0;
  for (const PosPair& pair : pairs)
    largest = std::max(largest, AngleBetween(input.Block.Images[pair.nImage].R, OrvoRotation(0, 0, 0)));
  // Vertical images flown to the east have angles of 0.
  if (largest < 0.05) return;
  const bool applied = input.Settings.Apply_IMU_Data;
  diagnosis.Add(applied ? "P008" : "P007", {input.Files.szPos, 1}, "all angles are 0, as if there were none",
                applied ? "Switch Apply_IMU_Data off, or write the angles" : "Leave Apply_IMU_Data off");
}

void TellAngleReading(const BlockCheckInput& input, const PosPair& first, const AngleVerdict& verdict,
                      Diagnosis& diagnosis) {
  const SurveyPos& pos = input.Block.Pos[first.nPos];
  const auto angles = PosAngles(Read(*verdict.pBest, {pos.dOmega, pos.dPhi, pos.dKappa}));
  diagnosis.Add(
      verdict.pBest->szCode, PlaceOfPos(input, pos),
      fmt::format("angles are {}: they agree with the orientations to {} degrees that way, to {} as "
                  "written",
                  verdict.pBest->szWhat, Figure(verdict.dBest), Figure(verdict.dWritten)),
      fmt::format("Write Orvo's omega, phi, kappa in degrees: {:.6f} {:.6f} {:.6f} for {}", angles[0],
                  angles[1], angles[2], NameOfImage(input.Block.Images[first.nImage])));
}

void CheckAngles(const BlockCheckInput& input, const std::vector<PosPair>& pairs,
                 const std::optional<Rotation3>& frame, Diagnosis& diagnosis) {
  std::vector<AnglePair> angles;
  const PosPair* first = nullptr;
  for (const PosPair& pair : pairs) {
    const SurveyPos& pos = input.Block.Pos[pair.nPos];
    if (!std::isfinite(pos.dOmega + pos.dPhi + pos.dKappa)) continue;
    if (pos.dOmega == 0 && pos.dPhi == 0 && pos.dKappa == 0) continue;
    if (!first) first = &pair;
    angles.push_back({input.Block.Images[pair.nImage].R, {pos.dOmega, pos.dPhi, pos.dKappa}});
  }
  if (!pairs.empty() && angles.empty()) return TellNoAngles(input, pairs, diagnosis);
  if (angles.size() < kFewestPairs) return;
  const AngleVerdict verdict = TryAngles(angles, frame);
  if (verdict.bWrong) return TellAngleReading(input, *first, verdict, diagnosis);
  if (verdict.dWritten > kStrangeAngles) {
    diagnosis.Add(
        "P006", {input.Files.szPos, 1},
        fmt::format("angles differ from the orientations by {} degrees in the median, and no other reading "
                    "fits",
                    Figure(verdict.dWritten)),
        "Look at names, units and axes of the angles, or leave Apply_IMU_Data off");
  }
}

/// Where a receiver has no fix, programs write zeros; a file of angles may have nothing else.
void CheckZeros(const BlockCheckInput& input, const std::vector<PosPair>& pairs, bool all,
                Diagnosis& diagnosis) {
  if (all && !input.Settings.Apply_GPS_Data) return;
  for (const PosPair& pair : pairs) {
    const SurveyPos& pos = input.Block.Pos[pair.nPos];
    if (pos.S != Position3{0, 0, 0}) continue;
    diagnosis.Add("P022", PlaceOfPos(input, pos),
                  fmt::format("the position of {} is 0 0 0, and counts as an observation",
                              NameOfImage(input.Block.Images[pair.nImage])),
                  "Leave the line of an image without a position out");
  }
}

void CheckStrips(const BlockCheckInput& input, const std::vector<PosPair>& pairs, Diagnosis& diagnosis) {
  std::map<int32_t, std::pair<int64_t, const SurveyPos*>> strips;
  for (const PosPair& pair : pairs) {
    const SurveyPos& pos = input.Block.Pos[pair.nPos];
    auto& [count, first] = strips.try_emplace(pos.nStrip, 0, &pos).first->second;
    ++count;
  }
  for (const auto& [strip, entry] : strips) {
    const auto& [count, first] = entry;
    if (strip <= 0) {
      diagnosis.Add(
          "P020", PlaceOfPos(input, *first),
          fmt::format("{} with strip {}", CountOf(count, "image", {}), strip),
          strip < 0 ? "Number strips from 1: these images are not observed" : "Number strips from 1");
    } else if (count == 1) {
      diagnosis.Add("P019", PlaceOfPos(input, *first),
                    fmt::format("image {} is alone in strip {}", PrintableName(first->szName), strip),
                    "It is not observed: give it to the strip that it was flown with");
    }
  }
  const bool applied = input.Settings.Apply_GPS_Data || input.Settings.Apply_IMU_Data;
  const bool grouped = std::ranges::any_of(strips, [](const auto& strip) { return strip.first > 0; });
  const bool observed = std::ranges::any_of(
      strips, [&](const auto& strip) { return strip.first >= (grouped ? 1 : 0) && strip.second.first > 1; });
  if (applied && !strips.empty() && !observed) {
    diagnosis.Add("P021", {input.Files.szPos, 1},
                  "no image is observed: each is alone in its strip, or its strip is below 0",
                  "Give the images of a flight line one number from 1, or all of them 0");
  }
}

}  // namespace

void CheckPositions(const BlockCheckInput& input, Diagnosis& diagnosis) {
  if (input.Block.Pos.empty()) return;
  const std::vector<bool> usable = UsableImages(input.Block);
  const std::vector<PosPair> pairs = PairPos(input.Block, usable);
  const PositionPairing positions = PairPositions(input.Block, pairs, input.Settings.Object_Coor_Scale);
  const BlockScene scene = SampleScene(input.Block, usable, input.Settings.Object_Coor_Scale);
  std::optional<Rotation3> frame;
  if (LooksGeographic(positions.Given)) {
    diagnosis.Add("P009", {input.Files.szPos, 1}, "positions look like longitude and latitude in degrees",
                  "Write metres in a Cartesian frame, that of the control points where there are any");
  } else if (positions.Pairs.size() >= kFewestPairs && scene.dDepth > 0) {
    const FrameJudgement judgement = JudgeFrame(positions.Block, positions.Given, scene.dDepth, scene.Up);
    CheckHeightsOfPositions(input, positions, judgement, usable, scene.dDepth, diagnosis);
    const bool agrees = judgement.Kind == FrameKind::HeightOffset &&
                        ControlAgrees(input, usable, scene.dDepth, judgement.dHeightOffset);
    frame = CheckFrame(input, positions, judgement, agrees, scene.dDepth, diagnosis);
  }
  CheckAngles(input, pairs, frame, diagnosis);
  CheckZeros(input, pairs, positions.Pairs.empty(), diagnosis);
  CheckStrips(input, pairs, diagnosis);
}

}  // namespace orvo
