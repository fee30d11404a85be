#include "rigorous/StepSolver.h"

#include <algorithm>
#include <cmath>

#include "rigorous/WeakDirections.h"
#include "solver/sparse/Ordering.h"

namespace orvo::rigorous {
namespace {

/// Raises the diagonal of a matrix as long as it lives.
class DampedDiagonal {
 public:
  DampedDiagonal(sparse::NodeMatrix& matrix, double lambda, std::vector<double>& saved)
      : N(matrix), vSaved(saved) {
    vSaved.clear();
    ForEach([&](double& element) {
      vSaved.push_back(element);
      element = element > 0 ? element * (1 + lambda) : element == 0 ? 1 : element;
    });
  }
  ~DampedDiagonal() {
    size_t next = 0;
    ForEach([&](double& element) { element = vSaved[next++]; });
  }
  DampedDiagonal(const DampedDiagonal&) = delete;
  DampedDiagonal& operator=(const DampedDiagonal&) = delete;

 private:
  template <typename Visit>
  void ForEach(const Visit& visit) {
    const sparse::NodePattern& pattern = N.Pattern();
    for (int32_t node = 0; node < pattern.NodeNum(); ++node) {
      const std::span<double> block = N.Diagonal(node);
      const int32_t size = pattern.vSizes[node];
      for (int32_t i = 0; i < size; ++i) visit(block[static_cast<size_t>(i) * size + i]);
    }
  }

  sparse::NodeMatrix& N;
  std::vector<double>& vSaved;
};

bool AreFinite(std::span<const double> values) {
  return std::all_of(values.begin(), values.end(), [](double value) { return std::isfinite(value); });
}

}  // namespace

StepSolver::StepSolver(const sparse::NodePattern& pattern, const UnknownPlan& plan, SolverChoice choice,
                       double forcing, int32_t threads)
    : pPattern(&pattern), pPlan(&plan), eChoice(choice), fForcing(forcing), nThreads(threads) {
  if (eChoice != SolverChoice::Automatic) return;
  Analyse();
  eChoice = pSymbolic->dOperationNum <= kDirectOperations ? SolverChoice::Direct : SolverChoice::Iterative;
}

void StepSolver::Analyse() {
  const std::vector<int32_t> order = sparse::OrderNodes(*pPattern, pPlan->Border());
  pSymbolic = std::make_unique<sparse::SymbolicFactor>(sparse::AnalyseFactor(*pPattern, order));
}

StepOutcome StepSolver::Solve(ReducedEquations& equations, double lambda, std::span<const double> motions,
                              std::span<double> dx) {
  StepOutcome outcome;
  if (!AreFinite(equations.n)) return outcome;
  const DampedDiagonal damped(equations.N, lambda, vDiagonal);
  if (eChoice == SolverChoice::Iterative && SolveIteratively(equations, motions, dx, outcome.nSolverSteps)) {
    outcome.bSolved = true;
    return outcome;
  }
  outcome.nSolverSteps = 0;
  outcome.bSolved = SolveDirectly(equations, dx);
  return outcome;
}

bool StepSolver::SolveIteratively(const ReducedEquations& equations, std::span<const double> motions,
                                  std::span<double> dx, int32_t& steps) {
  if (!pIterative) {
    pIterative = std::make_unique<sparse::BorderedSolver>(equations.N, pPlan->nFirstBorder, kBlockMotionNum);
  }
  if (pIterative->Prepare(nThreads, motions) < 0) return false;
  sparse::PcgLimits limits;
  limits.dTolerance = fForcing;
  const sparse::PcgResult result = pIterative->Solve(equations.n, dx, limits, nThreads);
  steps = result.nSteps;
  return result.End == sparse::PcgEnd::Reached && AreFinite(dx);
}

bool StepSolver::SolveDirectly(const ReducedEquations& equations, std::span<double> dx) {
  if (!pSymbolic) Analyse();
  if (!pFactor) pFactor = std::make_unique<sparse::SupernodalFactor>(*pSymbolic);
  if (pFactor->Factor(equations.N)) return false;
  std::copy(equations.n.begin(), equations.n.end(), dx.begin());
  return pFactor->Solve(dx) && AreFinite(dx);
}

double QuadraticForm(const sparse::NodeMatrix& N, std::span<const double> dx) {
  const sparse::NodePattern& pattern = N.Pattern();
  const std::vector<int64_t> first = pattern.FirstUnknowns();
  double sum = 0;
  for (int32_t node = 0; node < pattern.NodeNum(); ++node) {
    const int32_t rows = pattern.vSizes[node];
    const double* x = dx.data() + first[node];
    const std::span<const double> diagonal = N.Diagonal(node);
    for (int32_t i = 0; i < rows; ++i) {
      sum += diagonal[static_cast<size_t>(i) * rows + i] * x[i] * x[i];
      for (int32_t j = i + 1; j < rows; ++j)
        sum += 2 * diagonal[static_cast<size_t>(i) * rows + j] * x[i] * x[j];
    }
    const std::span<const int32_t> behind = pattern.NeighboursBehind(node);
    for (size_t k = 0; k < behind.size(); ++k) {
      const int32_t columns = pattern.vSizes[behind[k]];
      const double* y = dx.data() + first[behind[k]];
      const std::span<const double> block = N.Behind(node, static_cast<int64_t>(k));
      for (int32_t i = 0; i < rows; ++i) {
        double row = 0;
        for (int32_t j = 0; j < columns; ++j) row += block[static_cast<size_t>(i) * columns + j] * y[j];
        sum += 2 * x[i] * row;
      }
    }
  }
  return sum;
}

}  // namespace orvo::rigorous
