// Solves the damped reduced equations for one step, iteratively or by a factor.
#pragma once

#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "rigorous/ReducedEquations.h"
#include "rigorous/UnknownPlan.h"
#include "solver/sparse/BorderedSolver.h"
#include "solver/sparse/SupernodalFactor.h"

namespace orvo::rigorous {

enum class SolverChoice : uint8_t {
  Automatic,  ///< by a factor up to kDirectOperations, and where the iterations do not end
  Iterative,  ///< a factor only where the iterations do not end
  Direct
};

/// Multiplications of a factor that costs less than the passes over the points of as many images.
inline constexpr double kDirectOperations = 1e10;

struct StepOutcome {
  bool bSolved = false;
  int32_t nSolverSteps = 0;  ///< of the iterations; 0: by a factor
};

/// Keeps the analysis of the pattern and the memory of the factor from one step to the next.
class StepSolver {
 public:
  /// `pattern` and `plan` have to outlive this.
  StepSolver(const sparse::NodePattern& pattern, const UnknownPlan& plan, SolverChoice choice, double forcing,
             int32_t threads);

  /// dx of (N + lambda diag N) dx = n, in the order of the nodes. N is as it was when this returns. A
  /// diagonal element that is 0 counts as 1, so that an unknown of which nothing tells does not move.
  /// `motions` are those of the block as a whole (FreeDirections), which make the iterations few; without
  /// them there are more.
  StepOutcome Solve(ReducedEquations& equations, double lambda, std::span<const double> motions,
                    std::span<double> dx);
  /// Whether motions are of use.
  bool IsIterative() const { return eChoice == SolverChoice::Iterative; }

 private:
  bool SolveIteratively(const ReducedEquations& equations, std::span<const double> motions,
                        std::span<double> dx, int32_t& steps);
  void Analyse();
  bool SolveDirectly(const ReducedEquations& equations, std::span<double> dx);

  const sparse::NodePattern* pPattern;
  const UnknownPlan* pPlan;
  SolverChoice eChoice;
  double fForcing;
  int32_t nThreads;
  std::vector<double> vDiagonal;
  std::unique_ptr<sparse::BorderedSolver> pIterative;
  std::unique_ptr<sparse::SymbolicFactor> pSymbolic;
  std::unique_ptr<sparse::SupernodalFactor> pFactor;
};

/// dx'N dx.
double QuadraticForm(const sparse::NodeMatrix& N, std::span<const double> dx);

}  // namespace orvo::rigorous
