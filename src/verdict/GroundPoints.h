// The control and check points of a run.
#pragma once

#include <vector>

#include "records/Records.h"

namespace orvo {

/// Those of the GCP file, in its frame; none where it can't be read.
struct GroundPoints {
  std::vector<ObjectPointRecord> Points;
  std::vector<ImagePointRecord> Measurements;
};

}  // namespace orvo
