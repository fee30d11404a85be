// The image points of many object points at once.
#pragma once

#include <span>
#include <vector>

#include "block/Measurement.h"
#include "block/OvtRange.h"
#include "records/PointStore.h"

namespace orvo {

/// Half the extent of a camera in file units, in the form in which measurements are held against it.
struct CameraHalf {
  float fWidth = 0, fHeight = 0;
};

std::vector<CameraHalf> MakeCameraHalves(std::span<const IopRecord> cameras);

/// Appends the image points of `points` to `out`. `points` have their first image point by its index in the
/// file; `firstRow` is the row of the first of them. Positions become usable on the way (MakePositionUsable).
/// False, with anything in `out`, where the image points are no plain case and want to be taken one by one: a
/// record that can't be read, an image that is absent or deleted, a measurement that no half holds, or very
/// many of them.
bool AppendPlainMeasures(std::span<ObjectPointRecord> points, int32_t firstRow,
                         std::span<const ImageReference> references, std::span<const CameraHalf> halves,
                         double imageScale, OvtMeasureWindow& window, ImagePointArray& out);

}  // namespace orvo
