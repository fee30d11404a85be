// Sums of residuals.
#pragma once

#include <cmath>
#include <cstdint>

#include "report/RunFigures.h"

namespace orvo::report {

struct PlainSums {
  int64_t nNum = 0;
  double fX = 0, fY = 0, fSquaresX = 0, fSquaresY = 0;

  void Add(double x, double y) {
    ++nNum;
    fX += x;
    fY += y;
    fSquaresX += x * x;
    fSquaresY += y * y;
  }
  void Add(const PlainSums& other) {
    nNum += other.nNum;
    fX += other.fX;
    fY += other.fY;
    fSquaresX += other.fSquaresX;
    fSquaresY += other.fSquaresY;
  }
  /// Both 0 without any.
  Pair Mean() const {
    const double n = nNum > 0 ? static_cast<double>(nNum) : 1;
    return {fX / n, fY / n};
  }
  Pair Rmse() const {
    const double n = nNum > 0 ? static_cast<double>(nNum) : 1;
    return {std::sqrt(fSquaresX / n), std::sqrt(fSquaresY / n)};
  }
};

}  // namespace orvo::report
