// The control and check points of a run.
#pragma once

#include "records/PointStore.h"

namespace orvo {

/// Those of the GCP file, in its frame; none where it can't be read.
struct GroundPoints {
  ObjectPointArray Points;
  ImagePointArray Measurements;
};

}  // namespace orvo
