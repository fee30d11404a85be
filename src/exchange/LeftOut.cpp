#include "exchange/LeftOut.h"

#include <algorithm>
#include <optional>

#include "base/PrintableName.h"
#include "check/reading/RunLosses.h"

namespace orvo::exchange {
namespace {

constexpr int32_t kNone = -1;

using Reasons = std::vector<std::optional<LossReason>>;  ///< by image

bool IsImage(const SurveyBlock& block, int32_t ordinal) {
  return ordinal >= 0 && static_cast<size_t>(ordinal) < block.Images.size();
}

Reasons ReasonsOf(const SurveyBlock& block, const std::vector<bool>& cameraLost) {
  Reasons reasons(block.Images.size());
  for (size_t k = 0; k < block.Images.size(); ++k) {
    const SurveyImage& image = block.Images[k];
    const bool hasCamera = image.nCamera >= 0 && static_cast<size_t>(image.nCamera) < cameraLost.size();
    if (hasCamera && cameraLost[static_cast<size_t>(image.nCamera)]) {
      reasons[k] = LossReason::Camera;
    } else if (IsAtOrigin(image) || !HasFiniteOrientation(image)) {
      reasons[k] = LossReason::Position;
    }
  }
  return reasons;
}

/// Images of which no point is left, as a run leaves points out.
void AddUnmeasured(const SurveyBlock& block, bool wholePoints, Reasons& reasons) {
  if (block.Tie.Points.empty()) return;
  std::vector<bool> measured(block.Images.size());
  const auto isLost = [&](const SurveyMeasurement& one) {
    return IsImage(block, one.nImage) && reasons[static_cast<size_t>(one.nImage)];
  };
  for (const SurveyPoint& point : block.Tie.Points) {
    const auto measurements = block.Tie.Of(point);
    if (wholePoints && std::ranges::any_of(measurements, isLost)) continue;
    for (const SurveyMeasurement& one : measurements) {
      if (IsImage(block, one.nImage)) measured[static_cast<size_t>(one.nImage)] = true;
    }
  }
  for (size_t k = 0; k < reasons.size(); ++k) {
    if (!reasons[k] && !measured[k]) reasons[k] = LossReason::Unmeasured;
  }
}

/// By ordinal the new one, or kNone.
template <typename IsLost>
std::vector<int32_t> Renumbered(size_t count, const IsLost& isLost) {
  std::vector<int32_t> ordinals(count, kNone);
  int32_t next = 0;
  for (size_t k = 0; k < count; ++k) {
    if (!isLost(k)) ordinals[k] = next++;
  }
  return ordinals;
}

/// Measurements get the new ordinals of their images. Points that lose some, and have fewer than `fewest`
/// then, go too.
void Thin(const std::vector<int32_t>& ordinals, int32_t fewest, SurveyPoints& table, LeftOut& left) {
  SurveyPoints kept;
  kept.Points.reserve(table.Points.size());
  kept.Measurements.reserve(table.Measurements.size());
  for (SurveyPoint point : table.Points) {
    const auto first = std::ssize(kept.Measurements);
    for (SurveyMeasurement one : table.Of(point)) {
      const bool known = one.nImage >= 0 && static_cast<size_t>(one.nImage) < ordinals.size();
      const int32_t ordinal = known ? ordinals[static_cast<size_t>(one.nImage)] : kNone;
      if (known && ordinal == kNone) continue;
      one.nImage = ordinal;
      kept.Measurements.push_back(one);
    }
    const auto count = static_cast<int32_t>(std::ssize(kept.Measurements) - first);
    const int32_t lost = point.nMeasurementNum - count;
    left.nMeasurements += lost;
    if (lost > 0 && count < fewest) {
      kept.Measurements.resize(static_cast<size_t>(first));
      ++left.nPoints;
      continue;
    }
    point.nFirstMeasurement = first;
    point.nMeasurementNum = count;
    kept.Points.push_back(point);
  }
  table = std::move(kept);
}

const char* TextOf(LossReason reason) {
  switch (reason) {
    case LossReason::Camera:
      return "left out, for no run takes the camera";
    case LossReason::Position:
      return "left out, without a position: it is 0 0 0, or no finite number";
    case LossReason::Unmeasured:
      return "left out, for the run had no tie point of it";
  }
  return "";
}

}  // namespace

std::vector<size_t> ImageOrdinalsOf(const LeftOut& left) {
  std::vector<size_t> ordinals;
  for (const LeftOutImage& image : left.Images) ordinals.push_back(image.nImage);
  return ordinals;
}

LeftOut LeaveOut(SurveyBlock& block, BlockOrigin origin) {
  LeftOut left;
  std::vector<bool> cameraLost(block.Cameras.size());
  for (size_t k = 0; k < block.Cameras.size(); ++k) {
    cameraLost[k] = !RunTakesCamera(block.Cameras[k]);
    if (cameraLost[k]) left.Cameras.push_back(k);
  }
  Reasons reasons = ReasonsOf(block, cameraLost);
  if (origin != BlockOrigin::Project) AddUnmeasured(block, origin == BlockOrigin::TextResult, reasons);
  for (size_t k = 0; k < reasons.size(); ++k) {
    if (reasons[k]) left.Images.push_back({k, block.Images[k].szPath, *reasons[k]});
  }
  if (left.IsEmpty()) return left;
  const auto cameras = Renumbered(cameraLost.size(), [&](size_t k) { return cameraLost[k]; });
  for (SurveyImage& image : block.Images) {
    const bool known = image.nCamera >= 0 && static_cast<size_t>(image.nCamera) < cameras.size();
    image.nCamera = known ? cameras[static_cast<size_t>(image.nCamera)] : kNone;
  }
  const auto images = Renumbered(reasons.size(), [&](size_t k) { return reasons[k].has_value(); });
  EraseAt(block.Cameras, left.Cameras);
  EraseAt(block.Images, ImageOrdinalsOf(left));
  Thin(images, 2, block.Tie, left);
  // A control point stays, for its coordinates are given.
  Thin(images, 0, block.Control, left);
  return left;
}

std::vector<Finding> FindingsOf(const LeftOut& left, const std::string& file) {
  constexpr size_t kMostNames = 3;
  std::vector<Finding> findings;
  for (const LossReason reason : {LossReason::Camera, LossReason::Position, LossReason::Unmeasured}) {
    int64_t count = 0;
    std::vector<std::string> names;
    for (const LeftOutImage& image : left.Images) {
      if (image.Reason != reason) continue;
      ++count;
      if (names.size() < kMostNames) names.push_back(PrintableName(image.szPath));
    }
    if (count == 0) continue;
    findings.push_back({Severity::Warning, file, 0, -1,
                        CountOf(count, "image", names) + ": " + TextOf(reason),
                        "Run orvo check on the block"});
  }
  if (left.nMeasurements > 0) {
    findings.push_back({Severity::Note, file, 0, -1,
                        CountOf(left.nMeasurements, "measurement", {}) + " on them go with them, and " +
                            CountOf(left.nPoints, "tie point", {}) + " with fewer than 2 others",
                        ""});
  }
  return findings;
}

}  // namespace orvo::exchange
