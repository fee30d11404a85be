#include "rigorous/GlobalTest.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvo::rigorous {
namespace {

constexpr double kDigits = 1e-16;
constexpr int32_t kMostTerms = 10000000;

/// x^a e^-x / Gamma(a), by its logarithm; near a large a by Stirling's series, where the terms would cancel.
double Front(double a, double x) {
  if (a < 1e3) return std::exp(a * std::log(x) - x - std::lgamma(a));
  const double d = (x - a) / a;
  const double exponent = a * (std::log1p(d) - d) - 1 / (12 * a) + 1 / (360 * a * a * a);
  return std::exp(exponent) * std::sqrt(a / (2 * 3.141592653589793));
}

double LowerBySeries(double a, double x) {
  double term = 1 / a, sum = term;
  for (int32_t n = 1; n < kMostTerms && term > kDigits * sum; ++n) {
    term *= x / (a + n);
    sum += term;
  }
  return Front(a, x) * sum;
}

/// By Lentz's method.
double UpperByFraction(double a, double x) {
  constexpr double kTiny = 1e-300;
  double b = x + 1 - a, c = 1 / kTiny, d = 1 / b, h = d;
  for (int32_t n = 1; n < kMostTerms; ++n) {
    const double an = -n * (n - a);
    b += 2;
    d = an * d + b;
    if (std::abs(d) < kTiny) d = kTiny;
    c = b + an / c;
    if (std::abs(c) < kTiny) c = kTiny;
    d = 1 / d;
    const double delta = d * c;
    h *= delta;
    if (std::abs(delta - 1) < kDigits * 4) break;
  }
  return Front(a, x) * h;
}

}  // namespace

double ChiSquareProbability(double value, double freedom) {
  if (!(value > 0) || !(freedom >= 1)) return 0;
  if (std::isinf(value)) return 1;
  const double a = freedom / 2, x = value / 2;
  return x < a + 1 ? LowerBySeries(a, x) : 1 - UpperByFraction(a, x);
}

double ChiSquareQuantile(double probability, double freedom) {
  if (!(probability > 0) || !(freedom >= 1)) return 0;
  if (probability >= 1) return std::numeric_limits<double>::infinity();
  const double spread = std::sqrt(2 * freedom);
  double low = 0, high = freedom + 40 * spread + 200;
  for (int32_t i = 0; i < 200 && high - low > 1e-12 * high; ++i) {
    const double middle = (low + high) / 2;
    (ChiSquareProbability(middle, freedom) < probability ? low : high) = middle;
  }
  return (low + high) / 2;
}

GlobalTest TestGlobally(double squares, int64_t redundancy, double significance) {
  GlobalTest test;
  test.fSquares = squares;
  test.nRedundancy = redundancy;
  if (redundancy < 1 || !std::isfinite(squares) || squares < 0) return test;
  const auto freedom = static_cast<double>(redundancy);
  test.fLow = ChiSquareQuantile(significance / 2, freedom);
  test.fHigh = ChiSquareQuantile(1 - significance / 2, freedom);
  test.Outcome = squares > test.fHigh  ? TestOutcome::TooLarge
                 : squares < test.fLow ? TestOutcome::TooSmall
                                       : TestOutcome::Passed;
  return test;
}

}  // namespace orvo::rigorous
