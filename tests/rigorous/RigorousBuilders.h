// Random poses, lenses and rays, and numeric derivatives, for the tests of the observation models.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <random>

#include "rigorous/LensModel.h"
#include "rigorous/RayModel.h"
#include "rigorous/RotationVector.h"

namespace orvo::rigorous::test {

inline constexpr double kPi = std::numbers::pi;

class Random {
 public:
  explicit Random(unsigned seed) : Engine(seed) {}
  double Within(double low, double high) { return std::uniform_real_distribution<double>(low, high)(Engine); }
  /// A unit vector.
  Vector3 Direction() {
    std::normal_distribution<double> normal;
    const Vector3 a = {normal(Engine), normal(Engine), normal(Engine)};
    return 1 / Norm(a) * a;
  }
  /// Of any direction, and a length up to `most`.
  Vector3 Vector(double most) {
    const double length = Within(0, most);
    return length * Direction();
  }
  /// Any attitude, strong tilts and images that look up among them.
  Matrix3 Rotation() { return RotationOfVector(Vector(kPi)); }

 private:
  std::mt19937 Engine;
};

/// Images of 6 by 6 units with f near 5, some percent of distortion and all terms.
inline Lens AnyLens(Random& random) {
  Lens lens;
  lens.f = random.Within(4, 6);
  lens.x0 = random.Within(-0.1, 0.1);
  lens.y0 = random.Within(-0.1, 0.1);
  lens.k1 = random.Within(-4e-3, 4e-3);
  lens.k2 = random.Within(-1e-4, 1e-4);
  lens.k3 = random.Within(-3e-6, 3e-6);
  lens.p1 = random.Within(-3e-4, 3e-4);
  lens.p2 = random.Within(-3e-4, 3e-4);
  lens.b1 = random.Within(-2e-3, 2e-3);
  lens.b2 = random.Within(-2e-3, 2e-3);
  return lens;
}

/// A lens of the classic model.
inline IopRecord ClassicLens(const Lens& lens) { return {0, 0, lens.f, lens.x0, lens.y0, lens.k1, lens.k2}; }

struct Ray {
  ImagePose Pose;
  Lens Camera;
  Vector3 Point;
  Vector2 Measured;
};

/// A ray of any attitude and lens, its measurement up to `noise` off what is predicted.
inline Ray AnyRay(Random& random, double noise) {
  Ray ray;
  ray.Pose = {{random.Within(-2000, 2000), random.Within(-2000, 2000), random.Within(0, 900)},
              random.Rotation()};
  ray.Camera = AnyLens(random);
  const double depth = random.Within(20, 800), f = ray.Camera.f;
  const Vector3 inCamera = {depth * random.Within(-2.8, 2.8) / f, depth * random.Within(-2.8, 2.8) / f,
                            -depth};
  ray.Point = ray.Pose.Centre + Multiply(ray.Pose.R, inCamera);
  EXPECT_EQ(PredictMeasured(ray.Pose, ray.Camera, ray.Point, ray.Measured), RayStatus::Good);
  ray.Measured[0] += random.Within(-noise, noise);
  ray.Measured[1] += random.Within(-noise, noise);
  return ray;
}

/// The derivative at 0 of a function of a number to an array: central differences of h and 2 h.
template <class F>
auto NumericDerivative(F function, double h) {
  const auto a = function(-2 * h), b = function(-h), c = function(h), d = function(2 * h);
  auto slope = a;
  for (size_t i = 0; i < slope.size(); ++i) slope[i] = (8 * (c[i] - b[i]) - (d[i] - a[i])) / (12 * h);
  return slope;
}

/// All to 1e-6 of the largest of them, and to the `noise` of the differences.
template <class Array>
void ExpectSameColumn(const Array& derivative, const Array& numeric, double noise = 1e-14) {
  double largest = 0;
  for (const double a : numeric) largest = std::max(largest, std::fabs(a));
  for (size_t i = 0; i < numeric.size(); ++i) {
    EXPECT_NEAR(derivative[i], numeric[i], 1e-6 * largest + noise) << "row " << i;
  }
}

inline Vector3 ColumnOf(const Matrix3& A, int k) { return {A[k], A[3 + k], A[6 + k]}; }

inline Vector3 Unit(int k) {
  Vector3 e{};
  e[k] = 1;
  return e;
}

template <class Array>
double Distance(const Array& a, const Array& b) {
  double most = 0;
  for (size_t i = 0; i < a.size(); ++i) most = std::max(most, std::fabs(a[i] - b[i]));
  return most;
}

}  // namespace orvo::rigorous::test
