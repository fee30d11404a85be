#include "normal/PosObservation.h"

#include <cmath>
#include <numbers>

namespace orvo {
namespace {

/// Return strips fly with kappa near pi: a difference of almost a whole turn there is a small one.
double AngleDifference(double a, double b) { return std::remainder(a - b, 2 * std::numbers::pi); }

}  // namespace

bool ComputePosEquations(const PosModel& model, const EopRecord& image, const PosRecord& observed,
                         const double* parameters, PosEquations& equations) {
  const int32_t rowNum = model.RowNum(), parameterNum = model.ParameterNum();
  const double difference[6] = {observed.X - image.X,
                                observed.Y - image.Y,
                                observed.Z - image.Z,
                                AngleDifference(observed.fPhi, image.fPhi),
                                AngleDifference(observed.fOmega, image.fOmega),
                                AngleDifference(observed.fKappa, image.fKappa)};
  // Deliberate: the first three rows carry the GPS weights also when they are the angles.
  const double weight[6] = {model.fWeightXY, model.fWeightXY, model.fWeightZ, 1, 1, 1};
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
    const double P = weight[row];
    double L = difference[unknown];
    for (int32_t kind = 0; kind < kinds; ++kind) L -= derivative[kind] * parameters[column[kind]];
    if (!std::isfinite(P * L) || !std::isfinite(P * image.fTime * image.fTime * (1 + std::fabs(L))))
      return false;

    equations.Aee[7 * unknown] = P;
    equations.be[unknown] = P * L;
    for (int32_t a = 0; a < kinds; ++a) {
      equations.Aed[unknown * parameterNum + column[a]] = P * derivative[a];
      equations.Ade[column[a] * PosEquations::kEopSize + unknown] = P * derivative[a];
      equations.bd[column[a]] = derivative[a] * P * L;
      for (int32_t b = 0; b < kinds; ++b) {
        equations.Add[column[a] * parameterNum + column[b]] = derivative[a] * P * derivative[b];
      }
    }
  }
  return true;
}

}  // namespace orvo
