// Numbers and switches as people write them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace orvo {

/// true, on or 1; false, off or 0.
std::optional<bool> SwitchIn(std::string_view text);

/// A finite number in decimal figures, and nothing before or behind it. Empty when read; otherwise why not,
/// as a clause behind "VALUE is", with `value` left alone.
std::string ReadDecimal(std::string_view text, double& value);
/// The same of a whole number.
std::string ReadWholeNumber(std::string_view text, int32_t& value);

}  // namespace orvo
