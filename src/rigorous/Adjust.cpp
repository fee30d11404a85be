#include "rigorous/Adjust.h"

#include <algorithm>
#include <chrono>
#include <cmath>
#include <numeric>
#include <utility>

#include "rigorous/FreeDatum.h"
#include "rigorous/NielsenDamping.h"
#include "rigorous/OwnObservations.h"
#include "rigorous/WeakDirections.h"

namespace orvo::rigorous {
namespace {

/// Iterations in which points may leave their places for a new intersection: poses still move far in them.
constexpr int32_t kIntersectingIterations = 2;
/// Steps of points that nothing else follows.
constexpr int32_t kPointStepsAlone = 10;
/// Damping above which a small step says nothing about the distance of the minimum.
constexpr double kFreeDamping = 1e-3;
/// Part of the cost that rounding may hide.
constexpr double kRounding = 1e-13;

double SecondsSince(std::chrono::steady_clock::time_point begin) {
  return std::chrono::duration<double>(std::chrono::steady_clock::now() - begin).count();
}

/// Cost and counts of an estimate.
struct Level {
  PointPassSums Points;
  OwnSums Own;

  double Cost() const { return Points.fCost + Own.fSquares; }
  double Squares() const { return Points.fSquares + Own.fSquares; }
  int64_t Observations() const { return 2 * Points.nRays + Points.nControlObservations + Own.nObservations; }
};

/// What stays from one run to the next.
struct Parts {
  Parts(const Problem& problem, const AdjustOptions& options)
      : In(problem),
        Options(options),
        Plan(PlanUnknowns(problem)),
        Chunks(ChunksOf(problem)),
        Pattern(PatternOf(problem, Plan)),
        Equations(Pattern),
        Solver(Pattern, Plan, options.Solver, options.fForcing, options.nThreads),
        vStep(static_cast<size_t>(Plan.UnknownNum())),
        Damping(options.fFirstDamping) {}

  const Problem& In;
  const AdjustOptions Options;
  const UnknownPlan Plan;
  const PointChunks Chunks;
  const sparse::NodePattern Pattern;
  ReducedEquations Equations;
  StepSolver Solver;
  std::vector<double> vStep;
  /// What the last run had learnt.
  NielsenDamping Damping;
  LossForm LastForm = LossForm::None;
  bool bLastWasCut = false, bLastWasRejected = false;

  /// Where a run goes on with another: after a step that was not taken, or with least squares after least
  /// squares, whose weak directions the first damping would hold back again.
  bool DampingStandsFor(const RobustLoss& loss) const {
    const bool plain = loss.Form == LossForm::None && LastForm == LossForm::None;
    return bLastWasCut && (bLastWasRejected || plain);
  }
};

/// One run, in the workshop of its adjuster.
class Adjustment {
 public:
  Adjustment(Parts& parts, Estimate& estimate, const RobustLoss& loss)
      : P(parts),
        Now(estimate),
        Loss(loss),
        Damping(parts.DampingStandsFor(loss) ? parts.Damping : NielsenDamping(parts.Options.fFirstDamping)) {}

  AdjustResult Run(int32_t maxIterations, const IterationObserver& observer);

 private:
  PointPassOptions PassOptions(bool last) const;
  Level BuildEquations(Estimate& estimate);
  Level LookAt(Estimate& estimate);
  void Stand(const Level& level);
  double Variance() const;
  bool Begin();
  bool Iterate(AdjustIteration& line);
  bool Solve(AdjustIteration& line);
  void Try(bool last, double predicted, AdjustIteration& line);

