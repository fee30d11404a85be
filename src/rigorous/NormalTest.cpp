#include "rigorous/NormalTest.h"

#include <cmath>
#include <numbers>

namespace orvo::rigorous {
namespace {

/// By bisection: no table is at hand, and nobody waits for it.
template <class Probability>
double Exceeded(double probability, double most, Probability of) {
  double low = 0, high = most;
  for (int32_t i = 0; i < 60; ++i) {
    const double middle = (low + high) / 2;
    (of(middle) > probability ? low : high) = middle;
  }
  return low;
}

/// That the root of a chi-square sum over three directions is above `root`.
double BeyondInThree(double root) {
  return std::erfc(root * std::sqrt(0.5)) +
         std::sqrt(2 / std::numbers::pi) * root * std::exp(-root * root / 2);
}

}  // namespace

double TwoSidedProbability(double critical) { return std::erfc(critical * std::sqrt(0.5)); }

double TwoSidedCritical(double probability) { return Exceeded(probability, 40, TwoSidedProbability); }

double AsNormal(double square, int32_t directions, double critical) {
  if (directions < 2 || !std::isfinite(critical)) return std::sqrt(square);
  const double probability = TwoSidedProbability(critical);
  // Two directions have their limit in closed form: half the square is distributed exponentially.
  const double limit =
      directions == 2 ? std::sqrt(-2 * std::log(probability)) : Exceeded(probability, 40, BeyondInThree);
  return limit > 0 && std::isfinite(limit) ? critical * std::sqrt(square) / limit : std::sqrt(square);
}

}  // namespace orvo::rigorous
