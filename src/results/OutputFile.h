// Opening of result files beside the inputs that they come from.
#pragma once

#include <initializer_list>
#include <string>

#include "block/OvtFile.h"
#include "run/TextWriter.h"

namespace orvo {

/// True when both paths name the same existing file, through links too.
bool IsSameFile(const std::string& a, const std::string& b);

/// Creates the file, but never over one of the inputs: creating it would destroy what is still to be read.
/// False when it can't be created.
bool CreateBeside(TextWriter& file, const std::string& path, std::initializer_list<std::string> inputs);

/// Opens a tie-point file; false also when it is too short for its two counts.
bool OpenWithHeader(OvtReader& file, const std::string& path);

}  // namespace orvo
