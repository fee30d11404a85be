#include "rigorous/PointFactor.h"

#include <cmath>

namespace orvo::rigorous {
namespace {

constexpr int kUpper[3][3] = {{0, 1, 2}, {1, 3, 4}, {2, 4, 5}};

bool IsNumberAbove0(double a) { return a > 0 && std::isfinite(a); }

/// All three coordinates at once, which is what nearly all points are; false where one of them needs a look.
bool FactorWhole(const PointMatrix& M, double leastPivot, PointFactor& factor) {
  const double x = 1 / std::sqrt(M[0]), y = 1 / std::sqrt(M[3]), z = 1 / std::sqrt(M[5]);
  const double xy = M[1] * x * y, xz = M[2] * x * z, yz = M[4] * y * z;
  const double pivotY = 1 - xy * xy;
  const double alongY = 1 / std::sqrt(pivotY), l = (yz - xy * xz) * alongY;
  const double pivotZ = 1 - xz * xz - l * l;
  const double alongZ = 1 / std::sqrt(pivotZ);
  // Roots of what is not above 0 are infinite or no numbers, and do not come this far.
  if (!(pivotY > leastPivot && pivotZ > leastPivot) || !std::isfinite(x + y + z + M[0] + M[3] + M[5]))
    return false;
  const double yx = -xy * x * alongY, yy = y * alongY;
  factor.Q = {x, yx, -(xz * x + l * yx) * alongZ, 0, yy, -l * yy * alongZ, 0, 0, z * alongZ};
  factor.IsDetermined = {true, true, true};
  return true;
}

}  // namespace

PointFactor FactorOf(const PointMatrix& M, const std::array<bool, 3>& isHeld, double leastPivot) {
  PointFactor factor;
  if (!isHeld[0] && !isHeld[1] && !isHeld[2] && FactorWhole(M, leastPivot, factor)) return factor;
  // Row k of Q' is row k of L^-1, built as L grows: q_k = (e_k / sqrt(M_kk) - sum l_ki q_i) / l_kk.
  Vector3 rows[3]{};
  double scale[3]{};
  for (int k = 0; k < 3; ++k) {
    const double diagonal = M[kUpper[k][k]];
    if (isHeld[k] || !IsNumberAbove0(diagonal)) continue;
    scale[k] = 1 / std::sqrt(diagonal);
    Vector3 row{};
    row[k] = scale[k];
    double pivot = 1;
    for (int i = 0; i < k; ++i) {
      if (!factor.IsDetermined[i]) continue;
      // l_ki = row k of M times q_i.
      double l = 0;
      for (int j = 0; j <= i; ++j) l += M[kUpper[k][j]] * rows[i][j];
      l *= scale[k];
      pivot -= l * l;
      row = row - l * rows[i];
    }
    if (!(pivot > leastPivot) || !IsNumberAbove0(scale[k])) continue;
    rows[k] = 1 / std::sqrt(pivot) * row;
    factor.IsDetermined[k] = true;
  }
  for (int k = 0; k < 3; ++k) {
    for (int j = 0; j < 3; ++j) factor.Q[3 * j + k] = rows[k][j];
  }
  return factor;
}

}  // namespace orvo::rigorous
