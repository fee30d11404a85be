#include "normal/SortedColumns.h"

#include <algorithm>

namespace orvo {

int FindSortedColumn(int32_t value, std::span<const int32_t> list, int32_t& outIndex) {
  if (list.empty()) return -1;
  const auto place = std::lower_bound(list.begin(), list.end(), value);
  outIndex = static_cast<int32_t>(place - list.begin());
  return place != list.end() && *place == value ? 1 : 0;
}

}  // namespace orvo
