#include "rigorous/Reliability.h"

#include <algorithm>
#include <cmath>

namespace orvo::rigorous {

Reliability ReliabilityOf(double normalised, double redundancy, double sigma0) {
  Reliability made;
  if (!(redundancy >= kLeastRedundancy) || !std::isfinite(normalised) || !(sigma0 > 0)) return made;
  const double root = std::sqrt(redundancy);
  made.fTest = normalised / (sigma0 * root);
  made.fSmallest = kFoundShift * sigma0 / root;
  made.fEffect = kFoundShift * std::sqrt(std::max(1 - redundancy, 0.0)) / root;
  return made;
}

double TestOfLeftOut(double normalised, double predicted, double sigma0) {
  return normalised / (sigma0 * std::sqrt(1 + std::max(predicted, 0.0)));
}

}  // namespace orvo::rigorous
