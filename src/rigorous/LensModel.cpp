#include "rigorous/LensModel.h"

#include <algorithm>
#include <cmath>

namespace orvo::rigorous {
namespace {

constexpr double Lens::*kParameters[kLensParameterNum] = {&Lens::f,  &Lens::x0, &Lens::y0, &Lens::k1,
                                                          &Lens::k2, &Lens::k3, &Lens::p1, &Lens::p2,
                                                          &Lens::b1, &Lens::b2};

constexpr int kMostSteps = 60;
constexpr int kMostHalvings = 40;
constexpr int kPlacesOfFold = 32;
/// Of the lengths that the coordinates are formed from.
constexpr double kRounding = 1e-14;
/// A step this small leaves, being squared, no error behind.
constexpr double kLastStep = 1e-10;

double Length(const Vector2& a) { return std::sqrt(a[0] * a[0] + a[1] * a[1]); }

double Misclosure(const Lens& lens, const Vector2& measured, const Vector2& pinhole) {
  const Vector2 corrected = CorrectedBy(lens, measured);
  return Length({corrected[0] - pinhole[0], corrected[1] - pinhole[1]});
}

/// I + dd / d(x, y).
struct Stretch {
  double xx, xy, yx, yy;
  double Determinant() const { return xx * yy - xy * yx; }
};

Stretch StretchAt(const Lens& lens, const Vector2& measured) {
  const double u = measured[0] - lens.x0, v = measured[1] - lens.y0;
  const double r2 = u * u + v * v;
  const double D = (lens.k1 + (lens.k2 + lens.k3 * r2) * r2) * r2;
  const double twiceSlope = 2 * (lens.k1 + (2 * lens.k2 + 3 * lens.k3 * r2) * r2);
  const double across = twiceSlope * u * v + 2 * (lens.p1 * v + lens.p2 * u);
  return {1 - (D + twiceSlope * u * u + 6 * lens.p1 * u + 2 * lens.p2 * v + lens.b1), -(across + lens.b2),
          -across, 1 - (D + twiceSlope * v * v + 6 * lens.p2 * v + 2 * lens.p1 * u)};
}

/// False where the image is turned over: nothing there is an image of the lens.
bool IsUprightAt(const Lens& lens, const Vector2& measured) {
  const Stretch stretch = StretchAt(lens, measured);
  return stretch.Determinant() > 0 && stretch.xx + stretch.yy > 0;
}

bool IsBeforeFold(const Lens& lens, const Vector2& measured) {
  for (int i = 0; i <= kPlacesOfFold; ++i) {
    const double part = static_cast<double>(i) / kPlacesOfFold;
    const Vector2 place = {lens.x0 + part * (measured[0] - lens.x0),
                           lens.y0 + part * (measured[1] - lens.y0)};
    if (!IsUprightAt(lens, place)) return false;
  }
  return true;
}

struct NewtonStep {
  Vector2 Step;
  double Misclosure, Determinant;
};

NewtonStep StepAt(const Lens& lens, const Vector2& measured, const Vector2& pinhole) {
  const Stretch stretch = StretchAt(lens, measured);
  const double det = stretch.Determinant();
  const Vector2 corrected = CorrectedBy(lens, measured);
  const double ex = corrected[0] - pinhole[0], ey = corrected[1] - pinhole[1];
  return {{(stretch.yy * ex - stretch.xy * ey) / det, (stretch.xx * ey - stretch.yx * ex) / det},
          Length({ex, ey}),
          det};
}

/// The longest share of the step that `accepts` and that lessens the misclosure; false where there is none.
template <class Accept>
bool Advance(const Lens& lens, const Vector2& pinhole, const NewtonStep& newton, Accept accepts,
             Vector2& measured) {
  double share = 1;
  for (int halving = 0; halving < kMostHalvings; ++halving, share /= 2) {
    const Vector2 next = {measured[0] - share * newton.Step[0], measured[1] - share * newton.Step[1]};
    if (Misclosure(lens, next, pinhole) < newton.Misclosure && accepts(next)) {
      measured = next;
      return true;
    }
  }
  return false;
}

template <class Accept>
LensInverse Invert(const Lens& lens, const Vector2& pinhole, Vector2 measured, Accept accepts) {
  const double known = Length(pinhole) + std::fabs(lens.x0) + std::fabs(lens.y0);
  if (!std::isfinite(known + Misclosure(lens, measured, pinhole))) return {InverseStatus::NotFinite, {}};
  if (!accepts(measured)) return {InverseStatus::Folded, {}};
  for (int step = 0; step < kMostSteps; ++step) {
    const NewtonStep newton = StepAt(lens, measured, pinhole);
    const double length = Length(newton.Step), scale = known + Length(measured);
    // Before a fold, where the determinant goes to 0, the square of a step is no longer small.
    if (length <= kLastStep * std::min(1.0, newton.Determinant) * scale) {
      return {InverseStatus::Found, {measured[0] - newton.Step[0], measured[1] - newton.Step[1]}};
    }
    if (!Advance(lens, pinhole, newton, accepts, measured)) {
      const bool isThere = newton.Misclosure <= kRounding * scale;
      return {isThere ? InverseStatus::Found : InverseStatus::Folded, measured};
    }
  }
  return {InverseStatus::Folded, {}};
}

}  // namespace

Lens LensOf(const IopRecord& iop) {
  Lens lens;
  lens.f = iop.fFocal;
  lens.x0 = iop.fPrincipalX;
  lens.y0 = iop.fPrincipalY;
  lens.k1 = iop.fK1;
  lens.k2 = iop.fK2;
  lens.k3 = iop.Further.fK3;
  lens.p1 = iop.Further.fP1;
  lens.p2 = iop.Further.fP2;
  lens.b1 = iop.Further.fB1;
  lens.b2 = iop.Further.fB2;
  return lens;
}

double& ParameterOf(Lens& lens, LensParameter parameter) {
  return lens.*kParameters[static_cast<int>(parameter)];
}

LensLayout LayoutOf(uint32_t parameters) {
  LensLayout layout;
  for (int i = 0; i < kLensParameterNum; ++i) {
    if ((parameters >> i & 1) != 0) layout.Columns[layout.Num++] = static_cast<LensParameter>(i);
  }
  return layout;
}

Vector2 CorrectedBy(const Lens& lens, const Vector2& measured) {
  const double u = measured[0] - lens.x0, v = measured[1] - lens.y0;
  const double r2 = u * u + v * v;
  const double D = (lens.k1 + (lens.k2 + lens.k3 * r2) * r2) * r2;
  return {u - (u * D + lens.p1 * (r2 + 2 * u * u) + 2 * lens.p2 * u * v + lens.b1 * u + lens.b2 * v),
          v - (v * D + lens.p2 * (r2 + 2 * v * v) + 2 * lens.p1 * u * v)};
}

CorrectionRows LinearizeCorrection(const Lens& lens, const Vector2& measured) {
  const double u = measured[0] - lens.x0, v = measured[1] - lens.y0;
  const double r2 = u * u + v * v;
  CorrectionRows rows;
  rows.Pinhole = CorrectedBy(lens, measured);
  const Stretch stretch = StretchAt(lens, measured);
  auto& J = rows.ByMeasured;
  J[0][0] = stretch.xx;
  J[0][1] = stretch.xy;
  J[1][0] = stretch.yx;
  J[1][1] = stretch.yy;

  const double x[kLensParameterNum] = {
      0, -J[0][0], -J[0][1], -u * r2, -u * r2 * r2, -u * r2 * r2 * r2, -(r2 + 2 * u * u), -2 * u * v, -u, -v};
  const double y[kLensParameterNum] = {
      0, -J[1][0], -J[1][1], -v * r2, -v * r2 * r2, -v * r2 * r2 * r2, -2 * u * v, -(r2 + 2 * v * v), 0, 0};
  std::copy(x, x + kLensParameterNum, rows.ByParameter[0]);
  std::copy(y, y + kLensParameterNum, rows.ByParameter[1]);
  return rows;
}

LensInverse MeasuredOf(const Lens& lens, const Vector2& pinhole) {
  const auto isBefore = [&lens](const Vector2& place) { return IsBeforeFold(lens, place); };
  // Pinhole coordinates may lie beyond the fold where their measurement does not.
  double share = 1;
  Vector2 start = {lens.x0 + pinhole[0], lens.y0 + pinhole[1]};
  while (share > 1e-3 && !isBefore(start)) {
    share /= 2;
    start = {lens.x0 + share * pinhole[0], lens.y0 + share * pinhole[1]};
  }
  return Invert(lens, pinhole, start, isBefore);
}

LensInverse MeasuredNear(const Lens& lens, const Vector2& pinhole, const Vector2& start) {
  return Invert(lens, pinhole, start, [&lens](const Vector2& place) { return IsUprightAt(lens, place); });
}

}  // namespace orvo::rigorous
