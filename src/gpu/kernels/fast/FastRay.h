// The arithmetic of the fast kernels on rays: rows, products and constant vector. Over a number type T, which
// is float on the device and a vector of floats, one ray in each lane, on the processor.
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

}  // namespace orvo::gpu
