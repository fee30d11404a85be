// Shift and scale of all object coordinates to numbers of a fixed size, and back.
#pragma once

#include "base/RunLog.h"
#include "records/ImageTable.h"
#include "records/ObjectFrame.h"
#include "records/PointStore.h"
#include "records/RunLimits.h"

namespace orvo {

/// Takes dCoorMean and dCoorScale from the projection centres, whose longest extent becomes 1000. Without a
/// finite extent above 0 the scale stays 1.
void ComputeNormalization(const ImageTable& images, ObjectFrame& frame);

/// Shifts by dCoorMean and multiplies by dCoorScale: projection centres, control and check points, GPS
/// positions. False with the data left alone when Coor_Normalization is off, and when the data counts as
/// normalised already; shift and scale then become 0 and 1.
bool NormalizeData(const RunLimits& limits, ImageTable& images, PointStore& points, ObjectFrame& frame);

/// Undoes it for projection centres and GPS positions. False when Coor_Normalization is off.
bool RestoreData(const RunLimits& limits, ImageTable& images, ObjectFrame& frame, RunLog& log);

/// Control and check points among the tie points in memory, just read: takes them into the frame of the
/// block.
void NormalizeProjectControl(const ObjectFrame& frame, PointStore& points);

}  // namespace orvo
