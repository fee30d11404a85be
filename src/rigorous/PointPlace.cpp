#include "rigorous/PointPlace.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvo::rigorous {
namespace {

/// A ray that the lanes leave to a closer look. Its square is no number where it is unseen.
double LookCloser(const PointSurroundings& around, const Ray& ray, const Vector3& point, PlaceRow& row) {
  static const LensLayout kAllParameters = LayoutOf(kLensAll);
  const auto image = static_cast<size_t>(ray.nImage);
  const auto camera = static_cast<size_t>(around.Of.vImages[image].nCamera);
  RayRows rows;
  const RayStatus status = LinearizeRay(around.At.vPoses[image], around.At.vCameras[camera].LensNow, point,
                                        {static_cast<double>(ray.x), static_cast<double>(ray.y)},
                                        around.Of.Form, kAllParameters, rows);
  if (status != RayStatus::Good) return std::numeric_limits<double>::quiet_NaN();
  row = {};
  for (int i = 0; i < 2; ++i) {
    row.Residual[i] = rows.Residual[i];
    std::ranges::copy(rows.Point[i], row.Point[i]);
    std::ranges::copy(rows.Image[i], row.Image[i]);
    std::ranges::copy(rows.Camera[i], row.Camera[i]);
  }
  return around.vTerms[image].fWeight *
         (rows.Residual[0] * rows.Residual[0] + rows.Residual[1] * rows.Residual[1]);
}

/// The weight of a ray in place of its square, and its part of the cost.
void WeighRay(const PointSurroundings& around, const Ray& ray, PointPlace& place, size_t r) {
  double& square = place.vWeights[r];
  if (ray.nImage < 0) {
    square = -1;
    return;
  }
  if (!std::isfinite(square)) {
    square = -1;
    ++place.nUnseen;
    return;
  }
  const double weight = around.vTerms[static_cast<size_t>(ray.nImage)].fWeight;
  ++place.nSeen;
  place.fSquares += square;
  if (around.Loss.Form == LossForm::None) {
    place.fCost += square;
    square = weight;
    return;
  }
  const LossValue loss = LossOf(around.Loss, square);
  place.fCost += loss.Value;
  square = weight * loss.Weight;
}

void AddControl(const PointObservations& point, PointPlace& place) {
  constexpr int kDiagonal[3] = {0, 3, 5};
  for (int k = 0; k < 3; ++k) {
    if (!(point.Weight[k] > 0)) continue;
    const double residual = point.Observed[k] - place.Point[k];
    const double square = point.Weight[k] * residual * residual;
    place.fCost += square;
    place.fSquares += square;
    place.M[kDiagonal[k]] += point.Weight[k];
    place.n[k] += point.Weight[k] * residual;
  }
}

void TakeOutOfUse(PointPlace& place) {
  place.fCost = place.fSquares = 0;
  for (double& weight : place.vWeights) weight = -1;
}

}  // namespace

PointSurroundings::PointSurroundings(const Problem& problem, const Estimate& estimate,
                                     const UnknownPlan* plan, const RobustLoss& loss)
    : Of(problem), At(estimate), pPlan(plan), Loss(loss), vTerms(TermsOf(problem, estimate)) {
  static const PointKernels kernels = UsablePointKernels().back();
  Kernels = kernels;
}

Vector3 PointObservations::Started(Vector3 start) const {
  for (int k = 0; k < 3; ++k) {
    if (IsHeld[k] || (Weight[k] > 0 && !std::isfinite(start[k]))) start[k] = Observed[k];
  }
  return start;
}

PointObservations ObservationsOf(std::span<const Ray> rays, const ControlObservation* control) {
  PointObservations point;
  point.Rays = rays;
  if (control == nullptr) return point;
  for (int k = 0; k < 3; ++k) {
    const double sigma = control->Sigma[k];
    if (!std::isfinite(control->Observed[k]) || !(sigma >= 0)) continue;
    point.Observed[k] = control->Observed[k];
    point.IsHeld[k] = sigma == 0;
    if (sigma > 0) point.Weight[k] = 1 / (sigma * sigma);
  }
  return point;
}

void SeeRays(const PointSurroundings& around, std::span<const Ray> rays, const Vector3& at,
             std::vector<PlaceRow>& rows, std::vector<double>& squares) {
  const auto rayNum = static_cast<int32_t>(rays.size());
  const auto room = static_cast<size_t>(RoundedUp(rayNum));
  if (rows.size() < room) rows.resize(room);
  if (squares.size() < room) squares.resize(room);
  const RayBatch batch = {.pTerms = around.vTerms.data(),
                          .pRays = rays.data(),
                          .nRays = rayNum,
                          .pPoint = at.data(),
                          .bCorrected = around.Of.Form == ResidualForm::Corrected,
                          .bFull = around.pPlan != nullptr};
  around.Kernels.Linearize(batch, rows.data(), squares.data());
  for (size_t r = 0; r < rays.size(); ++r) {
    if (rays[r].nImage < 0) {
      squares[r] = std::numeric_limits<double>::quiet_NaN();
    } else if (!std::isfinite(squares[r])) {
      squares[r] = LookCloser(around, rays[r], at, rows[r]);
    }
  }
}

void LinearizePlace(const PointSurroundings& around, const PointObservations& point, const Vector3& at,
                    PointPlace& place) {
  const size_t rayNum = point.Rays.size();
  place.Point = at;
  place.fCost = place.fSquares = 0;
  place.nSeen = place.nUnseen = 0;
  SeeRays(around, point.Rays, at, place.vRows, place.vWeights);
  for (size_t r = 0; r < rayNum; ++r) WeighRay(around, point.Rays[r], place, r);

  place.M = {};
  place.n = {};
  place.bInUse = place.nSeen >= 2 || point.HasControl();
  if (place.bInUse) {
    around.Kernels.SumPoint(place.vRows.data(), place.vWeights.data(), static_cast<int32_t>(rayNum),
                            place.M.data(), place.n.data());
    AddControl(point, place);
  } else {
    TakeOutOfUse(place);
  }
  place.fCost += place.nUnseen * kUnseenCost;
  place.Factor = FactorOf(place.M, point.IsHeld);
  place.Reduced = MultiplyTransposed(place.Factor.Q, place.n);
  if (std::isfinite(place.Decrease())) return;
  place.Factor = {};
  place.Reduced = {};
}

}  // namespace orvo::rigorous
