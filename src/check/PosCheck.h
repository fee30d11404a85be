// A POS file, read strictly and held to the images of a project.
#pragma once

#include <string>
#include <vector>

#include "check/Finding.h"
#include "check/ProjectHead.h"

namespace orvo {

/// What a run takes from the file.
struct PosUse {
  bool bGps = false, bImu = false;
};

/// Faults of the lines, which hold nothing of each other, the first kMostPosFaults of them; or notes.
std::vector<Finding> CheckPos(const std::string& path, const ProjectHead& head, PosUse use);
inline constexpr size_t kMostPosFaults = 10;

}  // namespace orvo
