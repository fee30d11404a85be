// Standard deviations by camera as people write them: "0=0.4 1=0.8".
#pragma once

#include <string>
#include <string_view>

#include "records/CameraSigmas.h"

namespace orvo {

/// What helps where a list can't be taken.
inline constexpr const char* kCameraSigmaForm = "none, or CAMERA=SIGMA for each: 0=0.4 1=0.8";

/// "none", or the list by camera with numbers that read back the same.
std::string CameraSigmaText(const CameraSigmas& sigmas);

/// Blanks divide the entries; numbers are between the two, included. Empty when done; otherwise why not, as a
/// clause behind "VALUE is", with `sigmas` left alone.
std::string ReadCameraSigmas(std::string_view text, double least, double most, CameraSigmas& sigmas);

}  // namespace orvo
