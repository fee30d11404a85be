// How far two names are from each other.
#pragma once

#include <cstdint>
#include <string_view>

namespace orvo {

/// Characters to put in, take out or change, upper and lower case alike. With `swaps` two neighbours that
/// have changed places are one change.
int64_t NameDistance(std::string_view a, std::string_view b, bool swaps = false);

}  // namespace orvo
