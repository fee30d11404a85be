// The two forms of a project: text with its tie points, or .ovc with an .ovt beside it.
#pragma once

#include <string>

namespace orvo {

/// Path of the tie-point file of an ".ovc" project (that extension exactly), empty for a text project.
std::string OvtPathOfProject(const std::string& project);

}  // namespace orvo
