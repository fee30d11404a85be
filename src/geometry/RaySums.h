// Normal equations of the space intersection of one point, summed ray by ray.
#pragma once

#include <cstring>

#include "geometry/Intersection.h"
#include "geometry/camera/CameraModel.h"

namespace orvo {

/// Two doubles in one register, on every processor that is built for.
using Pair = double __attribute__((vector_size(16)));

/// The coefficients of one equation, l1 X + l2 Y + l3 Z = lx.
struct RayEquation {
  Pair l12, l3x;
};

inline RayEquation Combine(const double* C, double factorC, const double* D, double factorD) {
  Pair C12, C3x, D12, D3x;
  std::memcpy(&C12, C, sizeof C12);
  std::memcpy(&C3x, C + 2, sizeof C3x);
  std::memcpy(&D12, D, sizeof D12);
  std::memcpy(&D3x, D + 2, sizeof D3x);
  const Pair c = {factorC, factorC}, d = {factorD, factorD};
  return {c * C12 + d * D12, c * C3x + d * D3x};
}

/// The two equations of a ray: -f Xb / Zb = xc and -f Yb / Zb = yc multiplied out,
///   (l1, l2, l3, lx) = f C0 + xc C2,  (l4, l5, l6, ly) = f C1 + yc C2
/// with C0, C1, C2 the columns of the image's frame.
inline void FormRayEquations(const ImageFrame& frame, const IopRecord& camera, double x, double y,
                             RayEquation& forX, RayEquation& forY) {
  const ImageCoordinates corrected = CorrectForIntersection(camera, x, y);
  forX = Combine(frame.C[0], camera.fFocal, frame.C[2], corrected.x);
  forY = Combine(frame.C[1], camera.fFocal, frame.C[2], corrected.y);
}

/// The sums of N P = W, row i as (N[i0], N[i1]) and (N[i2], W[i]).
struct RaySums {
  RayEquation S[3] = {}, N[3] = {};

  void Add(const ImageFrame& frame, const IopRecord& camera, double x, double y) {
    RayEquation a, b;
    FormRayEquations(frame, camera, x, y, a, b);
    AddRow(a, b, a.l12[0], b.l12[0], S[0], N[0]);
    AddRow(a, b, a.l12[1], b.l12[1], S[1], N[1]);
    AddRow(a, b, a.l3x[0], b.l3x[0], S[2], N[2]);
  }

 private:
  static void AddRow(const RayEquation& a, const RayEquation& b, double ai, double bi, RayEquation& Si,
                     RayEquation& Ni) {
    const Pair aPair = {ai, ai}, bPair = {bi, bi};
    Si.l12 = Si.l12 + aPair * a.l12 + bPair * b.l12;
    Si.l3x = Si.l3x + aPair * a.l3x + bPair * b.l3x;
    // Deliberate: S goes on growing, so an early ray is counted again with every later one.
    Ni.l12 += Si.l12;
    Ni.l3x += Si.l3x;
  }
};

/// Solves N P = W. False with P untouched when there is no unique finite solution.
bool SolveRaySums(const RaySums& sums, double* P);

}  // namespace orvo