  Parts& P;
  Estimate& Now;
  RobustLoss Loss;
  NielsenDamping Damping;
  Level At;
  AdjustResult Result;
  int32_t nIteration = 0;
  bool bEquationsStand = false;  ///< those of Now; a rejected trial takes them away
};

PointPassOptions Adjustment::PassOptions(bool last) const {
  PointPassOptions pass;
  pass.Loss = Loss;
  pass.bIntersect = nIteration < kIntersectingIterations;
  pass.nPointSteps = last || P.Plan.UnknownNum() == 0 ? kPointStepsAlone : 1;
  pass.nThreads = P.Options.nThreads;
  return pass;
}

Level Adjustment::BuildEquations(Estimate& estimate) {
  P.Equations.SetZero();
  Level level;
  level.Points = PassPoints(P.In, P.Plan, P.Chunks, PassOptions(false), estimate, P.Equations);
  level.Own = AddOwnObservations(P.In, P.Plan, estimate, P.Equations);
  return level;
}

Level Adjustment::LookAt(Estimate& estimate) {
  Level level;
  level.Points = StepPoints(P.In, P.Chunks, PassOptions(true), estimate);
  level.Own = SumOwnObservations(P.In, estimate);
  return level;
}

void Adjustment::Stand(const Level& level) {
  At = level;
  Result.fCost = At.Cost();
  Result.fSquares = At.Squares();
  Result.nObservations = At.Observations();
  Result.nUnknowns = P.Plan.UnknownNum() + At.Points.nPointUnknowns;
  const auto redundancy = static_cast<double>(Result.Redundancy());
  Result.fSigma0 = redundancy > 0 ? std::sqrt(Result.fSquares / redundancy) : 0;
}

/// Of a value of standard deviation 1, from the residuals; 1 where they say nothing.
double Adjustment::Variance() const {
  const double variance = Result.fCost / static_cast<double>(std::max<int64_t>(Result.Redundancy(), 1));
  return Result.Redundancy() > 0 && variance > 0 ? variance : 1;
}

/// False where there is nothing to iterate, and why.
bool Adjustment::Begin() {
  const Level start = BuildEquations(Now);
  Result.nDatumDefect = FreeDatumOf(P.In, P.Plan, Now, P.Equations).nDefect;
  Stand(start);
  bEquationsStand = true;
  Result.End = !std::isfinite(Result.fCost) ? AdjustEnd::NotFinite : AdjustEnd::NoRedundancy;
  return std::isfinite(Result.fCost) && Result.Redundancy() >= 0;
}

bool Adjustment::Solve(AdjustIteration& line) {
  if (!bEquationsStand) {
    Stand(BuildEquations(Now));
    bEquationsStand = true;
  }
  std::vector<double> motions;
  if (P.Solver.IsIterative()) motions = FreeDirections(P.In, P.Plan, Now);
  const StepOutcome outcome = P.Solver.Solve(P.Equations, Damping.Lambda(), motions, P.vStep);
  line.nSolverSteps = outcome.nSolverSteps;
  return outcome.bSolved;
}

/// One step; true where it was the last.
bool Adjustment::Iterate(AdjustIteration& line) {
  line.nIteration = ++nIteration;
  line.fDamping = Damping.Lambda();
  if (!Solve(line)) {
    Damping.Reject();
    Result.End = AdjustEnd::NotSolvable;
    return Damping.IsExhausted();
  }
  const double length = QuadraticForm(P.Equations.N, P.vStep);
  const double along = std::inner_product(P.vStep.begin(), P.vStep.end(), P.Equations.n.begin(), 0.0);
  line.fStep = std::sqrt(std::max(length, 0.0) / Variance());
  const bool last = line.fDamping <= kFreeDamping && line.fStep <= P.Options.fStop;
  Try(last, 2 * along - length + At.Points.fPointDecrease, line);
  Result.End = last ? AdjustEnd::Converged : AdjustEnd::Stalled;
  return last || Damping.IsExhausted();
}

/// Goes to where the step leads, if that is better.
void Adjustment::Try(bool last, double predicted, AdjustIteration& line) {
  Estimate trial = Now;
  ApplyCorrections(P.In, P.Plan, P.vStep, trial);
  const Level level = last ? LookAt(trial) : BuildEquations(trial);
  line.fCost = level.Cost();
  line.Points = level.Points;
  const double decrease = Result.fCost - line.fCost;
  line.fGain = predicted > 0 ? decrease / predicted : 0;
  line.bAccepted = decrease > 0 || std::abs(decrease) <= kRounding * Result.fCost;
  bEquationsStand = line.bAccepted && !last;
  if (!line.bAccepted) {
    Damping.Reject();
    return;
  }
  Damping.Accept(line.fGain);
  Now = std::move(trial);
  Stand(level);
}

AdjustResult Adjustment::Run(int32_t maxIterations, const IterationObserver& observer) {
  bool ended = !Begin();
  for (int32_t i = 0; !ended && i < maxIterations; ++i) {
    AdjustIteration line;
    const auto begin = std::chrono::steady_clock::now();
    ended = Iterate(line);
    line.fSeconds = SecondsSince(begin);
    Result.vIterations.push_back(line);
    if (!ended) Result.End = AdjustEnd::Limit;
    if (observer && !observer(line) && !ended) {
      Result.End = AdjustEnd::Cancelled;
      ended = true;
    }
  }
  P.bLastWasCut = Result.End == AdjustEnd::Limit && !Result.vIterations.empty();
  P.bLastWasRejected = P.bLastWasCut && !Result.vIterations.back().bAccepted;
  P.LastForm = Loss.Form;
  P.Damping = Damping;
  return Result;
}

}  // namespace

struct Adjuster::Workshop : Parts {
  using Parts::Parts;
};

Adjuster::Adjuster(const Problem& problem, const AdjustOptions& options)
    : pWorkshop(std::make_unique<Workshop>(problem, options)) {}

Adjuster::~Adjuster() = default;

AdjustResult Adjuster::Run(Estimate& estimate, const RobustLoss& loss, int32_t maxIterations,
                           const IterationObserver& observer) {
  return Adjustment(*pWorkshop, estimate, loss).Run(maxIterations, observer);
}

ReducedEquations& Adjuster::EquationsAt(Estimate& estimate) {
  Parts& P = *pWorkshop;
  PointPassOptions pass;
  pass.nPointSteps = kPointStepsAlone;
  pass.nThreads = P.Options.nThreads;
  P.Equations.SetZero();
  PassPoints(P.In, P.Plan, P.Chunks, pass, estimate, P.Equations);
  AddOwnObservations(P.In, P.Plan, estimate, P.Equations);
  return P.Equations;
}

const PointChunks& Adjuster::Chunks() const { return pWorkshop->Chunks; }

const UnknownPlan& Adjuster::Plan() const { return pWorkshop->Plan; }

AdjustResult Adjust(const Problem& problem, const AdjustOptions& options, Estimate& estimate,
                    const IterationObserver& observer) {
  return Adjuster(problem, options).Run(estimate, options.Loss, options.nMaxIterations, observer);
}

}  // namespace orvo::rigorous
