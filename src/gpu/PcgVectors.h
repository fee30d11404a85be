// The vector steps of the conjugate gradients on the device path. Sums are in double; the search direction
// is single precision, since the device takes it.
#pragma once

#include <vector>

namespace orvo::gpu {

/// rho = r . z and alpha = rho / (d . Ad). 0, with alpha left as it was, when d . Ad is exactly 0; else 1.
int ComputePcgAlpha(const std::vector<double>& r, const std::vector<double>& z, const std::vector<float>& d,
                    const std::vector<double>& Ad, double& rho, double& alpha);

/// x += alpha d, r -= alpha Ad
void UpdatePcgSolution(double alpha, const std::vector<float>& d, const std::vector<double>& Ad,
                       std::vector<double>& x, std::vector<double>& r);

/// beta = (r . z) / rho. 0, with beta left as it was, when rho is exactly 0; else 1.
int ComputePcgBeta(double rho, const std::vector<double>& r, const std::vector<double>& z, double& beta);

/// d = beta d + z, formed in double
void UpdatePcgDirection(double beta, const std::vector<double>& z, std::vector<float>& d);

double DotProduct(const std::vector<double>& a, const std::vector<double>& b);
double DotProduct(const std::vector<float>& a, const std::vector<double>& b);

}  // namespace orvo::gpu
