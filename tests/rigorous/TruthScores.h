// How far a truth lies from its estimate, in the measure of the precision that the adjustment tells: figures
// whose distribution is known where the model, the solution and the precision are all right.
// With v'Pv at the minimum and at the truth, and the reduced equations N, where S belongs to the cofactors of
// images, strips and cameras:
//   v'Pv at the minimum                              chi-square of the redundancy
//   v'Pv at the truth less that at the minimum       chi-square of all unknowns
//   e'Se = e'Ne of images, strips and cameras        chi-square of these unknowns
//   the second less the third                        chi-square of the unknowns of points
// Koch, Parameter Estimation and Hypothesis Testing in Linear Models (1999), 2.6 and 4.2.
#pragma once

#include <cstdint>
#include <vector>

#include "rigorous/TruthBlock.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous::test {

/// Truth less estimate, over the unknowns of images, strips and cameras.
std::vector<double> ErrorsOf(const TruthBlock& block, const UnknownPlan& plan, const Estimate& estimate);

/// v'Pv of everything observed. No measurement of `estimate` may be behind its camera.
double SquaresAt(const Problem& problem, const Estimate& estimate);

/// A chi-square value as a standard normal one: (square - freedom) / sqrt(2 freedom).
double NormalOf(double square, double freedom);

struct TruthScores {
  double fJoint = 0;          ///< of images, strips and cameras; as standard normal values, like the next two
  double fSquares = 0;        ///< of v'Pv
  double fIntersection = 0;   ///< of points, given images and cameras
  double fPoints = 0;         ///< mean of (e / standard deviation)^2 of coordinates; 0 with a free datum
  double fLargestT = 0;       ///< of parameters of cameras: |e| / standard deviation
  double fLargestDriftT = 0;  ///< of the drift of strips
  double fRedundancies = 0;   ///< sum of the redundancies by the redundancy
  int64_t nTests = 0, nRejected = 0;  ///< of |w| of measurements, and those above 3.29
};

/// Adjusts the block by plain least squares, and looks at the result. Fails the test where that does not
/// converge, or has no covariances. With a free datum, errors are those of the frame in which it came out,
/// so that no single one is looked at.
TruthScores ScoresOf(const TruthBlock& block, int32_t threads = 1);

}  // namespace orvo::rigorous::test
