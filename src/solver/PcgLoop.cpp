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

}  // namespace

PcgOutcome SolvePcg(BlockOperator& matrix, const BlockPreconditioner& preconditioner, const double* b,
                    double* x, const PcgLimits& limits, WorkerPool& pool,
                    const std::function<void(const PcgIteration&)>& report) {
  const auto n = static_cast<size_t>(matrix.Order());
  const int32_t panelNum = matrix.PanelNum();
  std::vector<double> storage(6 * n, 0.0);
  double* const r = storage.data();
  double* const p = r + n;
  double* const z = p + n;
  double* const q = z + n;
  double* const y = q + n;
  double* const best = y + n;
  PanelSum sumA(matrix), sumB(matrix);

  for (int32_t panel = 0; panel < panelNum; ++panel) sumA.Take(panel, b, b);
  const double bNorm = std::sqrt(sumA.Total());
  matrix.Multiply(x, y, pool);
  pool.Run(panelNum, [&](int32_t panel) {
    const UnknownRange& range = matrix.Panel(panel);
    for (int32_t i = range.nFirst; i < range.nEnd; ++i) r[i] = b[i] - y[i];
    preconditioner.Apply(panel, r, z);
    std::copy(z + range.nFirst, z + range.nEnd, p + range.nFirst);
    sumA.Take(panel, r, z);
  });
  double rho = sumA.Total();

  PcgOutcome outcome;
  PcgIteration iteration;
  iteration.fEta = outcome.fBestEta;
  while (outcome.nIterationNum < limits.nMaxIterationNum && iteration.fEta > limits.fForcing) {
    // y = N x and q = N p in one walk through the matrix.
    const Product products[] = {{x, y}, {p, q}};
    matrix.Multiply(products, pool, [&](int32_t panel) {
      sumA.Take(panel, p, q);
      sumB.Take(panel, p, p);
    });
    const double alpha = iteration.fAlpha = rho / sumA.Total();
    iteration.fDirectionNorm = std::sqrt(sumB.Total());

    // N (x + alpha p) is N x + alpha N p: the residual of the new x from two products of this iteration. Not
    // the old residual less alpha q, whose errors would pile up: the price of a forcing term that is true.
    pool.Run(panelNum, [&](int32_t panel) {
      const UnknownRange& range = matrix.Panel(panel);
      for (int32_t i = range.nFirst; i < range.nEnd; ++i) {
        x[i] += alpha * p[i];
        r[i] = b[i] - (y[i] + alpha * q[i]);
      }
      preconditioner.Apply(panel, r, z);
      sumA.Take(panel, r, r);
      sumB.Take(panel, r, z);
    });
    iteration.fResidualNorm = std::sqrt(sumA.Total());
    iteration.fEta = iteration.fResidualNorm / bNorm;
    const bool isBest = outcome.fBestEta > iteration.fEta;
    if (isBest) outcome.fBestEta = iteration.fEta;

    const double rhoOld = rho;
    rho = sumB.Total();
    const double beta = iteration.fBeta = rho / rhoOld;
    pool.Run(panelNum, [&](int32_t panel) {
      const UnknownRange& range = matrix.Panel(panel);
      if (isBest) std::copy(x + range.nFirst, x + range.nEnd, best + range.nFirst);
      for (int32_t i = range.nFirst; i < range.nEnd; ++i) p[i] = z[i] + beta * p[i];
      sumA.Take(panel, p, q);
    });
    iteration.fConjugacyLoss = sumA.Total();
    report(iteration);
    ++outcome.nIterationNum;
  }
  outcome.bExhausted =
      outcome.nIterationNum == limits.nMaxIterationNum && limits.nMaxIterationNum >= kLeastLimitForBest;
  if (outcome.bExhausted) std::copy_n(best, n, x);
  return outcome;
}

}  // namespace orvo
