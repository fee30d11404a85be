#include "report/html/ResidualField.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace orvo::report {

namespace {

constexpr int32_t kLeastCells = 10;
constexpr double kNoiseFactor = 1.5;
constexpr double kSlightShare = 0.1;

// Sums of values and of squares, and back.
Pair Scaled(const Pair& value, double by) { return {value.x * by, value.y * by}; }
Pair Squared(const Pair& value) { return {value.x * value.x, value.y * value.y}; }
Pair Rooted(const Pair& value) { return {std::sqrt(value.x), std::sqrt(value.y)}; }
void Add(Pair& sum, const Pair& value) { sum = {sum.x + value.x, sum.y + value.y}; }

void AddCamera(const CameraFigure& camera, CameraFigure& sum) {
  sum.nImages += camera.nImages;
  sum.nUsed += camera.nUsed;
  sum.nGross += camera.nGross;
  Add(sum.Rmse, Scaled(Squared(camera.Rmse), static_cast<double>(camera.nUsed)));
  for (size_t i = 0; i < sum.vField.size(); ++i) {
    const ResidualCell& cell = camera.vField[i];
    if (cell.nNum <= 0) continue;
    sum.vField[i].nNum += cell.nNum;
    Add(sum.vField[i].Mean, Scaled(cell.Mean, static_cast<double>(cell.nNum)));
  }
  for (size_t i = 0; i < sum.vRings.size(); ++i) {
    const CameraFigure::Ring& ring = camera.vRings[i];
    if (ring.nNum <= 0) continue;
    const auto number = static_cast<double>(ring.nNum);
    sum.vRings[i].nNum += ring.nNum;
    Add(sum.vRings[i].Mean, Scaled(ring.Mean, number));
    Add(sum.vRings[i].Rmse, Scaled(Squared(ring.Rmse), number));
  }
}

double Share(int64_t number) { return number > 0 ? 1 / static_cast<double>(number) : 0; }

}  // namespace

FieldJudgement JudgeField(const CameraFigure& camera) {
  FieldJudgement field;
  double squares = 0;
  for (const ResidualCell& cell : camera.vField) {
    const double square = cell.Mean.x * cell.Mean.x + cell.Mean.y * cell.Mean.y;
    if (cell.nNum < kCellMeasurements || !std::isfinite(square)) continue;
    ++field.nCells;
    field.nMeasurements += cell.nNum;
    squares += square * static_cast<double>(cell.nNum);
  }
  if (field.nCells == 0) return field;
  // A mean of n measurements has the variance of one over n, so n times its square counts each cell once.
  const double rmse = std::hypot(camera.Rmse.x, camera.Rmse.y);
  const auto number = static_cast<double>(field.nMeasurements);
  field.fLength = std::sqrt(squares / number);
  field.fNoise = rmse * std::sqrt(field.nCells / number);
  field.fPattern = std::sqrt(std::max(field.fLength * field.fLength - field.fNoise * field.fNoise, 0.0));
  field.fShare = rmse > 0 ? field.fPattern / rmse : 0;
  return field;
}

FieldKind KindOf(const FieldJudgement& field) {
  if (field.nCells < kLeastCells) return FieldKind::Unknown;
  if (!(field.fLength > kNoiseFactor * field.fNoise)) return FieldKind::Noise;
  return field.fShare < kSlightShare ? FieldKind::Slight : FieldKind::Systematic;
}

std::optional<CameraFigure> PoolCameras(std::span<const CameraFigure> cameras) {
  if (cameras.size() < 2) return {};
  const CameraFigure& first = cameras.front();
  CameraFigure sum;
  sum.szName = "all cameras together";
  sum.nWidth = first.nWidth;
  sum.nHeight = first.nHeight;
  sum.fRingWidth = first.fRingWidth;
  sum.bUnknown = first.bUnknown;
  sum.vField.resize(first.vField.size());
  sum.vRings.resize(first.vRings.size());
  for (const CameraFigure& camera : cameras) {
    if (camera.nWidth != sum.nWidth || camera.nHeight != sum.nHeight ||
        camera.vField.size() != sum.vField.size() || camera.vRings.size() != sum.vRings.size())
      return {};
    AddCamera(camera, sum);
  }
  sum.Rmse = Rooted(Scaled(sum.Rmse, Share(sum.nUsed)));
  for (ResidualCell& cell : sum.vField) cell.Mean = Scaled(cell.Mean, Share(cell.nNum));
  for (CameraFigure::Ring& ring : sum.vRings) {
    ring.Mean = Scaled(ring.Mean, Share(ring.nNum));
    ring.Rmse = Rooted(Scaled(ring.Rmse, Share(ring.nNum)));
  }
  return sum;
}

std::string TellField(const CameraFigure& camera, const FieldJudgement& field) {
  const std::string figures =
      fmt::format("the mean vectors are {:.3f} px long, and noise alone would leave {:.3f} px", field.fLength,
                  field.fNoise);
  switch (KindOf(field)) {
    case FieldKind::Unknown:
      return fmt::format("Too few measurements for a judgement: {} cells of {} hold {} and more.",
                         field.nCells, camera.vField.size(), kCellMeasurements);
    case FieldKind::Noise:
      return fmt::format("What is left looks like noise: {}.", figures);
    case FieldKind::Slight:
      return fmt::format(
          "There is a slight pattern: {}. It makes up {:.0f} % of the RMSE, too little to matter.", figures,
          100 * field.fShare);
    case FieldKind::Systematic:
      break;
  }
  return fmt::format(
      "Residuals are systematic: {}. {}", figures,
      camera.bUnknown
          ? "The camera was fitted, and two radial terms do not describe its lens: look at tangential "
            "distortion, at whether the images were corrected before, and whether they come from one "
            "camera in one state."
          : "Look at the distortion, and let the run fit the camera (Set_IOP_Unknown).");
}

}  // namespace orvo::report
