#include "gpu/PcgVectors.h"

#include <cstddef>

namespace orvo::gpu {
namespace {

/// Four running sums, so that one addition does not wait for the one before.
template <typename T>
double Dot(const T* a, const double* b, size_t n) {
  double sum[4] = {};
  size_t k = 0;
  for (; k + 4 <= n; k += 4) {
    for (size_t lane = 0; lane < 4; ++lane) sum[lane] += static_cast<double>(a[k + lane]) * b[k + lane];
  }
  for (; k < n; ++k) sum[0] += static_cast<double>(a[k]) * b[k];
  return (sum[0] + sum[1]) + (sum[2] + sum[3]);
}

}  // namespace

double DotProduct(const std::vector<double>& a, const std::vector<double>& b) {
  return Dot(a.data(), b.data(), a.size());
}
double DotProduct(const std::vector<float>& a, const std::vector<double>& b) {
  return Dot(a.data(), b.data(), a.size());
}

int ComputePcgAlpha(const std::vector<double>& r, const std::vector<double>& z, const std::vector<float>& d,
                    const std::vector<double>& Ad, double& rho, double& alpha) {
  rho = DotProduct(r, z);
  const double curvature = DotProduct(d, Ad);
  if (curvature == 0.0) return 0;
  alpha = rho / curvature;
  return 1;
}

void UpdatePcgSolution(double alpha, const std::vector<float>& d, const std::vector<double>& Ad,
                       std::vector<double>& x, std::vector<double>& r) {
  for (size_t k = 0; k < x.size(); ++k) {
    x[k] += alpha * static_cast<double>(d[k]);
    r[k] -= alpha * Ad[k];
  }
}

int ComputePcgBeta(double rho, const std::vector<double>& r, const std::vector<double>& z, double& beta) {
  if (rho == 0.0) return 0;
  beta = DotProduct(r, z) / rho;
  return 1;
}

void UpdatePcgDirection(double beta, const std::vector<double>& z, std::vector<float>& d) {
  for (size_t k = 0; k < d.size(); ++k) {
    d[k] = static_cast<float>(beta * static_cast<double>(d[k]) + z[k]);
  }
}

}  // namespace orvo::gpu
