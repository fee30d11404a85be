// The control and check points of a run, read once more.
#pragma once

#include <vector>

#include "records/Records.h"
#include "records/UnknownLayout.h"

namespace orvo {

class CBundleAdjustment;

struct GroundPoints {
  std::vector<ObjectPointRecord> Points;
  std::vector<ImagePointRecord> Measurements;
};

/// Those of the GCP file, in its frame; none where it can't be read. The counts of the run stay as they are.
GroundPoints ReadGroundPoints(CBundleAdjustment& run);

/// From the last pass: centres above and below their points, and the ground size of a pixel. In the frame of
/// that pass, so before coordinates are restored.
void NoteHeights(CBundleAdjustment& run);

/// The pass over the points of a text project in a run without adjustment, where nothing else reads them.
void JudgeTextPoints(CBundleAdjustment& run);

}  // namespace orvo
