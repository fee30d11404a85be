#include "rigorous/PointPass.h"

#include <algorithm>
#include <memory>

#include "base/Threads.h"
#include "rigorous/ChunkEquations.h"
#include "rigorous/PointElimination.h"
#include "rigorous/PointStep.h"

namespace orvo::rigorous {
namespace {

void AddPoint(const PointObservations& point, const PointPlace& place, PointPassSums& sums) {
  sums.fCost += place.fCost;
  sums.nUnseen += place.nUnseen;
  if (!place.bInUse) return;
  sums.fSquares += place.fSquares;
  sums.fPointDecrease += place.Decrease();
  sums.nRays += place.nSeen;
  for (size_t ray = 0; ray < point.Rays.size(); ++ray) {
    if (place.vWeights[ray] < 0) continue;
    for (size_t c = 0; c < 2; ++c) {
      const double v = place.vRows[ray].Residual[c];
      sums.Residuals[c] += v;
      sums.Squares[c] += v * v;
    }
  }
  sums.nControlObservations += point.ControlNum();
  const int rank = place.Factor.RankNum(), heldNum = point.IsHeld[0] + point.IsHeld[1] + point.IsHeld[2];
  sums.nPointUnknowns += rank;
  sums.nWeakPoints += rank + heldNum < 3;
}

void AddSums(const PointPassSums& from, PointPassSums& to) {
  to.fCost += from.fCost;
  to.fSquares += from.fSquares;
  to.fPointDecrease += from.fPointDecrease;
  to.nRays += from.nRays;
  for (size_t c = 0; c < 2; ++c) {
    to.Residuals[c] += from.Residuals[c];
    to.Squares[c] += from.Squares[c];
  }
  to.nUnseen += from.nUnseen;
  to.nPointUnknowns += from.nPointUnknowns;
  to.nControlObservations += from.nControlObservations;
  to.nWeakPoints += from.nWeakPoints;
}

/// Control by ascending point, for points by ascending number.
class ControlCursor {
 public:
  ControlCursor(const std::vector<ControlObservation>& control, int64_t firstPoint)
      : Next(std::ranges::lower_bound(control, firstPoint, {}, &ControlObservation::nPoint)),
        End(control.end()) {}
  const ControlObservation* Of(int64_t point) {
    while (Next != End && Next->nPoint < point) ++Next;
    return Next != End && Next->nPoint == point ? &*Next : nullptr;
  }

 private:
  std::vector<ControlObservation>::const_iterator Next, End;
};

/// What one thread needs.
class ChunkWorker {
 public:
  ChunkWorker(const PointSurroundings& around, const PointStepOptions& step)
      : pAround(&around), Stepper(around, step) {
    if (around.pPlan == nullptr) return;
    pEquations = std::make_unique<ChunkEquations>(*around.pPlan);
    pElimination = std::make_unique<PointElimination>(around, *pEquations);
  }

  /// Nothing but the points of the chunk is written of `estimate`, which is that of the surroundings.
  void Make(int64_t first, int64_t end, Estimate& estimate) {
    Sums = {};
    if (pEquations) pEquations->Clear();
    ControlCursor control(pAround->Of.vControl, first);
    for (int64_t p = first; p < end; ++p) {
      const PointObservations point = ObservationsOf(pAround->Of.RaysOf(p), control.Of(p));
      Vector3& place = estimate.vPoints[static_cast<size_t>(p)];
      const PointPlace& settled = Stepper.Settle(point, place);
      place = settled.Point;
      AddPoint(point, settled, Sums);
      if (pElimination) pElimination->Add(point, settled);
    }
  }

  void Take(PointPassSums& sums, ReducedEquations* equations) const {
    AddSums(Sums, sums);
    if (pEquations && equations != nullptr) pEquations->AddTo(*equations);
  }

 private:
  const PointSurroundings* pAround;
  PointStepper Stepper;
  std::unique_ptr<ChunkEquations> pEquations;
  std::unique_ptr<PointElimination> pElimination;
  PointPassSums Sums;
};

PointPassSums Pass(const Problem& problem, const UnknownPlan* plan, const PointChunks& chunks,
                   const PointPassOptions& options, Estimate& estimate, ReducedEquations* equations) {
  const PointSurroundings around(problem, estimate, plan, options.Loss);
  const int threads = ParallelThreadNum(chunks.Num(), options.nThreads);
  std::vector<std::unique_ptr<ChunkWorker>> workers(static_cast<size_t>(threads));
  for (auto& worker : workers) {
    worker = std::make_unique<ChunkWorker>(
        around, PointStepOptions{.nSteps = options.nPointSteps, .bIntersect = options.bIntersect});
  }
  PointPassSums sums;
  ParallelInOrder(
      chunks.Num(), threads,
      [&](int64_t c, int k) {
        const auto chunk = static_cast<size_t>(c);
        workers[static_cast<size_t>(k)]->Make(chunks.vFirst[chunk], chunks.vFirst[chunk + 1], estimate);
      },
      [&](int64_t, int k) { workers[static_cast<size_t>(k)]->Take(sums, equations); });
  return sums;
}

}  // namespace

PointPassSums StepPoints(const Problem& problem, const PointChunks& chunks, const PointPassOptions& options,
                         Estimate& estimate) {
  return Pass(problem, nullptr, chunks, options, estimate, nullptr);
}

PointPassSums PassPoints(const Problem& problem, const UnknownPlan& plan, const PointChunks& chunks,
                         const PointPassOptions& options, Estimate& estimate, ReducedEquations& equations) {
  return Pass(problem, &plan, chunks, options, estimate, &equations);
}

}  // namespace orvo::rigorous
