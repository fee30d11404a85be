// Terms of the distortion beyond k1 and k2.
// A measurement u, v off the principal point, r2 = u u + v v, is corrected by further
//   u: -(u k3 r2^3 + p1 (r2 + 2 u u) + 2 p2 u v + b1 u + b2 v)
//   v: -(v k3 r2^3 + p2 (r2 + 2 v v) + 2 p1 u v)
// Brown, Close-range camera calibration, Photogrammetric Engineering 37 (1971); b1 and b2 (affinity and
// shear) as in Fraser, Digital camera self-calibration, ISPRS Journal 52 (1997).
#pragma once

#include <cmath>

namespace orvo {

struct LensTerms {
  double fK3 = 0;           ///< per sixth power of the unit of the measurements
  double fP1 = 0, fP2 = 0;  ///< per unit
  double fB1 = 0, fB2 = 0;

  bool operator==(const LensTerms&) const = default;
  bool IsNone() const { return *this == LensTerms{}; }
  bool IsFinite() const { return std::isfinite(fK3 + fP1 + fP2 + fB1 + fB2); }
};

/// The same lens with all lengths multiplied by `scale`.
inline LensTerms Scaled(const LensTerms& terms, double scale) {
  const double s2 = scale * scale;
  return {terms.fK3 / (s2 * s2 * s2), terms.fP1 / scale, terms.fP2 / scale, terms.fB1, terms.fB2};
}

struct LensShift {
  double x, y;
};

/// What the terms add to a measurement.
inline LensShift FurtherCorrection(const LensTerms& terms, double u, double v) {
  const double r2 = u * u + v * v;
  const double D = terms.fK3 * r2 * r2 * r2;
  return {-(u * D + terms.fP1 * (r2 + 2 * u * u) + 2 * terms.fP2 * u * v + terms.fB1 * u + terms.fB2 * v),
          -(v * D + terms.fP2 * (r2 + 2 * v * v) + 2 * terms.fP1 * u * v)};
}

}  // namespace orvo
