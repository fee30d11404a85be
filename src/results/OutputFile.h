// Opening of the inputs that results are made from.
#pragma once

#include <string>

#include "block/OvtFile.h"

namespace orvo {

/// Opens a tie-point file; false also when it is too short for its two counts.
bool OpenWithHeader(OvtReader& file, const std::string& path);

}  // namespace orvo
