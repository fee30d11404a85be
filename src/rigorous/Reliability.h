// What gross errors of an observation would show, from its redundancy number r.
// With its standard deviation s and residual v, w = v / (s sqrt(r)) is normally distributed with 1 as its
// standard deviation, unless the observation has a gross error. Tested at 0.1 % (|w| above 3.29), one of
// 4.13 s / sqrt(r) is found with 80 %: Baarda, A testing procedure for use in geodetic networks (1968). One
// that is as large and not found moves any function of the unknowns by at most 4.13 sqrt((1 - r) / r) of the
// function's own standard deviation: Förstner and Wrobel, Photogrammetric Computer Vision (2016), 4.6.
#pragma once

#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// Shift of w that is found with 80 % where |w| may be 3.29.
inline constexpr double kFoundShift = 4.13;

/// Of less, a residual tells nothing of its observation's error: what the end of the iterations leaves of the
/// way, a hundredth of a standard deviation, would be w = 0.07.
inline constexpr double kLeastRedundancy = 0.02;

struct Reliability {
  double fTest = 0;                 ///< w
  double fSmallest = kNotObserved;  ///< gross error that is found, in standard deviations of the observation
  double fEffect = kNotObserved;    ///< of one that is not, in standard deviations of what it moves
};

/// `normalised` is the residual by its standard deviation, `sigma0` that of a value of standard deviation 1,
/// above 0. Below kLeastRedundancy, or with what is no number, nothing can be tested: 0 and infinite.
Reliability ReliabilityOf(double normalised, double redundancy, double sigma0);

/// w of an observation that is left out, by its residual against the others and the cofactor of what they
/// predict, both by its own standard deviation: what it had within the adjustment.
double TestOfLeftOut(double normalised, double predicted, double sigma0);

}  // namespace orvo::rigorous
