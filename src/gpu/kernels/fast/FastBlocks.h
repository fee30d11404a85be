// The arithmetic of the fast kernels on diagonal blocks, of images (in their own camera frames) and of
// cameras. Over a number type T as in FastRay.h.
#pragma once

#include "base/KernelCode.h"
#include "gpu/kernels/fast/FastRay.h"

namespace orvo::gpu {

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

/// s A' B of one ray, 5 by 3. Summed over the rays of a point on one camera it is the G of AddCoupling.
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
