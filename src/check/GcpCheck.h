// A GCP file, read strictly.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "check/Finding.h"

namespace orvo {

/// The first fault, or notes. `lost`: whether an image of the project is left out, by its ordinal.
std::vector<Finding> CheckGcp(const std::string& path, const std::vector<bool>& lost);

}  // namespace orvo
