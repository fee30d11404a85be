// One pass over all points: each takes a guarded step of its own, then adds to the cost and to the reduced
// equations at the place where it came to stand.
// With poses and cameras held, a point is an adjustment of three unknowns. Its Gauss-Newton step from the old
// place equals the back-substitution of the joint step to first order, but follows the poses where those went
// far; points near the horizon of their rays would run away without a guard. The guard: a step is taken where
// it lessens the point's own cost and takes no ray out of sight, else shortened or damped; the old place and,
// where asked, the intersection of its rays are tried as well. So the sum of all points' costs never grows by
// the points.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "rigorous/PointChunks.h"
#include "rigorous/PointFactor.h"
#include "rigorous/PointPlace.h"
#include "rigorous/Problem.h"
#include "rigorous/ReducedEquations.h"
#include "rigorous/RobustLoss.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous {

struct PointPassOptions {
  RobustLoss Loss;          ///< of the squared normalised residual of a ray, x and y together
  int32_t nPointSteps = 1;  ///< at most, of each point on its own; further ones only where one was damped
  bool bIntersect = false;  ///< try a new intersection of its rays as well; else only where no step helps
  int32_t nThreads = 1;
};

struct PointPassSums {
  double fCost = 0;     ///< losses of all rays, squares of control, kUnseenCost for rays without residual
  double fSquares = 0;  ///< the same without the losses: plain squares of the rays in use, and of control
  /// What the quadratic model says that a further step of the points alone takes off fCost, in squares: the
  /// sum of n'M^-1 n over the points, with their own M = J'PJ and n = -J'P r.
  double fPointDecrease = 0;
  int64_t nRays = 0;                 ///< in use
  Vector2 Residuals{}, Squares{};    ///< of these, x and y: sums, unit of the measurements
  int64_t nUnseen = 0;               ///< rays without residual
  int64_t nPointUnknowns = 0;        ///< coordinates that are determined
  int64_t nControlObservations = 0;  ///< single observed coordinates, held ones not counted
  int64_t nWeakPoints = 0;           ///< with a direction that is not determined
};

/// Moves `estimate.vPoints` and sums up. Held coordinates get their observed values, and so do observed ones
/// that are no numbers; points that are no place begin from the intersection of their rays. The same bits for
/// any number of threads. Rays of a point that stands behind its camera, or whose prediction has no place in
/// the image, are unseen; points with fewer than two seen rays and without control add nothing but the cost
/// of unseen rays and are no weak points.
PointPassSums StepPoints(const Problem& problem, const PointChunks& chunks, const PointPassOptions& options,
                         Estimate& estimate);

/// The same, and adds the equations at the new places.
PointPassSums PassPoints(const Problem& problem, const UnknownPlan& plan, const PointChunks& chunks,
                         const PointPassOptions& options, Estimate& estimate, ReducedEquations& equations);

}  // namespace orvo::rigorous
