// Object points with their measurements in a text file, read strictly.
#pragma once

#include <cstdint>
#include <string>

#include "block/ReadingFacts.h"
#include "check/StrictLines.h"

namespace orvo {

/// Reads `pointNum` points, and up to the end of the file, where only blank lines may follow. The first fault
/// stays in `lines`. `imageNum`: images in the project. Returns the points of type 0.
NamedCount CheckPointLines(StrictLines& lines, int64_t pointNum, int64_t imageNum);

/// The points of a text project, behind its cameras and images: the first fault of the whole file.
std::optional<Finding> FindFaultOfTextProject(const std::string& path);

}  // namespace orvo
