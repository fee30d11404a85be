// A GCP file, read strictly.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "check/Finding.h"

namespace orvo {

/// The first fault, or notes. `imageNum`: images in the project.
std::vector<Finding> CheckGcp(const std::string& path, int64_t imageNum);

}  // namespace orvo
