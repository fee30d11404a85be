// Rays of a point side by side in lanes: their residuals and derivatives, by the formulas of RayModel.h and
// LensModel.h. Part of the point kernels, which each instruction set compiles for itself: everything stands
// in an unnamed namespace.
#pragma once

#include "base/simd/VectorLanes.h"
#include "rigorous/PointKernels.h"

namespace orvo::rigorous {
namespace {

using LaneMask = decltype(Lanes{} < Lanes{});

[[gnu::always_inline]] inline Lanes Choose(LaneMask mask, Lanes a, Lanes b) {
  return reinterpret_cast<Lanes>((reinterpret_cast<LaneMask>(a) & mask) |
                                 (reinterpret_cast<LaneMask>(b) & ~mask));
}

[[gnu::always_inline]] inline bool AnyOf(LaneMask mask) {
  auto any = mask[0];
  for (int k = 1; k < kLanes; ++k) any |= mask[k];
  return any != 0;
}

struct LensLanes {
  Lanes f, x0, y0, k1, k2, k3, p1, p2, b1, b2;
};

struct ImageLanes {
  Lanes S[3], R[9];
  LensLanes Lens;
  Lanes Weight, Spare;
};
static_assert(sizeof(ImageLanes) == sizeof(RayTerms) * kLanes);

/// The correction at a measurement, and its derivatives by it.
struct CorrectionLanes {
  Lanes u, v, r2;
  Lanes x, y;            ///< corrected, off the principal point
  Lanes xx, xy, yx, yy;  ///< I + dd / d(x, y)
};

[[gnu::always_inline]] inline CorrectionLanes CorrectLanes(const LensLanes& lens, Lanes x, Lanes y) {
  CorrectionLanes at;
  const Lanes u = x - lens.x0, v = y - lens.y0;
  const Lanes uu = u * u, vv = v * v, uv = u * v, r2 = uu + vv;
  const Lanes D = (lens.k1 + (lens.k2 + lens.k3 * r2) * r2) * r2;
  const Lanes slope = 2 * (lens.k1 + (2 * lens.k2 + 3 * lens.k3 * r2) * r2);
  const Lanes p1u = lens.p1 * u, p1v = lens.p1 * v, p2u = lens.p2 * u, p2v = lens.p2 * v;
  at.u = u;
  at.v = v;
  at.r2 = r2;
  at.x = u - (u * D + lens.p1 * (r2 + 2 * uu) + 2 * lens.p2 * uv + lens.b1 * u + lens.b2 * v);
  at.y = v - (v * D + lens.p2 * (r2 + 2 * vv) + 2 * lens.p1 * uv);
  const Lanes across = slope * uv + 2 * (p1v + p2u);
  at.xx = 1 - (D + slope * uu + 6 * p1u + 2 * p2v + lens.b1);
  at.xy = -(across + lens.b2);
  at.yx = -across;
  at.yy = 1 - (D + slope * vv + 6 * p2v + 2 * p1u);
  return at;
}

struct RayLanes {
  Lanes X, Y;            ///< residual
  Lanes u, v, r2;        ///< where the correction was linearised
  Lanes xx, xy, yx, yy;  ///< K: what takes a change of the pinhole image to one of the prediction
  Lanes Jxx, Jxy, Jyx, Jyy;
  LaneMask Good;
};

/// Most steps of Newton's method before the ray is left to a closer look.
constexpr int kMostNewtonSteps = 4;

/// Where the correction of the prediction is (qx, qy): Newton's method from the measurement. A last step of
/// 1e-10 of the scale leaves no error behind, and none that counts in derivatives that were formed before it.
[[gnu::always_inline]] inline void PredictLanes(const LensLanes& lens, Lanes x, Lanes y, Lanes qx, Lanes qy,
                                                RayLanes& ray) {
  Lanes px = x, py = y;
  const Lanes known = qx * qx + qy * qy + 1e-6 * lens.f * lens.f;
  LaneMask open = px == px, good = open;
  for (int step = 0; step < kMostNewtonSteps; ++step) {
    const CorrectionLanes at = CorrectLanes(lens, px, py);
    const Lanes det = at.xx * at.yy - at.xy * at.yx, inverse = 1 / det;
    const Lanes ex = at.x - qx, ey = at.y - qy;
    const Lanes dx = (at.yy * ex - at.xy * ey) * inverse, dy = (at.xx * ey - at.yx * ex) * inverse;
    good &= ~open | ((det > 0) & (at.xx + at.yy > 0));
    const auto take = [open](Lanes from, Lanes& to) { to = Choose(open, from, to); };
    take(at.u, ray.u);
    take(at.v, ray.v);
    take(at.r2, ray.r2);
    take(at.xx, ray.Jxx);
    take(at.xy, ray.Jxy);
    take(at.yx, ray.Jyx);
    take(at.yy, ray.Jyy);
    take(at.yy * inverse, ray.xx);
    take(-at.xy * inverse, ray.xy);
    take(-at.yx * inverse, ray.yx);
    take(at.xx * inverse, ray.yy);
    take(px - dx, px);
    take(py - dy, py);
    // Before a fold, where the determinant goes to 0, the square of a step is no longer small.
    const Lanes least = Choose(det < 1, det, Lanes{} + 1);
    const LaneMask isLast = dx * dx + dy * dy <= 1e-20 * least * least * (known + px * px + py * py);
    open &= ~isLast;
    if (!AnyOf(open)) break;
  }
  ray.X = x - px;
  ray.Y = y - py;
  ray.Good = good & ~open;
}

[[gnu::always_inline]] inline void CorrectRayLanes(const LensLanes& lens, Lanes x, Lanes y, Lanes qx,
                                                   Lanes qy, RayLanes& ray) {
  const CorrectionLanes at = CorrectLanes(lens, x, y);
  ray.X = at.x - qx;
  ray.Y = at.y - qy;
  ray.u = at.u;
  ray.v = at.v;
  ray.r2 = at.r2;
  ray.Jxx = at.xx;
  ray.Jxy = at.xy;
  ray.Jyx = at.yx;
  ray.Jyy = at.yy;
  ray.xx = ray.yy = Lanes{} + 1;
  ray.xy = ray.yx = Lanes{};
  ray.Good = ray.X == ray.X;
}

/// Columns of a PlaceRow.
struct RowLanes {
  Lanes Residual[2], Point[2][3], Image[2][8], Camera[2][12];
};

[[gnu::always_inline]] inline void ByPointLanes(const ImageLanes& image, const RayLanes& ray, Lanes fz,
                                                Lanes rx, Lanes ry, RowLanes& rows) {
  for (int k = 0; k < 3; ++k) {
    // dq by the point, then by K.
    const Lanes x = fz * (image.R[3 * k] - rx * image.R[3 * k + 2]),
                y = fz * (image.R[3 * k + 1] - ry * image.R[3 * k + 2]);
    rows.Point[0][k] = -(ray.xx * x + ray.xy * y);
    rows.Point[1][k] = -(ray.yx * x + ray.yy * y);
  }
}

[[gnu::always_inline]] inline void ByImageLanes(const RayLanes& ray, Lanes f, Lanes qx, Lanes qy, Lanes rx,
                                                Lanes ry, RowLanes& rows) {
  const Lanes turnX[3] = {qy * rx, f - qx * rx, qy}, turnY[3] = {qy * ry - f, -qx * ry, -qx};
  for (int k = 0; k < 3; ++k) {
    rows.Image[0][k] = -rows.Point[0][k];
    rows.Image[1][k] = -rows.Point[1][k];
    rows.Image[0][3 + k] = -(ray.xx * turnX[k] + ray.xy * turnY[k]);
    rows.Image[1][3 + k] = -(ray.yx * turnX[k] + ray.yy * turnY[k]);
  }
  for (int i = 0; i < 2; ++i) rows.Image[i][6] = rows.Image[i][7] = Lanes{};
}

[[gnu::always_inline]] inline void ByCameraLanes(const RayLanes& ray, Lanes rx, Lanes ry, RowLanes& rows) {
  const Lanes u = ray.u, v = ray.v, r2 = ray.r2, zero{};
  const Lanes x[10] = {
      rx,         -ray.Jxx, -ray.Jxy, -u * r2, -u * r2 * r2, -u * r2 * r2 * r2, -(r2 + 2 * u * u),
      -2 * u * v, -u,       -v};
  const Lanes y[10] = {ry,         -ray.Jyx,          -ray.Jyy, -v * r2, -v * r2 * r2, -v * r2 * r2 * r2,
                       -2 * u * v, -(r2 + 2 * v * v), zero,     zero};
  for (int k = 0; k < 10; ++k) {
    rows.Camera[0][k] = ray.xx * x[k] + ray.xy * y[k];
    rows.Camera[1][k] = ray.yx * x[k] + ray.yy * y[k];
  }
  for (int i = 0; i < 2; ++i) rows.Camera[i][10] = rows.Camera[i][11] = zero;
}

/// No number where one of the first columns is none, or too large for its square.
template <int kCount>
[[gnu::always_inline]] inline Lanes ZeroIfFinite(const Lanes* columns) {
  Lanes sum{};
  for (int k = 0; k < kCount; ++k) sum += columns[k] * columns[k];
  return sum - sum;
}

/// Whether the rows are full is no parameter of the template: residuals have the same bits either way.
template <bool kCorrected>
[[gnu::always_inline]] inline void LinearizeLanes(const ImageLanes& image, const double* point, Lanes x,
                                                  Lanes y, bool isFull, PlaceRow* rows, double* squares) {
  Lanes d[3], c[3];
  for (int k = 0; k < 3; ++k) d[k] = point[k] - image.S[k];
  for (int k = 0; k < 3; ++k) c[k] = image.R[k] * d[0] + image.R[3 + k] * d[1] + image.R[6 + k] * d[2];
  const Lanes inverse = 1 / c[2], rx = c[0] * inverse, ry = c[1] * inverse;
  const Lanes f = image.Lens.f, fz = -f * inverse, qx = -f * rx, qy = -f * ry;
  const LaneMask isInFront = (c[2] < 0) & (c[2] * c[2] > 1e-24 * (c[0] * c[0] + c[1] * c[1] + c[2] * c[2]));
  RayLanes ray{};
  if (kCorrected) {
    CorrectRayLanes(image.Lens, x, y, qx, qy, ray);
  } else {
    PredictLanes(image.Lens, x, y, qx, qy, ray);
  }
  RowLanes out;
  out.Residual[0] = ray.X;
  out.Residual[1] = ray.Y;
  ByPointLanes(image, ray, fz, rx, ry, out);
  Lanes* const columns = reinterpret_cast<Lanes*>(&out);
  Lanes doubt = ZeroIfFinite<8>(columns);
  if (isFull) {
    ByImageLanes(ray, f, qx, qy, rx, ry, out);
    ByCameraLanes(ray, rx, ry, out);
    doubt += ZeroIfFinite<40>(columns + 8);
  }
  const Lanes square = image.Weight * (ray.X * ray.X + ray.Y * ray.Y) + doubt;
  StoreLanes(squares, Choose(ray.Good & isInFront, square, Lanes{} + __builtin_nan("")));
  constexpr int64_t kStride = sizeof(PlaceRow) / sizeof(double);
  if (isFull) {
    ScatterColumns<48>(columns, rows->Residual, kStride);
  } else {
    ScatterColumns<8>(columns, rows->Residual, kStride);
  }
}

template <bool kCorrected>
void LinearizeRays(const RayBatch& batch, PlaceRow* rows, double* squares) {
  for (int32_t first = 0; first < batch.nRays; first += kLanes) {
    const double* sources[kLanes];
    Lanes x{}, y{};
    for (int lane = 0; lane < kLanes; ++lane) {
      // Lanes behind the last ray repeat it.
      const Ray& ray = batch.pRays[first + lane < batch.nRays ? first + lane : batch.nRays - 1];
      // Those that are left out may be of any image: nobody reads what becomes of them.
      sources[lane] = batch.pTerms[ray.nImage < 0 ? 0 : ray.nImage].Centre;
      x[lane] = static_cast<double>(ray.x);
      y[lane] = static_cast<double>(ray.y);
    }
    ImageLanes image;
    GatherColumns<24>(sources, reinterpret_cast<Lanes*>(&image));
    LinearizeLanes<kCorrected>(image, batch.pPoint, x, y, batch.bFull, rows + first, squares + first);
  }
}

}  // namespace
}  // namespace orvo::rigorous
