// Object points with their measurements in a text file, read strictly.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "check/StrictLines.h"
#include "records/ReadingFacts.h"

namespace orvo {

/// What is told of points.
struct PointNotes {
  NamedCount OfTypeZero;
  NamedCount OnLostImage;  ///< points with a measurement on an image that is left out
};

/// Reads `pointNum` points, and up to the end of the file, where only blank lines may follow. The first fault
/// stays in `lines`. `lost`: whether an image is left out, by its ordinal.
PointNotes CheckPointLines(StrictLines& lines, int64_t pointNum, const std::vector<bool>& lost);

/// The points of a text project, behind its cameras and images: the first fault of the whole file.
std::optional<Finding> FindFaultOfTextProject(const std::string& path);

}  // namespace orvo
