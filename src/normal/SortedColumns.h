// Search in a block row's sorted columns.
#pragma once

#include <cstdint>
#include <span>

namespace orvo {

/// -1 for an empty list, 1 with the index of `value`, 0 with the index where `value` would be inserted (the
/// list's length when it is above the last entry).
int FindSortedColumn(int32_t value, std::span<const int32_t> list, int32_t& outIndex);

}  // namespace orvo
