#include "normal/PosObservation.h"

#include <algorithm>
#include <cmath>
#include <numbers>

namespace orvo {
namespace {

/// Return strips fly with kappa near pi: a difference of almost a whole turn there is a small one.
double AngleDifference(double a, double b) { return std::remainder(a - b, 2 * std::numbers::pi); }

}  // namespace

std::array<double, 6> PosWeights(const PosModel& model) {
  // Deliberate: the first three rows carry the GPS weights also when they are the angles.
  return {model.fWeightXY, model.fWeightXY, model.fWeightZ, 1, 1, 1};
}

bool ComputePosMisclosure(const PosModel& model, const EopRecord& image, const PosRecord& observed,
                          const double* parameters, double* L) {
  int32_t rows = 0;
  if (model.bGps) {
    L[rows++] = observed.X - image.X;
    L[rows++] = observed.Y - image.Y;
    L[rows++] = observed.Z - image.Z;
  }
  if (model.bImu) {
    L[rows++] = AngleDifference(observed.fPhi, image.fPhi);
    L[rows++] = AngleDifference(observed.fOmega, image.fOmega);
    L[rows++] = AngleDifference(observed.fKappa, image.fKappa);
  }
  // Deliberate: without a drift model the differences never enter, and the weights alone hold the image.
  if (model.ParameterNum() == 0) std::fill_n(L, rows, 0.0);
  const std::array<double, 6> P = PosWeights(model);
  for (int32_t row = 0; row < rows; ++row) {
    if (model.bConst) L[row] -= parameters[row];
    if (model.bLinear) L[row] -= image.fTime * parameters[model.bConst ? rows + row : row];
    const double weight = P[static_cast<size_t>(row)];
    if (!std::isfinite(weight * L[row]) ||
        !std::isfinite(weight * image.fTime * image.fTime * (1 + std::fabs(L[row])))) {
      return false;
    }
  }
  return true;
}

bool ComputePosEquations(const PosModel& model, const EopRecord& image, const PosRecord& observed,
                         const double* parameters, PosEquations& equations) {
  const int32_t rowNum = model.RowNum(), parameterNum = model.ParameterNum();
  double L[6];
  if (!ComputePosMisclosure(model, image, observed, parameters, L)) return false;
  const std::array<double, 6> weight = PosWeights(model);
  const int32_t firstUnknown = model.bGps ? 0 : 3;

  equations.Aee.fill(0);
  equations.Aed.fill(0);
  equations.Ade.fill(0);
  equations.Add.fill(0);
  equations.be.fill(0);
  equations.bd.fill(0);
  for (int32_t row = 0; row < rowNum; ++row) {
    // The row of D has one element for each kind of drift.
    int32_t column[2];
    double derivative[2];
    int32_t kinds = 0;
    if (model.bConst) {
      column[kinds] = row;
      derivative[kinds++] = 1;
    }
    if (model.bLinear) {
      column[kinds] = model.bConst ? rowNum + row : row;
      derivative[kinds++] = image.fTime;
    }
    const int32_t unknown = firstUnknown + row;
    const double P = weight[static_cast<size_t>(row)];

    equations.Aee[static_cast<size_t>(int64_t{kEopSize + 1} * unknown)] = P;
    equations.be[unknown] = P * L[row];
    for (int32_t a = 0; a < kinds; ++a) {
      equations.Aed[unknown * parameterNum + column[a]] = P * derivative[a];
      equations.Ade[column[a] * kEopSize + unknown] = P * derivative[a];
      equations.bd[column[a]] = derivative[a] * P * L[row];
      for (int32_t b = 0; b < kinds; ++b) {
        equations.Add[column[a] * parameterNum + column[b]] = derivative[a] * P * derivative[b];
      }
    }
  }
  return true;
}

}  // namespace orvo
