// The lens: from measured image coordinates to those of the pinhole camera and back.
// With u = x - x0, v = y - y0, r2 = u u + v v and D = k1 r2 + k2 r2^2 + k3 r2^3, a measurement is corrected
// by
//   d = -(u D + p1 (r2 + 2 u u) + 2 p2 u v + b1 u + b2 v,  v D + p2 (r2 + 2 v v) + 2 p1 u v)
// and pinhole = (u, v) + d, off the principal point. All terms are subtracted, as k1 and k2 are in all forms
// of the camera (geometry/camera/CameraModel.h); without k3, p1, p2, b1, b2 it is CorrectMeasurement. Brown,
// Close-range camera calibration, Photogrammetric Engineering 37 (1971); b1 and b2 (affinity and shear) as in
// Fraser, Digital camera self-calibration, ISPRS Journal 52 (1997). Lengths are in one unit throughout, that
// of f; k1 has it to the power of -2, k2 -4, k3 -6, p1 and p2 -1.
#pragma once

#include <array>
#include <cstdint>

#include "records/Records.h"
#include "rigorous/SmallMatrix.h"

namespace orvo::rigorous {

struct Lens {
  double f = 0, x0 = 0, y0 = 0, k1 = 0, k2 = 0, k3 = 0, p1 = 0, p2 = 0, b1 = 0, b2 = 0;
};

/// The parameters in the order of Lens.
enum class LensParameter : uint8_t { F, X0, Y0, K1, K2, K3, P1, P2, B1, B2 };
inline constexpr int kLensParameterNum = 10;

Lens LensOf(const IopRecord& iop);
double& ParameterOf(Lens& lens, LensParameter parameter);

/// Sets of parameters, a bit each by its place in Lens.
inline constexpr uint32_t kLensFocal = 0x001, kLensPrincipalPoint = 0x006, kLensRadial = 0x018,
                          kLensThirdRadial = 0x020, kLensTangential = 0x0C0, kLensAffine = 0x300,
                          kLensAll = 0x3FF;

/// Which parameters are unknowns: the first `Num` of Columns, in the order of Lens.
struct LensLayout {
  std::array<LensParameter, kLensParameterNum> Columns{};
  int Num = 0;
};

/// Bits beyond kLensAll count for nothing.
LensLayout LayoutOf(uint32_t parameters);

/// Corrected coordinates, off the principal point.
Vector2 CorrectedBy(const Lens& lens, const Vector2& measured);

/// The corrected coordinates with their derivatives, of x in row 0 and of y in row 1.
struct CorrectionRows {
  Vector2 Pinhole;
  double ByMeasured[2][2];                   ///< I + dd / d(x, y)
  double ByParameter[2][kLensParameterNum];  ///< in the order of Lens; that of f is 0
};
CorrectionRows LinearizeCorrection(const Lens& lens, const Vector2& measured);

enum class InverseStatus : uint8_t {
  Found,
  Folded,    ///< no measurement on this side of the fold of the distortion has these pinhole coordinates
  NotFinite  ///< a coordinate or a parameter is no number, or its square is beyond all numbers
};

struct LensInverse {
  InverseStatus Status;
  Vector2 Measured;  ///< where Found, to the last digits; else without meaning
};

/// The measurement that is corrected to `pinhole` (off the principal point): the one that the lens reaches
/// from the principal point without a fold. By Newton's method; a step is halved until it lessens the
/// misclosure and stays before the fold, which is looked for in 32 places between the principal point and the
/// measurement.
LensInverse MeasuredOf(const Lens& lens, const Vector2& pinhole);

/// The same from a `start` close by, with a look at the fold only where it goes: cheap, for every ray of an
/// iteration. Two or three evaluations as a rule.
LensInverse MeasuredNear(const Lens& lens, const Vector2& pinhole, const Vector2& start);

}  // namespace orvo::rigorous
