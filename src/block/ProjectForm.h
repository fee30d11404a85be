// The two forms of a project: text with its tie points, or .ovc with an .ovt beside it.
#pragma once

#include <string>

#include "records/FilePaths.h"

namespace orvo {

/// Path of the tie-point file of an ".ovc" project (that extension exactly), empty for a text project.
std::string OvtPathOfProject(const std::string& project);

/// Names the files that a run reads its points from.
void NameProjectFiles(const std::string& project, const std::string& gcp, FilePaths& paths);

}  // namespace orvo
