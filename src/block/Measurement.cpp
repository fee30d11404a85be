#include "block/Measurement.h"

namespace orvo {

bool MakePositionUsable(ObjectPointRecord& point) {
  if (std::isfinite(point.X) && std::isfinite(point.Y) && std::isfinite(point.Z)) return true;
  if (point.nType >= 1) return false;
  point.X = point.Y = point.Z = 0.0;
  return true;
}

}  // namespace orvo
