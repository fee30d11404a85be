// Names that are near to each other.
#pragma once

#include <cstdint>
#include <span>
#include <string>
#include <string_view>

#include "base/NameDistance.h"

namespace orvo {

/// The place of the nearest of `names`, -1 where none is nearer than half its length.
int64_t NearestPlace(std::string_view name, std::span<const std::string_view> names);

/// The same numbers are in both, in the same order: names of one photograph, spelled in two ways.
bool HaveSameNumbers(std::string_view a, std::string_view b);

}  // namespace orvo
