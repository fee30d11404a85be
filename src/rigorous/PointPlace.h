// The observations of one point, and what they say of it where it stands.
#pragma once

#include <array>
#include <span>
#include <vector>

#include "rigorous/PointFactor.h"
#include "rigorous/PointKernels.h"
#include "rigorous/Problem.h"
#include "rigorous/RobustLoss.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous {

/// Cost of a ray that no residual can be computed of (in squares of standard deviations), and that is in no
/// equation: more than any measurement may cost that anybody would keep.
inline constexpr double kUnseenCost = 1e8;

/// Rays and control of a point. A component of the control with a standard deviation that is no number or
/// negative, or with an observed value that is none, is not observed.
struct PointObservations {
  std::span<const Ray> Rays;
  Vector3 Observed{}, Weight{};  ///< weight 0: not observed, or held
  std::array<bool, 3> IsHeld{};

  bool IsObserved(int k) const { return IsHeld[k] || Weight[k] > 0; }
  bool HasControl() const { return IsObserved(0) || IsObserved(1) || IsObserved(2); }
  int ControlNum() const { return (Weight[0] > 0) + (Weight[1] > 0) + (Weight[2] > 0); }
  /// With held coordinates at their values, and observed ones where `start` is no number.
  Vector3 Started(Vector3 start) const;
};

/// `control` may be null.
PointObservations ObservationsOf(std::span<const Ray> rays, const ControlObservation* control);

/// Cost, rows and normal equations of a point alone, with poses and cameras held.
struct PointPlace {
  Vector3 Point{};
  double fCost = 0, fSquares = 0;  ///< as in PointPassSums
  int32_t nSeen = 0, nUnseen = 0;  ///< rays
  bool bInUse = false;             ///< has two seen rays, or control: else all below is 0
  PointMatrix M{};                 ///< J'PJ of the point's coordinates
  Vector3 n{};                     ///< -J'P r
  PointFactor Factor;              ///< of M
  Vector3 Reduced{};               ///< Q'n
  std::vector<PlaceRow> vRows;   ///< by ray, and room for more; without meaning where its weight is negative
  std::vector<double> vWeights;  ///< of the squared residual; -1: in no equation

  /// What the quadratic model says that a step takes off the cost: n' M^-1 n.
  double Decrease() const {
    return Reduced[0] * Reduced[0] + Reduced[1] * Reduced[1] + Reduced[2] * Reduced[2];
  }
};

/// What all points have in common during a pass. Problem, estimate and plan outlive it, and poses and cameras
/// of the estimate stand still.
struct PointSurroundings {
  const Problem& Of;
  const Estimate& At;
  const UnknownPlan* pPlan;  ///< null: no rows by image and camera are needed
  RobustLoss Loss;
  std::vector<RayTerms> vTerms;
  PointKernels Kernels;

  PointSurroundings(const Problem& problem, const Estimate& estimate, const UnknownPlan* plan = nullptr,
                    const RobustLoss& loss = {});
};

/// The rays of a point at `at`: their rows, and their squared residuals by weight, which are no number where
/// a ray is left out or has no residual. There is room for more, without meaning.
void SeeRays(const PointSurroundings& around, std::span<const Ray> rays, const Vector3& at,
             std::vector<PlaceRow>& rows, std::vector<double>& squares);

/// `place` at `at`; its memory is used again.
void LinearizePlace(const PointSurroundings& around, const PointObservations& point, const Vector3& at,
                    PointPlace& place);

/// Lower in cost, with no ray out of sight that is in sight in the other.
inline bool IsBetter(const PointPlace& a, const PointPlace& b) {
  return a.fCost < b.fCost && a.nUnseen <= b.nUnseen;
}

}  // namespace orvo::rigorous
