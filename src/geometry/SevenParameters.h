// Seven parameters of the block: from control points, from GPS positions, and their application to the
// images.
#pragma once

#include <span>
#include <string>
#include <vector>

#include "base/RunLog.h"
#include "geometry/Similarity.h"
#include "records/CameraTable.h"
#include "records/ImageTable.h"
#include "records/ObjectFrame.h"

namespace orvo {

/// The matched sets, target[i] for source[i].
struct PositionPairs {
  std::vector<Position> vSource, vTarget;
  std::vector<std::string> vNames;  ///< of control points; empty for GPS positions
};

/// Pairs the kept images with their GPS positions (all zero: none) and solves. True when fSevenParam holds
/// the transform; otherwise it is as it was, after a message.
bool ComputeSevenParametersFromGps(const ImageTable& images, ObjectFrame& frame, PositionPairs& pairs,
                                   RunLog& log);

/// The points of a GCP file, check points among them.
struct ControlMeasurements {
  std::span<const ObjectPointRecord> Points;
  std::span<const ImagePointRecord> Measurements;
  int32_t nControlPointNum = 0;  ///< as told in the log
};

/// Pairs the control points that two images see with their intersections and solves. True when fSevenParam
/// holds the transform; otherwise, after a message, it is all zero, and as it was for fewer than three
/// points.
bool ComputeSevenParametersFromGcp(const ControlMeasurements& control, const ImageTable& images,
                                   const CameraTable& cameras, ObjectFrame& frame, PositionPairs& pairs,
                                   RunLog& log);

/// Takes the kept images to the frame of fSevenParam, where that holds a transform.
void ApplySevenParameters(const ObjectFrame& frame, ImageTable& images);

}  // namespace orvo
