#include "rigorous/PointPlace.h"

#include <cmath>

namespace orvo::rigorous {
namespace {

void AddToPoint(const RayRows& rows, double weight, PointPlace& place) {
  PointMatrix& M = place.M;
  for (int i = 0; i < 2; ++i) {
    const auto& J = rows.Point[i];
    const Vector3 weighted = {weight * J[0], weight * J[1], weight * J[2]};
    M[0] += weighted[0] * J[0];
    M[1] += weighted[0] * J[1];
    M[2] += weighted[0] * J[2];
    M[3] += weighted[1] * J[1];
    M[4] += weighted[1] * J[2];
    M[5] += weighted[2] * J[2];
    place.n = place.n - rows.Residual[i] * weighted;
  }
}

/// Rows and weight of one ray, and its part of the cost.
void AddRay(const PointSurroundings& around, const Ray& ray, PointPlace& place, size_t r) {
  const Estimate& estimate = around.At;
  const int32_t camera = around.Of.vImages[static_cast<size_t>(ray.nImage)].nCamera;
  static constexpr LensLayout kNone;
  const LensLayout& layout =
      around.pPlan == nullptr ? kNone : around.pPlan->vCameras[static_cast<size_t>(camera)].Layout;
  RayRows& rows = place.vRows[r];
  const RayStatus status =
      LinearizeRay(estimate.vPoses[static_cast<size_t>(ray.nImage)],
                   estimate.vCameras[static_cast<size_t>(camera)].LensNow, place.Point,
                   {static_cast<double>(ray.x), static_cast<double>(ray.y)}, around.Of.Form, layout, rows);
  const double sigma = around.Of.vCameras[static_cast<size_t>(camera)].fSigma;
  const double weight = 1 / (sigma * sigma);
  double square = 0;
  if (status == RayStatus::Good) {
    square = weight * (rows.Residual[0] * rows.Residual[0] + rows.Residual[1] * rows.Residual[1]);
  }
  if (status != RayStatus::Good || !std::isfinite(square)) {
    place.vWeights[r] = -1;
    ++place.nUnseen;
    return;
  }
  const LossValue loss = LossOf(around.Loss, square);
  place.vWeights[r] = weight * loss.Weight;
  place.fCost += loss.Value;
  place.fSquares += square;
  ++place.nSeen;
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

void LinearizePlace(const PointSurroundings& around, const PointObservations& point, const Vector3& at,
                    PointPlace& place) {
  const size_t rayNum = point.Rays.size();
  place.Point = at;
  place.fCost = place.fSquares = 0;
  place.nSeen = place.nUnseen = 0;
  if (place.vRows.size() < rayNum) place.vRows.resize(rayNum);
  place.vWeights.resize(rayNum);
  for (size_t r = 0; r < rayNum; ++r) {
    place.vWeights[r] = -1;
    if (point.Rays[r].nImage >= 0) AddRay(around, point.Rays[r], place, r);
  }

  place.M = {};
  place.n = {};
  place.bInUse = place.nSeen >= 2 || point.HasControl();
  if (place.bInUse) {
    for (size_t r = 0; r < rayNum; ++r) {
      if (place.vWeights[r] > 0) AddToPoint(place.vRows[r], place.vWeights[r], place);
    }
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
