// The formulas of the camera models, over a number type, so that they can be differentiated.
#pragma once

#include <cmath>

#include "exchange/LensModels.h"

namespace orvo::exchange {

/// The part of a model that is a polynomial or a quotient of two, in the plane of the image (perspective
/// models) or of angles (fisheyes). P: anything that has operator[].
template <class T, class P>
LensPointOf<T> BentInPlane(LensModel lens, const P& p, const T& a, const T& b) {
  const T a2 = a * a, b2 = b * b, ab = a * b, r2 = a2 + b2;
  const T r4 = r2 * r2, r6 = r4 * r2, r8 = r4 * r4;
  switch (lens) {
    case LensModel::Pinhole:
    case LensModel::Fov:
      return {a, b};
    case LensModel::SimpleRadial:
    case LensModel::SimpleFisheye: {
      const T radial = T(1.0) + p[0] * r2;
      return {a * radial, b * radial};
    }
    case LensModel::Radial:
    case LensModel::RadialFisheye: {
      const T radial = T(1.0) + p[0] * r2 + p[1] * r4;
      return {a * radial, b * radial};
    }
    case LensModel::OpenCvFisheye: {
      const T radial = T(1.0) + p[0] * r2 + p[1] * r4 + p[2] * r6 + p[3] * r8;
      return {a * radial, b * radial};
    }
    case LensModel::Brown: {
      const T radial = T(1.0) + p[0] * r2 + p[1] * r4 + p[4] * r6;
      return {a * radial + 2.0 * p[2] * ab + p[3] * (r2 + 2.0 * a2),
              b * radial + 2.0 * p[3] * ab + p[2] * (r2 + 2.0 * b2)};
    }
    case LensModel::FullOpenCv: {
      const T above = T(1.0) + p[0] * r2 + p[1] * r4 + p[4] * r6;
      const T below = T(1.0) + p[5] * r2 + p[6] * r4 + p[7] * r6;
      const T radial = above / below;
      return {a * radial + 2.0 * p[2] * ab + p[3] * (r2 + 2.0 * a2),
              b * radial + 2.0 * p[3] * ab + p[2] * (r2 + 2.0 * b2)};
    }
    case LensModel::ThinPrism: {
      const T radial = T(1.0) + p[0] * r2 + p[1] * r4 + p[4] * r6 + p[5] * r8;
      return {a * radial + 2.0 * p[2] * ab + p[3] * (r2 + 2.0 * a2) + p[6] * r2,
              b * radial + 2.0 * p[3] * ab + p[2] * (r2 + 2.0 * b2) + p[7] * r2};
    }
  }
  return {a, b};
}

/// Radius over ideal radius of the model with a field of view omega. Series where the quotient has none.
template <class T>
T FovFactor(const T& omega, const T& r2) {
  using std::atan2;
  using std::sqrt;
  using std::tan;
  constexpr double kSmall = 1e-4;
  if (omega * omega < T(kSmall)) return (omega * omega * r2) / 3.0 - omega * omega / 12.0 + 1.0;
  const T half = omega / 2.0, one(1.0);
  const T tangent = tan(half);
  if (r2 < T(kSmall)) return -2.0 * tangent * (4.0 * r2 * tangent * tangent - 3.0) / (3.0 * omega);
  const T r = sqrt(r2), stretched = r * 2.0 * tangent;
  const T angle = atan2(stretched, one);
  return angle / (r * omega);
}

/// A direction given as a constant, as a fit has it: the angle of a fisheye needs no derivative.
template <class T, class P>
LensPointOf<T> DistortedOf(LensModel lens, const P& p, double u, double v) {
  const double r = std::hypot(u, v);
  if (lens == LensModel::Fov) {
    const T factor = FovFactor(T(p[0]), T(u * u + v * v));
    return {factor * u, factor * v};
  }
  const double scale = IsFisheye(lens) && r > 1e-12 ? std::atan(r) / r : 1.0;
  return BentInPlane<T>(lens, p, T(scale * u), T(scale * v));
}

}  // namespace orvo::exchange
