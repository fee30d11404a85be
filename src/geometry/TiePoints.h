// The object points of a section from the current orientations.
#pragma once

#include <cstdint>

#include "base/RunLog.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"
#include "records/ResidualStatistics.h"

namespace orvo {

/// What points are intersected from, and on how many processors. No result depends on these.
struct IntersectionViews {
  const ImageTable& Images;
  const CameraTable& Cameras;
  int nProcessors = 1;
};

/// Intersects every point of the section in memory (all but control points take the result) and fills
/// dCheckResidual and dControlResidual in object units. `coorScale`: working units of a unit of the file.
void ComputeTiePoints(int32_t section, const IntersectionViews& views, double coorScale, PointStore& points,
                      ResidualStatistics& residuals);

/// The same without statistics, in one task less than there are processors, as told in the log.
void ComputeTiePointsThreaded(int32_t section, const IntersectionViews& views, PointStore& points,
                              RunLog& log);

}  // namespace orvo
