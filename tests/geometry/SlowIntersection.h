// The space intersection written out step by step with the general matrix kit: what the fast form is held to.
#pragma once

#include <cmath>
#include <vector>

#include "geometry/OrvoMatrix.h"
#include "geometry/camera/Rotation.h"

namespace orvo::test {

struct SlowRay {
  double f, x0, y0, k1, k2;
  double Xs, Ys, Zs, phi, omega, kappa;
  double x, y;
};

struct SlowPoint {
  bool solved = false;
  double P[3] = {}, deviation[3] = {};
};

/// The equations of one ray: a 2 x 3 matrix A and a 2 x 1 matrix L.
inline void SlowEquations(const SlowRay& ray, COrvoMatrix& A, COrvoMatrix& L) {
  double R[9];
  ComputeRotationMatrix(ray.phi, ray.omega, ray.kappa, R);
  const double u = ray.x - ray.x0, v = ray.y - ray.y0;
  const double r = std::sqrt(u * u + v * v);
  const double D = ray.k1 * r * r + ray.k2 * r * r * r * r;
  const double xc = u - u * D, yc = v - (ray.y - ray.x0) * D;
  A.Resize(2, 3);
  L.Resize(2, 1);
  for (int k = 0; k < 3; ++k) {
    A.data[k] = ray.f * R[3 * k] + xc * R[3 * k + 2];
    A.data[3 + k] = ray.f * R[3 * k + 1] + yc * R[3 * k + 2];
  }
  for (int row = 0; row < 2; ++row) {
    const double* l = A.data + 3 * row;
    L.data[row] = l[0] * ray.Xs + l[1] * ray.Ys + l[2] * ray.Zs;
  }
}

inline double SquaredNorm(const COrvoMatrix& vector) {
  double norm = 0;
  VectorNorm(vector.data, vector.rows, &norm);
  return norm * norm;
}

inline SlowPoint SlowIntersect(const std::vector<SlowRay>& rays) {
  COrvoMatrix S, s, N, W;
  S.Resize(3, 3);
  s.Resize(3, 1);
  N.Resize(3, 3);
  W.Resize(3, 1);
  for (const SlowRay& ray : rays) {
    COrvoMatrix A, L;
    SlowEquations(ray, A, L);
    S = COrvoMatrix::Add(S, COrvoMatrix::Multiply(A.Transposed(), A));
    s = COrvoMatrix::Add(s, COrvoMatrix::Multiply(A.Transposed(), L));
    N = COrvoMatrix::Add(N, S);
    W = COrvoMatrix::Add(W, s);
  }
  SlowPoint point;
  const COrvoMatrix Q = COrvoMatrix::Inverse(N);
  if (Q.rows != 3) return point;
  const COrvoMatrix P = COrvoMatrix::Multiply(Q, W);
  point.solved = true;
  double squares = 0;
  for (const SlowRay& ray : rays) {
    COrvoMatrix A, L;
    SlowEquations(ray, A, L);
    squares += SquaredNorm(COrvoMatrix::Subtract(COrvoMatrix::Multiply(A, P), L));
  }
  const double sigma0 = std::sqrt(squares / (2.0 * static_cast<double>(rays.size()) - 3.0));
  for (int i = 0; i < 3; ++i) {
    point.P[i] = P.data[i];
    point.deviation[i] = sigma0 * std::sqrt(Q.data[4 * i]);
  }
  return point;
}

}  // namespace orvo::test
