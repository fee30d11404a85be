// Whether the residuals of an adjustment are as large as their standard deviations say.
#pragma once

#include <cstdint>

namespace orvo::rigorous {

/// Probability that a chi-square of `freedom` degrees is at most `value`. Regularised incomplete gamma
/// function by its series or continued fraction: Abramowitz and Stegun, Handbook of Mathematical Functions
/// (1964), 6.5.29 and 6.5.31. To 1e-12; 0 for values not above 0 or freedom below 1.
double ChiSquareProbability(double value, double freedom);

/// The value with that probability, which is between 0 and 1; to 1e-9 of it.
double ChiSquareQuantile(double probability, double freedom);

enum class TestOutcome : uint8_t {
  Passed,
  TooLarge,  ///< residuals are larger than their standard deviations allow
  TooSmall,
  NotPossible  ///< nothing is redundant, or a number is not finite
};

struct GlobalTest {
  TestOutcome Outcome = TestOutcome::NotPossible;
  double fSquares = 0;  ///< v'Pv
  int64_t nRedundancy = 0;
  double fLow = 0, fHigh = 0;  ///< what v'Pv may be
};

/// Two-sided, at `significance`: the probability that sound observations fail.
GlobalTest TestGlobally(double squares, int64_t redundancy, double significance = 0.05);

}  // namespace orvo::rigorous
