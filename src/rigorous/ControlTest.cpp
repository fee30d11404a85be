#include "rigorous/ControlTest.h"

#include <Eigen/Eigenvalues>
#include <cmath>

#include "rigorous/PointStep.h"

namespace orvo::rigorous {
namespace {

/// Steps of a point from where its control has it to where its rays meet.
constexpr int32_t kPointSteps = 10;

/// Redundancy of a direction of control that is tested. With less than kLeastRedundancy it is poorly so, but
/// what a whole block follows may show in nothing else; below this, nothing is left of a residual but what
/// the end of the iterations leaves of the way.
constexpr double kLeastOfControl = 1e-3;
/// Of a sum of cofactors that is 1 for each coordinate, below it is rounding.
constexpr double kLeastCofactor = 1e-9;

/// `unit` by coordinate: what lengths are divided by, 0 where the coordinate does not count. Directions with
/// less than `least` are left out.
ControlMisfit MisfitOf(const ControlObservation& control, const Vector3& place, const Vector3& unit,
                       const Matrix3& cofactor, double least, double variance) {
  ControlMisfit misfit;
  Eigen::Vector3d d = Eigen::Vector3d::Zero();
  // Of what does not count all is 0, and so are its cofactors.
  Eigen::Matrix3d C = Eigen::Matrix3d::Zero();
  const auto counts = [&](int k) { return unit[k] > 0 && std::isfinite(control.Observed[k]); };
  for (int i = 0; i < 3; ++i) {
    if (!counts(i)) continue;
    misfit.Difference[i] = control.Observed[i] - place[i];
    d(i) = misfit.Difference[i] / unit[i];
    for (int j = 0; j < 3; ++j) {
      if (counts(j)) C(i, j) = cofactor[3 * i + j] / (unit[i] * unit[j]);
    }
  }
  if (!C.allFinite() || !d.allFinite() || !(variance > 0)) return misfit;
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> axes(C);
  for (int i = 0; i < 3; ++i) {
    const double value = axes.eigenvalues()(i);
    if (!(value > least)) continue;
    const double along = axes.eigenvectors().col(i).dot(d);
    misfit.fSquare += along * along / (value * variance);
    ++misfit.nDirections;
  }
  return misfit;
}

bool IsSoft(double sigma) { return sigma > 0 && std::isfinite(sigma); }

}  // namespace

ControlMisfit MisfitWithin(const ControlObservation& control, const Vector3& place, const Matrix3& cofactor,
                           double variance) {
  Vector3 unit{};
  Matrix3 C = -1.0 * cofactor;
  for (int k = 0; k < 3; ++k) {
    if (!IsSoft(control.Sigma[k])) continue;
    unit[k] = control.Sigma[k];
    C[4 * k] += unit[k] * unit[k];
  }
  return MisfitOf(control, place, unit, C, kLeastOfControl, variance);
}

ControlMisfit MisfitOutside(const ControlObservation& control, const Vector3& place, const Matrix3& cofactor,
                            double variance) {
  Vector3 unit{};
  Matrix3 C = cofactor;
  for (int k = 0; k < 3; ++k) {
    const double sigma = control.Sigma[k];
    if (!(sigma >= 0) || !std::isfinite(sigma)) continue;
    C[4 * k] += sigma * sigma;
    unit[k] = std::sqrt(C[4 * k]);
  }
  return MisfitOf(control, place, unit, C, kLeastCofactor, variance);
}

std::optional<ControlMisfit> MisfitAtRays(const PointSurroundings& around, std::span<const Ray> rays,
                                          const ControlObservation& control, const Vector3& from,
                                          double variance) {
  PointStepper stepper(around, {kPointSteps, true});
  const PointPlace& place = stepper.Settle(ObservationsOf(rays, nullptr), from);
  if (!place.bInUse || place.nSeen < 2 || place.Factor.RankNum() < 3) return std::nullopt;
  const Matrix3 cofactor = Multiply(place.Factor.Q, Transposed(place.Factor.Q));
  const ControlMisfit misfit = MisfitOutside(control, place.Point, cofactor, variance);
  if (misfit.nDirections == 0) return std::nullopt;
  return misfit;
}

}  // namespace orvo::rigorous
