// How the normalised residuals of all rays are spread, to tell noise from gross errors.
// Median and tail are as good as untouched by some per cent of gross errors, where the root mean square is
// theirs.
#pragma once

#include <array>
#include <cstdint>

#include "rigorous/PointChunks.h"
#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// Counts of sqrt(r'r / 2) / sigma of rays with a residual, in bins of 2^(1/8) from kSmallest on; what is
/// smaller or larger is in the first or last one.
class ResidualSpread {
 public:
  static constexpr int32_t kBins = 256;
  static constexpr double kSmallest = 1e-5;

  void Add(double length);
  void Add(const ResidualSpread& other);
  int64_t Num() const { return nNum; }
  /// The value below which `share` of all lie, to 5 %; 0 where there are none.
  double Quantile(double share) const;
  /// Of rays, from the median: for normal errors the standard deviation of a coordinate.
  double RobustSigma() const;
  /// Root mean square of all.
  double RootMeanSquare() const;

 private:
  std::array<int64_t, kBins> vCounts{};
  int64_t nNum = 0;
  double fSquares = 0;
};

/// Rays without residual take no part. The same for any number of threads.
ResidualSpread SpreadOfResiduals(const Problem& problem, const PointChunks& chunks, const Estimate& estimate,
                                 int32_t threads);

/// Whether gross errors speak from it: the root mean square is far above what the median allows.
bool LooksGross(const ResidualSpread& spread);

}  // namespace orvo::rigorous
