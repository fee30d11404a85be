#include "block/ImageNameIndex.h"

#include <algorithm>

namespace orvo {

ImageNameIndex::ImageNameIndex(const std::vector<std::string_view>& names) {
  vEntries.reserve(names.size());
  for (const std::string_view name : names) vEntries.push_back({name, static_cast<int32_t>(vEntries.size())});
  std::stable_sort(vEntries.begin(), vEntries.end(),
                   [](const Entry& a, const Entry& b) { return a.szName < b.szName; });
}

int32_t ImageNameIndex::Find(std::string_view name) const {
  const auto found =
      std::lower_bound(vEntries.begin(), vEntries.end(), name,
                       [](const Entry& entry, std::string_view key) { return entry.szName < key; });
  return found != vEntries.end() && found->szName == name ? found->nOrdinal : -1;
}

}  // namespace orvo
