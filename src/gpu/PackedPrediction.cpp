#include "gpu/PackedPrediction.h"

#include <algorithm>

namespace orvo::gpu {

std::optional<double> PredictPackedDecrease(const UndampedEquations& equations, const std::vector<double>& x,
                                            const DecreaseLimits& limits) {
  const size_t n = x.size();
  const PackedProduct& product = equations.Product;
  std::vector<float> d(n);
  std::vector<double> Ad(n), from(n), z(n), remainder(n);
  bool done = true;
  const auto multiply = [&](const double* p, double* q) {
    std::transform(p, p + n, d.begin(), [](double value) { return static_cast<float>(value); });
    product.SetDirection(d);
    done = done && product.Multiply(Ad);
    product.AddOthers(d, Ad);
    std::copy(Ad.begin(), Ad.end(), q);
  };
  const auto precondition = [&](const double* r, double* to) {
    from.assign(r, r + n);
    std::fill(z.begin(), z.end(), 0.0);
    equations.Precondition(from, z);
    std::copy(z.begin(), z.end(), to);
  };
  multiply(x.data(), remainder.data());
  for (size_t i = 0; i < n; ++i) remainder[i] = equations.vRightSide[i] - remainder[i];
  equations.RemoveDatum(remainder);
  const double decrease = PredictedDecrease(std::move(remainder), limits, multiply, precondition);
  return done ? std::optional(decrease) : std::nullopt;
}

}  // namespace orvo::gpu
