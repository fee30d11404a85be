#include "synthetic/PortableMath.h"

#include <cmath>

namespace orvo {
namespace {

double SineSeries(double r) {
  const double q = r * r;
  const double sum =
      -1.0 / 6 +
      q * (1.0 / 120 +
           q * (-1.0 / 5040 +
                q * (1.0 / 362880 + q * (-1.0 / 39916800 + q * (1.0 / 6227020800.0 - q / 1307674368000.0)))));
  return r + r * q * sum;
}

double CosineSeries(double r) {
  const double q = r * r;
  const double sum =
      1.0 / 24 +
      q * (-1.0 / 720 +
           q * (1.0 / 40320 + q * (-1.0 / 3628800 + q * (1.0 / 479001600 + q * (-1.0 / 87178291200.0 +
                                                                                q / 20922789888000.0)))));
  return 1.0 - 0.5 * q + q * q * sum;
}

}  // namespace

SineCosine PortableSineCosine(double x) {
  // pi/2 in parts of 33 bits: their products with n are exact.
  constexpr double kPart1 = 1.57079632673412561417e+00;
  constexpr double kPart2 = 6.07710050630396597660e-11;
  constexpr double kPart3 = 2.02226624879595063154e-21;
  const double n = std::floor(x * (2.0 / kPi) + 0.5);
  const double r = ((x - n * kPart1) - n * kPart2) - n * kPart3;
  const double sine = SineSeries(r), cosine = CosineSeries(r);
  switch (static_cast<long long>(n) & 3) {
    case 0:
      return {sine, cosine};
    case 1:
      return {cosine, -sine};
    case 2:
      return {-sine, -cosine};
    default:
      return {-cosine, sine};
  }
}

double PortableLog(double x) {
  constexpr double kLn2High = 6.93147180369123816490e-01, kLn2Low = 1.90821492927058770002e-10;
  int exponent = 0;
  double m = std::frexp(x, &exponent);
  if (m < 0.70710678118654752440) {
    m *= 2;
    --exponent;
  }
  const double s = (m - 1) / (m + 1), q = s * s;
  double sum = 0;
  for (int k = 25; k >= 3; k -= 2) sum = (sum + 1.0 / k) * q;
  return exponent * kLn2High + (2 * s + (2 * s * sum + exponent * kLn2Low));
}

}  // namespace orvo
