// The last step of an object point: its 3 by 3 normal block inverted and applied to its constant vector.
#pragma once

#include <cmath>
#include <cstdint>

#include "base/KernelCode.h"

namespace orvo::gpu {

/// Sums over the rays of one point, each weighted: N = C'C as upper triangle and Q = C'L, with C the partials
/// by the object point.
struct PointSums {
  float N00 = 0, N01 = 0, N02 = 0, N11 = 0, N12 = 0, N22 = 0;
  float Q0 = 0, Q1 = 0, Q2 = 0;
};

/// What elimination needs of one point: P, the inverse of N as upper triangle 00, 01, 02, 11, 12, 22, and e =
/// P Q.
struct FinishedPoint {
  float P[6];
  float e[3];
};

/// A point of type 4 also observes its height difference to the control point table, at the control weight. A
/// block with a determinant below 1e-24 stands in for its own inverse; nothing marks such a point.
ORVO_KERNEL_CODE FinishedPoint FinishPoint(PointSums s, uint32_t type, float controlWeight,
                                           float heightDifference) {
  if (type == 4) {
    s.N22 += controlWeight;
    s.Q2 += heightDifference * controlWeight;
  }
  const float c00 = s.N11 * s.N22 - s.N12 * s.N12;
  const float c01 = s.N01 * s.N22 - s.N02 * s.N12;
  const float c02 = s.N01 * s.N12 - s.N02 * s.N11;
  const float c11 = s.N00 * s.N22 - s.N02 * s.N02;
  const float c12 = s.N00 * s.N12 - s.N01 * s.N02;
  const float c22 = s.N00 * s.N11 - s.N01 * s.N01;
  const float det = s.N00 * c00 - s.N01 * c01 + s.N02 * c02;
  // Written as "below" negated, so that a determinant that is not a number takes the division too.
  if (!(static_cast<double>(det < 0 ? -det : det) < 1e-24)) {
    s.N00 = c00 / det;
    s.N01 = -c01 / det;
    s.N02 = c02 / det;
    s.N11 = c11 / det;
    s.N12 = -c12 / det;
    s.N22 = c22 / det;
  }
  return {{s.N00, s.N01, s.N02, s.N11, s.N12, s.N22},
          {s.N00 * s.Q0 + s.N01 * s.Q1 + s.N02 * s.Q2, s.N01 * s.Q0 + s.N11 * s.Q1 + s.N12 * s.Q2,
           s.N02 * s.Q0 + s.N12 * s.Q1 + s.N22 * s.Q2}};
}

}  // namespace orvo::gpu
