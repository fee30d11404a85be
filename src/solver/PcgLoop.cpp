#include "solver/PcgLoop.h"

#include <algorithm>
#include <cmath>
#include <vector>

namespace orvo {
namespace {

constexpr int32_t kLeastLimitForBest = 3;

/// A sum over all unknowns, taken panel by panel, so that it does not depend on who sums which panel.
class PanelSum {
 public:
  explicit PanelSum(int32_t panelNum) : vParts(static_cast<size_t>(panelNum)) {}
  void Take(int32_t panel, const UnknownRange& unknowns, const double* a, const double* b) {
    double sum = 0.0;
    for (int32_t i = unknowns.nFirst; i < unknowns.nEnd; ++i) sum += a[i] * b[i];
    vParts[static_cast<size_t>(panel)] = sum;
  }
  double Total() const {
    double sum = 0.0;
    for (const double part : vParts) sum += part;
    return sum;
  }

 private:
  std::vector<double> vParts;
};

}  // namespace

PcgOutcome SolvePcg(BlockOperator& matrix, const BlockPreconditioner& preconditioner, const double* b,
                    double* x, const PcgLimits& limits, WorkerPool& pool,
                    const std::function<void(const PcgIteration&)>& report) {
  const auto n = static_cast<size_t>(matrix.Order());
  const int32_t panelNum = matrix.PanelNum();
  std::vector<double> storage(5 * n, 0.0);
  double* const r = storage.data();
  double* const p = r + n;
  double* const z = p + n;
  double* const q = z + n;
  double* const best = q + n;
  PanelSum sumA(panelNum), sumB(panelNum);

  // r = b - N x and z = M^-1 r, with the sums r . r and r . z.
  const auto computeResidual = [&] {
    matrix.Multiply(x, r, pool, [&](int32_t panel) {
      const UnknownRange& range = matrix.Panel(panel);
      for (int32_t i = range.nFirst; i < range.nEnd; ++i) r[i] = b[i] - r[i];
      preconditioner.Apply(panel, r, z);
      sumA.Take(panel, range, r, r);
      sumB.Take(panel, range, r, z);
    });
  };

  for (int32_t panel = 0; panel < panelNum; ++panel) sumA.Take(panel, matrix.Panel(panel), b, b);
  const double bNorm = std::sqrt(sumA.Total());
  computeResidual();
  std::copy_n(z, n, p);
  double rho = sumB.Total();

  PcgOutcome outcome;
  PcgIteration iteration;
  iteration.fEta = outcome.fBestEta;
  while (outcome.nIterationNum < limits.nMaxIterationNum && iteration.fEta > limits.fForcing) {
    matrix.Multiply(p, q, pool, [&](int32_t panel) {
      sumA.Take(panel, matrix.Panel(panel), p, q);
      sumB.Take(panel, matrix.Panel(panel), p, p);
    });
    const double alpha = iteration.fAlpha = rho / sumA.Total();
    iteration.fDirectionNorm = std::sqrt(sumB.Total());
    pool.Run(panelNum, [&](int32_t panel) {
      const UnknownRange& range = matrix.Panel(panel);
      for (int32_t i = range.nFirst; i < range.nEnd; ++i) x[i] += alpha * p[i];
    });

    // Not r - alpha q: the second product is the price of a forcing term that is true.
    computeResidual();
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
      sumA.Take(panel, range, p, q);
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
