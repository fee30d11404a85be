#include <algorithm>
#include <cmath>

#include "normal/PosObservation.h"
#include "report/FigureParts.h"
#include "report/FileFrame.h"

namespace orvo::report {
namespace {

PosModel ModelOf(const RunLimits& limits) {
  return {limits.Apply_GPS_Data,      limits.Apply_IMU_Data, limits.Correct_Const_Error,
          limits.Correct_LinearError, limits.GPS_WeightXY,   limits.GPS_WeightZ};
}

/// The drift parameters of a strip, none where there are none.
std::span<const double> ParametersOf(const FigureSources& from, const PosModel& model, int32_t strip) {
  const auto size = static_cast<size_t>(model.ParameterNum());
  const size_t first = static_cast<size_t>(std::max(strip, 0)) * size;
  if (strip < 0 || from.Unknowns.nPosSize != model.ParameterNum() || first + size > from.PosParams.size())
    return {};
  return from.PosParams.subspan(first, size);
}

/// Three of the parameters of a strip as lengths of the files.
Triple DriftOf(std::span<const double> parameters, int32_t first, double units) {
  const auto at = static_cast<size_t>(first);
  if (at + 3 > parameters.size()) return {};
  return {parameters[at] * units, parameters[at + 1] * units, parameters[at + 2] * units};
}

/// Observed less computed position, less drift, in working units. False where it is not a number.
bool DifferenceOf(const PosModel& model, const EopRecord& image, const PosRecord& observed,
                  std::span<const double> parameters, double* d) {
  double L[6] = {};
  // Without a model of the drift the misclosure is told as 0 and says nothing.
  if (model.ParameterNum() == 0) {
    L[0] = observed.X - image.X;
    L[1] = observed.Y - image.Y;
    L[2] = observed.Z - image.Z;
  } else if (parameters.empty() || !ComputePosMisclosure(model, image, observed, parameters.data(), L)) {
    return false;
  }
  std::copy_n(L, 3, d);
  return std::isfinite(L[0] + L[1] + L[2]);
}

struct SquareSums {
  int32_t nNum = 0;
  Triple Squares;

  void Add(const Triple& d) {
    ++nNum;
    Squares.X += d.X * d.X;
    Squares.Y += d.Y * d.Y;
    Squares.Z += d.Z * d.Z;
  }
  Triple Rmse() const {
    const double n = std::max(nNum, 1);
    return {std::sqrt(Squares.X / n), std::sqrt(Squares.Y / n), std::sqrt(Squares.Z / n)};
  }
};

void FillDifferences(const FigureSources& from, const PosModel& model, double units, PosFigures& figures) {
  const std::span<const EopRecord> kept = from.Images.Kept();
  std::vector<SquareSums> strips(static_cast<size_t>(std::max(from.Images.nGroupNum, 0)));
  SquareSums all;
  for (size_t i = 0; i < std::min({kept.size(), from.Images.pPos.size(), from.Images.pImageGroup.size()});
       ++i) {
    const int32_t strip = from.Images.pImageGroup[i];
    if (strip < 0 || static_cast<size_t>(strip) >= strips.size() ||
        from.Images.pPos[i].nStatus == kPosNotObserved)
      continue;
    double d[3];
    if (!DifferenceOf(model, kept[i], from.Images.pPos[i], ParametersOf(from, model, strip), d)) continue;
    const Triple difference = {d[0] * units, d[1] * units, d[2] * units};
    figures.vImages.push_back({static_cast<int32_t>(i), strip, kept[i].fTime, difference});
    strips[static_cast<size_t>(strip)].Add(difference);
    all.Add(difference);
  }
  figures.Rmse = all.Rmse();
  for (size_t i = 0; i < strips.size(); ++i) {
    const auto strip = static_cast<int32_t>(i);
    const std::span<const double> parameters = ParametersOf(from, model, strip);
    DriftFigure drift;
    drift.nStrip = strip;
    drift.nImages = strips[i].nNum;
    if (model.bConst) drift.Constant = DriftOf(parameters, 0, units);
    if (model.bLinear) drift.Rate = DriftOf(parameters, model.bConst ? model.RowNum() : 0, units);
    drift.Rmse = strips[i].Rmse();
    figures.vStrips.push_back(drift);
  }
}

}  // namespace

std::optional<PosFigures> PosFiguresOf(const FigureSources& from, const Pair& rmse) {
  const bool adjusted = !from.Settings.Direct_Intersection && !from.Settings.Absolute_Orientation;
  if (!adjusted || !from.Limits.UsesPos() || from.Unknowns.nLayoutMode == LayoutIop) return {};
  const PosModel model = ModelOf(from.Limits);
  const double units = FileUnits(from.Frame);
  PosFigures figures;
  figures.bGps = model.bGps;
  figures.bImu = model.bImu;
  figures.bConstant = model.bConst;
  figures.bLinear = model.bLinear;
  figures.fWeightXY = model.fWeightXY;
  figures.fWeightZ = model.fWeightZ;
  if (!model.bGps) return figures;
  const double sigma0 = std::sqrt((rmse.x * rmse.x + rmse.y * rmse.y) / 2) * from.Settings.Image_Coor_Scale;
  const auto sigmaOf = [&](double weight) { return weight > 0 ? sigma0 / std::sqrt(weight) * units : 0; };
  figures.fSigmaXY = sigmaOf(model.fWeightXY);
  figures.fSigmaZ = sigmaOf(model.fWeightZ);
  FillDifferences(from, model, units, figures);
  return figures;
}

}  // namespace orvo::report
