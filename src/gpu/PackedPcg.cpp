#include "gpu/PackedPcg.h"

#include <algorithm>
#include <cmath>

#include "gpu/PcgVectors.h"

namespace orvo::gpu {
namespace {

/// With a limit below this the last solution stands, not the best.
constexpr int32_t kLeastLimitForBest = 2;

}  // namespace

PackedPcgOutcome SolvePackedPcg(const PackedProduct& product, const PackedInverse& precondition,
                                const PackedDampingProduct& addDamping, std::vector<double>& r,
                                std::vector<double>& x, const PackedPcgLimits& limits,
                                const std::function<void(const PackedPcgStep&)>& onStep) {
  std::vector<double> z(x.size()), Ad(x.size()), xBest(x.size());
  precondition(r, z);
  std::vector<float> d(x.size());
  std::transform(z.begin(), z.end(), d.begin(), [](double value) { return static_cast<float>(value); });
  product.SetDirection(d);
  const double bNorm = std::sqrt(DotProduct(r, r));
  PackedPcgOutcome outcome;
  PackedPcgStep step;
  double rho = 0;
  do {
    if (!product.Multiply(Ad)) {
      outcome.bDone = false;
      return outcome;
    }
    product.AddOthers(d, Ad);
    addDamping(z, Ad);
    ComputePcgAlpha(r, z, d, Ad, rho, step.fAlpha);
    UpdatePcgSolution(step.fAlpha, d, Ad, x, r);
    step.fResidualNorm = std::sqrt(DotProduct(r, r));
    step.fEta = step.fResidualNorm / bNorm;
    if (step.fEta < outcome.fBestEta) {
      xBest = x;
      outcome.fBestEta = step.fEta;
    }
    std::fill(z.begin(), z.end(), 0.0);
    precondition(r, z);
    ComputePcgBeta(rho, r, z, step.fBeta);
    UpdatePcgDirection(step.fBeta, z, d);
    step.fDirectionProduct = DotProduct(d, Ad);
    onStep(step);
    product.SetDirection(d);
    ++outcome.nStepNum;
  } while (outcome.nStepNum < limits.nMaxStepNum && step.fEta > limits.fForcing);
  outcome.bExhausted = outcome.nStepNum == limits.nMaxStepNum && limits.nMaxStepNum >= kLeastLimitForBest;
  if (outcome.bExhausted) x = std::move(xBest);
  return outcome;
}

}  // namespace orvo::gpu
