// The arithmetic of the fast kernels, per ray, per object point and per image. Over a number type T, which is
// float on the device and a vector of floats, one ray in each lane, on the processor.
//
// The partial derivatives by an image are formed in its own camera frame: D = K J, with J the 6 by 6 of one
// image,
//   K x: f/Zr    0   xc/Zr  -(xc xc/f + f)  -xc yc/f        yc
//   K y:   0   f/Zr  yc/Zr  -xc yc/f        -(yc yc/f + f)  -xc
//   J: R' on X, Y, Z;  cosOmega cosKappa  sinKappa  0
//                     -cosOmega sinKappa  cosKappa  0  on phi, omega, kappa
//                      sinOmega           0         1
// so that no ray needs an angle. A product turns the direction into each image's frame once (J d) and the
// sums of an image back once (J' sum). The partials by the object point are the first three columns of -K R'.
#pragma once

#include <cstdint>

#include "base/KernelCode.h"
#include "gpu/kernels/RayModel.h"

namespace orvo::gpu {

/// Rotation and projection centre of one image, in the order in which four at a time are loaded.
template <class T>
struct FastFrame {
  T a1, a2, a3, X, b1, b2, b3, Y, c1, c2, c3, Z;
};

/// One row of FastWork::pImage.
struct FastImageRow {
  FastFrame<float> Frame;
  float fSinOmega, fCosOmega, fSinKappa, fCosKappa;
};
static_assert(sizeof(FastImageRow) == 64);

/// J d of one image, or sums over its rays that J' turns back.
template <class T>
struct FastTurned {
  T g1, g2, g3, p, q, r;
};

/// Numbers by the camera's unknowns.
template <class T>
struct FastInner {
  T f, x0, y0, k1, k2;
};

/// One row of FastWork::pImageTerms: the direction in the image's frame and in its camera's unknowns, zero
/// where these are no unknowns, and its camera.
struct FastTermsRow {
  FastTurned<float> Turned;
  FastInner<float> Inner;
  RayCamera<float> Camera;
};
static_assert(sizeof(FastTermsRow) == 64);

ORVO_KERNEL_CODE FastImageRow MakeFastImageRow(const float* eop) {
  const RayImage<float> i = MakeRayImage(eop);
  return {{i.a1, i.a2, i.a3, i.X, i.b1, i.b2, i.b3, i.Y, i.c1, i.c2, i.c3, i.Z},
          i.fSinOmega,
          i.fCosOmega,
          i.fSinKappa,
          i.fCosKappa};
}

/// For ObserveRay, which reads no angle.
template <class T>
ORVO_KERNEL_CODE RayImage<T> RayImageOf(const FastFrame<T>& frame) {
  const T none{};
  return {frame.a1, frame.a2, frame.a3, frame.b1, frame.b2, frame.b3, frame.c1, frame.c2,
          frame.c3, none,     none,     none,     none,     frame.X,  frame.Y,  frame.Z};
}

/// J d, `d` being one image's X, Y, Z, phi, omega, kappa.
ORVO_KERNEL_CODE FastTurned<float> TurnDirection(const FastImageRow& row, const float* d) {
  const FastFrame<float>& R = row.Frame;
  return {R.a1 * d[0] + R.b1 * d[1] + R.c1 * d[2],
          R.a2 * d[0] + R.b2 * d[1] + R.c2 * d[2],
          R.a3 * d[0] + R.b3 * d[1] + R.c3 * d[2],
          row.fCosOmega * row.fCosKappa * d[3] + row.fSinKappa * d[4],
          row.fCosKappa * d[4] - row.fCosOmega * row.fSinKappa * d[3],
          row.fSinOmega * d[3] + d[5]};
}

/// J' s into X, Y, Z, phi, omega, kappa.
ORVO_KERNEL_CODE void TurnBack(const FastImageRow& row, const FastTurned<float>& s, float* out) {
  const FastFrame<float>& R = row.Frame;
  out[0] = R.a1 * s.g1 + R.a2 * s.g2 + R.a3 * s.g3;
  out[1] = R.b1 * s.g1 + R.b2 * s.g2 + R.b3 * s.g3;
  out[2] = R.c1 * s.g1 + R.c2 * s.g2 + R.c3 * s.g3;
  out[3] = row.fCosOmega * (row.fCosKappa * s.p - row.fSinKappa * s.q) + row.fSinOmega * s.r;
  out[4] = row.fSinKappa * s.p + row.fCosKappa * s.q;
  out[5] = s.r;
}

/// What all columns of one ray are formed from.
template <class T>
struct FastRay {
  T u, v, r2, xc, yc;
  T px, py;      ///< xc / f, yc / f
  T fi, xi, yi;  ///< f / Zr, xc / Zr, yc / Zr
};

/// Divisions are few: one by f, which an image's rays share, and one by Zr.
template <class T>
ORVO_KERNEL_CODE void AddRatios(FastRay<T>& ray, T f) {
  const T inverse = 1.0f / f;
  ray.px = ray.xc * inverse;
  ray.py = ray.yc * inverse;
}
template <class T>
ORVO_KERNEL_CODE void AddDepth(FastRay<T>& ray, T f, T Zr) {
  const T inverse = 1.0f / Zr;
  ray.fi = f * inverse;
  ray.xi = ray.xc * inverse;
  ray.yi = ray.yc * inverse;
}

/// The part of a ray that needs no object point; fi, xi, yi stay 0.
template <class T>
ORVO_KERNEL_CODE FastRay<T> MeasureFastRay(const RayCamera<T>& camera, T x, T y) {
  FastRay<T> ray;
  ray.u = x - camera.x0;
  ray.v = y - camera.y0;
  ray.r2 = ray.u * ray.u + ray.v * ray.v;
  const T d = camera.k1 * ray.r2 + camera.k2 * ray.r2 * ray.r2;
  ray.xc = ray.u - ray.u * d;
  ray.yc = ray.v - ray.v * d;
  AddRatios(ray, camera.f);
  ray.fi = ray.xi = ray.yi = T{};
  return ray;
}

template <class T>
ORVO_KERNEL_CODE FastRay<T> MakeFastRay(const FastFrame<T>& R, const RayCamera<T>& camera, T x, T y, T X, T Y,
                                        T Z) {
  FastRay<T> ray = MeasureFastRay(camera, x, y);
  const T dX = X - R.X, dY = Y - R.Y, dZ = Z - R.Z;
  AddDepth(ray, camera.f, R.a3 * dX + R.b3 * dY + R.c3 * dZ);
  return ray;
}

/// The same from the misclosure of the ray.
template <class T>
ORVO_KERNEL_CODE FastRay<T> MakeFastRay(const RayCamera<T>& camera, const RayMisclosure<T>& observed) {
  FastRay<T> ray;
  ray.u = observed.u;
  ray.v = observed.v;
  ray.r2 = observed.r2;
  ray.xc = observed.xc;
  ray.yc = observed.yc;
  AddRatios(ray, camera.f);
  AddDepth(ray, camera.f, observed.Zr);
  return ray;
}

/// Two numbers of a ray, by x and y.
template <class T>
struct FastPair {
  T x, y;
};

/// Rows of an image's unknowns times the direction: K t.
template <class T>
ORVO_KERNEL_CODE FastPair<T> TimesImage(const FastRay<T>& ray, T f, const FastTurned<T>& t) {
  const T along = ray.xc * t.p + ray.yc * t.q;
  return {ray.fi * t.g1 + ray.xi * t.g3 - along * ray.px - f * t.p + ray.yc * t.r,
          ray.fi * t.g2 + ray.yi * t.g3 - along * ray.py - f * t.q - ray.xc * t.r};
}

/// Rows of the camera's unknowns times the direction.
template <class T>
ORVO_KERNEL_CODE FastPair<T> TimesInner(const FastRay<T>& ray, const FastInner<T>& t) {
  const T radial = ray.r2 * (t.k1 + ray.r2 * t.k2);
  return {ray.px * t.f + t.x0 + ray.u * radial, ray.py * t.f + t.y0 + ray.v * radial};
}

/// B h, B being the first three columns of D.
template <class T>
ORVO_KERNEL_CODE FastPair<T> TimesPoint(const FastRay<T>& ray, const FastFrame<T>& R, T h0, T h1, T h2) {
  const T g1 = R.a1 * h0 + R.b1 * h1 + R.c1 * h2;
  const T g2 = R.a2 * h0 + R.b2 * h1 + R.c2 * h2;
  const T g3 = R.a3 * h0 + R.b3 * h1 + R.c3 * h2;
  return {ray.fi * g1 + ray.xi * g3, ray.fi * g2 + ray.yi * g3};
}

/// B' e.
template <class T>
struct FastVector {
  T v0, v1, v2;
};
template <class T>
ORVO_KERNEL_CODE FastVector<T> PointTransposed(const FastRay<T>& ray, const FastFrame<T>& R, FastPair<T> e) {
  const T t1 = ray.fi * e.x, t2 = ray.fi * e.y, t3 = ray.xi * e.x + ray.yi * e.y;
  return {R.a1 * t1 + R.a2 * t2 + R.a3 * t3, R.b1 * t1 + R.b2 * t2 + R.b3 * t3,
          R.c1 * t1 + R.c2 * t2 + R.c3 * t3};
}

/// Adds K' e to an image's sums.
template <class T>
ORVO_KERNEL_CODE void AddImageTransposed(const FastRay<T>& ray, T f, FastPair<T> e, FastTurned<T>& sum) {
  const T along = ray.px * e.x + ray.py * e.y;
  sum.g1 += ray.fi * e.x;
  sum.g2 += ray.fi * e.y;
  sum.g3 += ray.xi * e.x + ray.yi * e.y;
  sum.p -= along * ray.xc + f * e.x;
  sum.q -= along * ray.yc + f * e.y;
  sum.r += ray.yc * e.x - ray.xc * e.y;
}

/// Adds to the sums of a camera's unknowns all but that of k2, and returns what that gets when multiplied by
/// r2 r2.
template <class T>
ORVO_KERNEL_CODE void AddInnerButLast(const FastRay<T>& ray, FastPair<T> e, FastInner<T>& sum) {
  sum.f += ray.px * e.x + ray.py * e.y;
  sum.x0 += e.x;
  sum.y0 += e.y;
  sum.k1 += ray.r2 * (ray.u * e.x + ray.v * e.y);
}
template <class T>
ORVO_KERNEL_CODE void AddInnerTransposed(const FastRay<T>& ray, FastPair<T> e, FastInner<T>& sum) {
  AddInnerButLast(ray, e, sum);
  sum.k2 += ray.r2 * ray.r2 * (ray.u * e.x + ray.v * e.y);
}

/// Product, first pass: s B' D d of one ray, to be summed over all rays of its point; `s` is the weight.
/// Second pass: e = s (D d - B h), with h = P times that sum, and for control points h = 0; then
/// AddImageTransposed and AddInnerTransposed of e.
template <class T>
ORVO_KERNEL_CODE FastVector<T> ProductPointShare(const FastRay<T>& ray, const FastFrame<T>& R, T s,
                                                 FastPair<T> Dd) {
  return PointTransposed(ray, R, FastPair<T>{s * Dd.x, s * Dd.y});
}
template <class T>
ORVO_KERNEL_CODE FastPair<T> ProductRayShare(const FastRay<T>& ray, const FastFrame<T>& R, T s,
                                             FastPair<T> Dd, T h0, T h1, T h2) {
  const FastPair<T> back = TimesPoint(ray, R, h0, h1, h2);
  return {s * (Dd.x - back.x), s * (Dd.y - back.y)};
}

/// Constant vector: adds D' s (L - C e), C = -B, to the sums of a ray's image and camera; `solved` is e, and
/// must be 0 for control points. In the last column the weight enters the elimination term twice, on purpose.
template <bool kImage, bool kInner, class T>
ORVO_KERNEL_CODE void AddConstShare(const FastRay<T>& ray, const RayMisclosure<T>& observed,
                                    const FastFrame<T>& R, T f, T s, const FastVector<T>& solved,
                                    FastTurned<T>& image, FastInner<T>& inner) {
  const FastPair<T> back = TimesPoint(ray, R, solved.v0, solved.v1, solved.v2);
  const FastPair<T> e{s * (observed.Lx + back.x), s * (observed.Ly + back.y)};
  if constexpr (kImage) AddImageTransposed(ray, f, e, image);
  if constexpr (kInner) {
    AddInnerButLast(ray, e, inner);
    const FastPair<T> last{observed.Lx + s * back.x, observed.Ly + s * back.y};
    inner.k2 += s * ray.r2 * ray.r2 * (ray.u * last.x + ray.v * last.y);
  }
}

/// Rows of B.
template <class T>
struct FastPointRows {
  T x0, x1, x2, y0, y1, y2;
};
template <class T>
ORVO_KERNEL_CODE FastPointRows<T> PointRows(const FastRay<T>& ray, const FastFrame<T>& R) {
  return {ray.fi * R.a1 + ray.xi * R.a3, ray.fi * R.b1 + ray.xi * R.b3, ray.fi * R.c1 + ray.xi * R.c3,
          ray.fi * R.a2 + ray.yi * R.a3, ray.fi * R.b2 + ray.yi * R.b3, ray.fi * R.c2 + ray.yi * R.c3};
}

/// What one ray adds to the PointSums of its point, N00, N01, N02, N11, N12, N22, Q0, Q1, Q2.
template <class T>
ORVO_KERNEL_CODE void PointSumsShare(const FastPointRows<T>& B, T s, T Lx, T Ly, T* out) {
  out[0] = s * (B.x0 * B.x0 + B.y0 * B.y0);
  out[1] = s * (B.x0 * B.x1 + B.y0 * B.y1);
  out[2] = s * (B.x0 * B.x2 + B.y0 * B.y2);
  out[3] = s * (B.x1 * B.x1 + B.y1 * B.y1);
  out[4] = s * (B.x1 * B.x2 + B.y1 * B.y2);
  out[5] = s * (B.x2 * B.x2 + B.y2 * B.y2);
  out[6] = -s * (Lx * B.x0 + Ly * B.y0);
  out[7] = -s * (Lx * B.x1 + Ly * B.y1);
  out[8] = -s * (Lx * B.x2 + Ly * B.y2);
}

/// The weight of a ray in the diagonal block of its image with the elimination taken off: s - s s B P B', as
/// upper triangle of a 2 by 2 matrix. `P` must be 0 for control points.
template <class T>
struct FastWeight {
  T xx, xy, yy;
};
template <class T>
ORVO_KERNEL_CODE FastWeight<T> ReducedWeight(const FastPointRows<T>& B, T s, const T* P) {
  const T x0 = P[0] * B.x0 + P[1] * B.x1 + P[2] * B.x2;
  const T x1 = P[1] * B.x0 + P[3] * B.x1 + P[4] * B.x2;
  const T x2 = P[2] * B.x0 + P[4] * B.x1 + P[5] * B.x2;
  const T y0 = P[0] * B.y0 + P[1] * B.y1 + P[2] * B.y2;
  const T y1 = P[1] * B.y0 + P[3] * B.y1 + P[4] * B.y2;
  const T y2 = P[2] * B.y0 + P[4] * B.y1 + P[5] * B.y2;
  const T square = s * s;
  return {s - square * (B.x0 * x0 + B.x1 * x1 + B.x2 * x2), -square * (B.y0 * x0 + B.y1 * x1 + B.y2 * x2),
          s - square * (B.y0 * y0 + B.y1 * y1 + B.y2 * y2)};
}

/// The columns of K (6) and behind them those of the camera (5).
template <class T>
ORVO_KERNEL_CODE void InnerColumns(const FastRay<T>& ray, T* x, T* y) {
  const T one = T{} + 1.0f;
  x[0] = ray.px;
  y[0] = ray.py;
  x[1] = one;
  y[1] = T{};
  x[2] = T{};
  y[2] = one;
  x[3] = ray.u * ray.r2;
  y[3] = ray.v * ray.r2;
  x[4] = x[3] * ray.r2;
  y[4] = y[3] * ray.r2;
}
template <class T>
ORVO_KERNEL_CODE void FrameColumns(const FastRay<T>& ray, T f, T* x, T* y) {
  x[0] = ray.fi;
  y[0] = T{};
  x[1] = T{};
  y[1] = ray.fi;
  x[2] = ray.xi;
  y[2] = ray.yi;
  x[3] = -(ray.px * ray.xc + f);
  y[3] = -ray.py * ray.xc;
  x[4] = -ray.px * ray.yc;
  y[4] = -(ray.py * ray.yc + f);
  x[5] = ray.yc;
  y[5] = -ray.xc;
}

/// Adds the upper triangle, row by row, of columns' W columns.
template <int kColumns, class T>
ORVO_KERNEL_CODE void AddWeightedSquare(const T* x, const T* y, const FastWeight<T>& W, T* sum) {
  int k = 0;
  for (int row = 0; row < kColumns; ++row) {
    const T wx = W.xx * x[row] + W.xy * y[row];
    const T wy = W.xy * x[row] + W.yy * y[row];
    for (int col = row; col < kColumns; ++col, ++k) sum[k] += wx * x[col] + wy * y[col];
  }
}

/// Adds what one ray has in the diagonal block of its image, in the camera frame: 21 numbers, or 66 with the
/// camera's columns behind.
template <bool kInner, class T>
ORVO_KERNEL_CODE void AddImageBlock(const FastRay<T>& ray, T f, const FastWeight<T>& W, T* sum) {
  constexpr int kColumns = kInner ? 11 : 6;
  T x[kColumns], y[kColumns];
  FrameColumns(ray, f, x, y);
  if constexpr (kInner) InnerColumns(ray, x + 6, y + 6);
  AddWeightedSquare<kColumns>(x, y, W, sum);
}

/// Turns the sums of an image's diagonal block, kSize columns of which the first six are those of K, out of
/// the camera frame: J' S J on the packed upper triangle, added to `out`. `Number` is the type to calculate
/// in.
template <int kSize, class Number>
ORVO_KERNEL_CODE void AddTurnedBlock(const FastImageRow& row, const Number* packed, float* out) {
  const FastFrame<float>& R = row.Frame;
  const Number J[6][6] = {
      {R.a1, R.b1, R.c1, 0, 0, 0},
      {R.a2, R.b2, R.c2, 0, 0, 0},
      {R.a3, R.b3, R.c3, 0, 0, 0},
      {0, 0, 0, Number(row.fCosOmega) * row.fCosKappa, row.fSinKappa, 0},
      {0, 0, 0, -Number(row.fCosOmega) * row.fSinKappa, row.fCosKappa, 0},
      {0, 0, 0, row.fSinOmega, 0, 1},
  };
  Number S[kSize][kSize];
  int k = 0;
  for (int r = 0; r < kSize; ++r)
    for (int c = r; c < kSize; ++c, ++k) S[r][c] = S[c][r] = packed[k];
  // Rows first, then columns; J has two blocks of three, and leaves the camera's columns as they are.
  for (int block = 0; block < 6; block += 3) {
    for (int c = 0; c < kSize; ++c) {
      const Number s0 = S[block][c], s1 = S[block + 1][c], s2 = S[block + 2][c];
      for (int r = block; r < block + 3; ++r)
        S[r][c] = J[block][r] * s0 + J[block + 1][r] * s1 + J[block + 2][r] * s2;
    }
  }
  for (int block = 0; block < 6; block += 3) {
    for (int r = 0; r < kSize; ++r) {
      const Number s0 = S[r][block], s1 = S[r][block + 1], s2 = S[r][block + 2];
      for (int c = block; c < block + 3; ++c)
        S[r][c] = J[block][c] * s0 + J[block + 1][c] * s1 + J[block + 2][c] * s2;
    }
  }
  k = 0;
  for (int r = 0; r < kSize; ++r)
    for (int c = r; c < kSize; ++c, ++k) out[k] = static_cast<float>(out[k] + S[r][c]);
}

/// Adds s A' A of one ray, the direct term of its camera's diagonal block, upper triangle row by row.
template <class T>
ORVO_KERNEL_CODE void AddInnerSquare(const FastRay<T>& ray, T s, T* sum) {
  T x[5], y[5];
  InnerColumns(ray, x, y);
  const T px = s * ray.px, py = s * ray.py;
  sum[0] += px * x[0] + py * y[0];
  sum[1] += px;
  sum[2] += py;
  sum[3] += px * x[3] + py * y[3];
  sum[4] += px * x[4] + py * y[4];
  sum[5] += s;
  sum[7] += s * x[3];
  sum[8] += s * x[4];
  sum[9] += s;
  sum[10] += s * y[3];
  sum[11] += s * y[4];
  const T ux = s * x[3], uy = s * y[3];
  sum[12] += ux * x[3] + uy * y[3];
  sum[13] += ux * x[4] + uy * y[4];
  sum[14] += s * (x[4] * x[4] + y[4] * y[4]);
}

/// s A' B of one ray, 5 by 3. Summed over the rays of a point on one camera it is the G of SubtractCoupling.
template <class T>
ORVO_KERNEL_CODE void CouplingShare(const FastRay<T>& ray, const FastPointRows<T>& B, T s, T* out) {
  T x[5], y[5];
  InnerColumns(ray, x, y);
  for (int r = 0; r < 5; ++r) {
    const T sx = s * x[r], sy = s * y[r];
    out[3 * r] = sx * B.x0 + sy * B.y0;
    out[3 * r + 1] = sx * B.x1 + sy * B.y1;
    out[3 * r + 2] = sx * B.x2 + sy * B.y2;
  }
}

/// Adds G P G', upper triangle row by row, which the diagonal block of the camera loses.
template <class T>
ORVO_KERNEL_CODE void AddCoupling(const T* G, const T* P, T* sum) {
  int k = 0;
  for (int r = 0; r < 5; ++r) {
    const T* g = G + 3 * r;
    const T p0 = g[0] * P[0] + g[1] * P[1] + g[2] * P[2];
    const T p1 = g[0] * P[1] + g[1] * P[3] + g[2] * P[4];
    const T p2 = g[0] * P[2] + g[1] * P[4] + g[2] * P[5];
    for (int c = r; c < 5; ++c, ++k) sum[k] += p0 * G[3 * c] + p1 * G[3 * c + 1] + p2 * G[3 * c + 2];
  }
}

}  // namespace orvo::gpu
