// The guarded step of one point.
#pragma once

#include "rigorous/PointPlace.h"

namespace orvo::rigorous {

struct PointStepOptions {
  int32_t nSteps = 1;
  bool bIntersect = false;
};

/// Moves one point after the other, in the same memory.
/// A Gauss-Newton step is taken where it makes the place better (IsBetter). If not, it is shortened to where
/// a parabola through both costs has its minimum, then damped; what makes nothing better is not taken. Only
/// after a step that was not the full one, a further one follows. The intersection of the rays, with steps of
/// its own, is the other place to begin from where that is asked, where a ray is unseen from the old
/// place, where a step is due and none is taken, and where the old place is none.
class PointStepper {
 public:
  /// `around` has to outlive this.
  PointStepper(const PointSurroundings& around, const PointStepOptions& options)
      : pAround(&around), Options(options) {}

  /// The place where the point comes to stand, valid until the next call. Never worse than `old`, with
  /// observed coordinates for those that are no numbers and held ones at their values.
  const PointPlace& Settle(const PointObservations& point, const Vector3& old);

 private:
  bool Improve(const PointObservations& point, PointPlace& place);
  bool TakeShorter(const PointObservations& point, const Vector3& step, PointPlace& place);
  bool Try(const PointObservations& point, const Vector3& at, PointPlace& place);

  const PointSurroundings* pAround;
  PointStepOptions Options;
  PointPlace Best, Other, Trial;
};

}  // namespace orvo::rigorous
