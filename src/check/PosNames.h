// The names of a POS file beside those of a project.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "check/Finding.h"
#include "check/ProjectHead.h"

namespace orvo {

/// `lineOfName`: the line of each name in the POS file. An error where no image has a line, notes for the
/// rest.
std::vector<Finding> ComparePosNames(const std::string& path,
                                     const std::map<std::string, int64_t>& lineOfName,
                                     const ProjectHead& head);

}  // namespace orvo
