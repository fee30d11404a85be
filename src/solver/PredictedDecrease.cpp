#include "solver/PredictedDecrease.h"

#include <cmath>

namespace orvo {
namespace {

/// Gains of this many steps in a row below this share of the limit end the search.
constexpr int32_t kIdleSteps = 3;
constexpr double kIdleShare = 0.025;

double Dot(const std::vector<double>& a, const std::vector<double>& b) {
  double sums[4] = {};
  size_t i = 0;
  for (; i + 4 <= a.size(); i += 4) {
    for (size_t k = 0; k < 4; ++k) sums[k] += a[i + k] * b[i + k];
  }
  for (; i < a.size(); ++i) sums[0] += a[i] * b[i];
  return sums[0] + sums[1] + sums[2] + sums[3];
}

}  // namespace

double PredictedDecrease(std::vector<double> r, const DecreaseLimits& limits,
                         const std::function<void(const double* p, double* q)>& multiply,
                         const std::function<void(const double* r, double* z)>& precondition) {
  const size_t n = r.size();
  std::vector<double> z(n), q(n), p(n);
  precondition(r.data(), z.data());
  p = z;
  double rho = Dot(r, z), sum = 0;
  if (!std::isfinite(rho)) return rho;
  int32_t idle = 0;
  for (int32_t step = 0; step < limits.nMaxStepNum && rho > 0; ++step) {
    multiply(p.data(), q.data());
    const double curvature = Dot(p, q);
    if (!(curvature > 0)) break;
    const double alpha = rho / curvature;
    const double gain = alpha * rho;
    sum += gain;
    if (!(sum <= limits.fEnough)) break;
    idle = gain < kIdleShare * limits.fEnough ? idle + 1 : 0;
    if (idle == kIdleSteps) break;
    for (size_t i = 0; i < n; ++i) r[i] -= alpha * q[i];
    precondition(r.data(), z.data());
    const double rhoNew = Dot(r, z);
    const double beta = rhoNew / rho;
    for (size_t i = 0; i < n; ++i) p[i] = z[i] + beta * p[i];
    rho = rhoNew;
  }
  return sum;
}

}  // namespace orvo
