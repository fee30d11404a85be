// The inputs of a run as the subcommands find them.
#pragma once

#include <string>

#include "orvo/OrvoMain.h"

namespace orvo {

/// The project's folder; "." for a path without separator.
std::string FolderOf(const std::string& project);

/// Settings named, else AdjPara.xml or AdjPara.ini beside the project, else beside the program; empty without
/// any.
std::string ChooseSettings(const RunPaths& paths, const FrontEnd& frontEnd);

}  // namespace orvo
