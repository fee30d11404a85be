#include "solver/PcgLoop.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace orvo {
namespace {

constexpr int32_t kLeastLimitForBest = 3;

double Dot(const double* a, const double* b, const UnknownRange& unknowns) {
  // Sums side by side: one alone would wait for each addition.
  constexpr int32_t kSums = 8;
  double sums[kSums] = {};
  int32_t i = unknowns.nFirst;
  for (; i + kSums <= unknowns.nEnd; i += kSums) {
    for (int32_t k = 0; k < kSums; ++k) sums[k] += a[i + k] * b[i + k];
  }
  for (; i < unknowns.nEnd; ++i) sums[0] += a[i] * b[i];
  double total = 0.0;
  for (const double sum : sums) total += sum;
  return total;
}

/// A sum over all unknowns, taken panel by panel, so that it does not depend on who sums which panel.
class PanelSum {
 public:
  explicit PanelSum(const BlockOperator& matrix)
      : Matrix(matrix), vParts(static_cast<size_t>(matrix.PanelNum())) {}
  void Take(int32_t panel, const double* a, const double* b) {
    vParts[static_cast<size_t>(panel)] = Dot(a, b, Matrix.Panel(panel));
  }
  double Total() const {
    double sum = 0.0;
    for (const double part : vParts) sum += part;
    return sum;
  }

 private:
  const BlockOperator& Matrix;
  std::vector<double> vParts;
};

/// The vectors of the loop, and the passes over them.
class PcgPasses {
 public:
  PcgPasses(BlockOperator& matrix, const BlockPreconditioner& preconditioner, const double* right,
            double* solution, WorkerPool& pool)
      : Matrix(matrix),
        Preconditioner(preconditioner),
        Pool(pool),
        b(right),
        x(solution),
        vStorage(6 * static_cast<size_t>(matrix.Order()), 0.0),
        sumA(matrix),
        sumB(matrix) {
    const auto n = static_cast<size_t>(matrix.Order());
    r = vStorage.data();
    p = r + n;
    z = p + n;
    q = z + n;
    y = q + n;
    best = y + n;
  }

  double RightSideNorm() {
    for (int32_t panel = 0; panel < Matrix.PanelNum(); ++panel) sumA.Take(panel, b, b);
    return std::sqrt(sumA.Total());
  }

  /// The residual of the start and the first direction; r z.
  double Begin() {
    Matrix.Multiply(x, y, Pool);
    Pool.Run(Matrix.PanelNum(), [&](int32_t panel) {
      const UnknownRange& range = Matrix.Panel(panel);
      for (int32_t i = range.nFirst; i < range.nEnd; ++i) r[i] = b[i] - y[i];
      Preconditioner.Apply(panel, r, z);
      std::copy(z + range.nFirst, z + range.nEnd, p + range.nFirst);
      sumA.Take(panel, r, z);
    });
    return sumA.Total();
  }

  /// y = N x and q = N p in one walk through the matrix; p q, and p p in `directionSquare`.
  double Multiply(double& directionSquare) {
    const Product products[] = {{x, y}, {p, q}};
    Matrix.Multiply(products, Pool, [&](int32_t panel) {
      sumA.Take(panel, p, q);
      sumB.Take(panel, p, p);
    });
    directionSquare = sumB.Total();
    return sumA.Total();
  }

  /// x += alpha p, with its residual; r z, and r r in `residualSquare`.
  ///
  /// N (x + alpha p) is N x + alpha N p: the residual of the new x from two products of this iteration. Not
  /// the old residual less alpha q, whose errors would pile up: the price of a forcing term that is true.
  double Step(double alpha, double& residualSquare) {
    Pool.Run(Matrix.PanelNum(), [&](int32_t panel) {
      const UnknownRange& range = Matrix.Panel(panel);
      for (int32_t i = range.nFirst; i < range.nEnd; ++i) {
        x[i] += alpha * p[i];
        r[i] = b[i] - (y[i] + alpha * q[i]);
      }
      Preconditioner.Apply(panel, r, z);
      sumA.Take(panel, r, r);
      sumB.Take(panel, r, z);
    });
    residualSquare = sumA.Total();
    return sumB.Total();
  }

  /// The next direction, z + beta p; its product with q. Keeps x where it is the best so far.
  double Turn(double beta, bool isBest) {
    Pool.Run(Matrix.PanelNum(), [&](int32_t panel) {
      const UnknownRange& range = Matrix.Panel(panel);
      if (isBest) std::copy(x + range.nFirst, x + range.nEnd, best + range.nFirst);
      for (int32_t i = range.nFirst; i < range.nEnd; ++i) p[i] = z[i] + beta * p[i];
      sumA.Take(panel, p, q);
    });
    return sumA.Total();
  }

  void TakeBest() { std::copy_n(best, Matrix.Order(), x); }

 private:
  BlockOperator& Matrix;
  const BlockPreconditioner& Preconditioner;
  WorkerPool& Pool;
  const double* b;
  double* x;
  std::vector<double> vStorage;
  double *r, *p, *z, *q, *y, *best;
  PanelSum sumA, sumB;
};

}  // namespace

PcgOutcome SolvePcg(BlockOperator& matrix, const BlockPreconditioner& preconditioner, const double* b,
                    double* x, const PcgLimits& limits, WorkerPool& pool,
                    const std::function<void(const PcgIteration&)>& report) {
  PcgPasses passes(matrix, preconditioner, b, x, pool);
  const double bNorm = passes.RightSideNorm();
  double rho = passes.Begin();

  PcgOutcome outcome;
  PcgIteration iteration;
  iteration.fEta = outcome.fBestEta;
  while (outcome.nIterationNum < limits.nMaxIterationNum && iteration.fEta > limits.fForcing) {
    double directionSquare = 0, residualSquare = 0;
    iteration.fAlpha = rho / passes.Multiply(directionSquare);
    iteration.fDirectionNorm = std::sqrt(directionSquare);

    const double rhoOld = rho;
    rho = passes.Step(iteration.fAlpha, residualSquare);
    iteration.fResidualNorm = std::sqrt(residualSquare);
    iteration.fEta = iteration.fResidualNorm / bNorm;
    const bool isBest = outcome.fBestEta > iteration.fEta;
    if (isBest) outcome.fBestEta = iteration.fEta;

    iteration.fBeta = rho / rhoOld;
    iteration.fConjugacyLoss = passes.Turn(iteration.fBeta, isBest);
    report(iteration);
    ++outcome.nIterationNum;
  }
  outcome.bExhausted =
      outcome.nIterationNum == limits.nMaxIterationNum && limits.nMaxIterationNum >= kLeastLimitForBest;
  if (outcome.bExhausted) passes.TakeBest();
  return outcome;
}

}  // namespace orvo
