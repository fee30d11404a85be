// A tie-point file, held to its own counts.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "check/Finding.h"

namespace orvo {

/// The counts in the header against the size of the file.
std::optional<Finding> CheckOvtSize(const std::string& path);

/// The first record that does not fit: a range of measurements that leaves the file or does not follow the
/// one before it, an image that can't be, a number that is not finite; also what CheckOvtSize finds.
std::optional<Finding> FindFaultOfOvt(const std::string& path, int64_t imageNum);

}  // namespace orvo
