// The least-squares adjustment of a problem: damped Gauss-Newton iterations on images, strips and cameras,
// with points that step for themselves. Damping after Nielsen, Damping parameter in Marquardt's method
// (1999): lambda times the diagonal of N, from 1e-6. The end is statistical: with dx'N dx <= (0.01 s0)^2 no
// linear function of the unknowns would change by more than 1 % of its own standard deviation.
#pragma once

#include <cstdint>
#include <functional>
#include <memory>
#include <vector>

#include "rigorous/PointPass.h"
#include "rigorous/Problem.h"
#include "rigorous/StepSolver.h"

namespace orvo::rigorous {

struct AdjustOptions {
  RobustLoss Loss;
  int32_t nMaxIterations = 50;
  double fStop = 0.01;  ///< part of a standard deviation
  double fFirstDamping = 1e-6;
  double fForcing = 3e-4;  ///< of the iterative solver: part of the constant vector that may remain
  SolverChoice Solver = SolverChoice::Automatic;
  int32_t nThreads = 1;
};

struct AdjustIteration {
  int32_t nIteration = 0;
  bool bAccepted = false;
  double fCost = 0;          ///< after it; of the trial where rejected
  double fGain = 0;          ///< decrease against that of the model
  double fDamping = 0;       ///< lambda in it
  double fStep = 0;          ///< sqrt(dx'N dx) / s0
  int32_t nSolverSteps = 0;  ///< 0: direct
  double fSeconds = 0;
  PointPassSums Points;
};

enum class AdjustEnd : uint8_t {
  Converged,
  Stalled,       ///< no damping brings the cost down any more, before the statistical stop
  Limit,         ///< nMaxIterations
  NotFinite,     ///< the start gives no finite cost
  NoRedundancy,  ///< fewer observations than unknowns
  NotSolvable,   ///< the damped equations can't be solved
  Cancelled
};

struct AdjustResult {
  AdjustEnd End = AdjustEnd::Limit;
  std::vector<AdjustIteration> vIterations;
  double fCost = 0, fSquares = 0;
  int64_t nObservations = 0, nUnknowns = 0;  ///< single values
  int32_t nDatumDefect = 0;                  ///< motions of the whole block that nothing holds
  int64_t Redundancy() const { return nObservations - nUnknowns + nDatumDefect; }
  double fSigma0 = 0;  ///< sqrt(squares / redundancy)
};

using IterationObserver = std::function<bool(const AdjustIteration&)>;

/// Keeps the analysis of a problem, so that it can be adjusted again: from another start, with another loss,
/// or with rays that have been left out since (Ray::nImage below 0).
class Adjuster {
 public:
  /// `problem` has to outlive this. Its rays may lose their images, but get no others.
  Adjuster(const Problem& problem, const AdjustOptions& options);
  ~Adjuster();
  Adjuster(const Adjuster&) = delete;
  Adjuster& operator=(const Adjuster&) = delete;

  /// From `estimate`, which becomes the result: the last accepted one. `observer` sees each iteration as it
  /// ends and says whether to go on; it may be empty.
  AdjustResult Run(Estimate& estimate, const RobustLoss& loss, int32_t maxIterations,
                   const IterationObserver& observer = {});
  /// The undamped equations of an estimate, whose points step to their minimum first, without losses.
  ReducedEquations& EquationsAt(Estimate& estimate);
  const PointChunks& Chunks() const;
  const UnknownPlan& Plan() const;

 private:
  struct Workshop;
  std::unique_ptr<Workshop> pWorkshop;
};

/// One run with the loss and the limit of the options.
AdjustResult Adjust(const Problem& problem, const AdjustOptions& options, Estimate& estimate,
                    const IterationObserver& observer = {});

}  // namespace orvo::rigorous
