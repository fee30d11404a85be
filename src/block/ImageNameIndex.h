// Image ordinals by image name.
#pragma once

#include <cstdint>
#include <string_view>
#include <vector>

namespace orvo {

/// Sorted by name in ascending order of bytes; a search costs a logarithmic number of comparisons. The names
/// must outlive the index.
class ImageNameIndex {
 public:
  /// `names`: one per image ordinal.
  explicit ImageNameIndex(const std::vector<std::string_view>& names);

  /// The lowest ordinal of that name, or -1.
  int32_t Find(std::string_view name) const;

 private:
  struct Entry {
    std::string_view szName;
    int32_t nOrdinal;
  };
  std::vector<Entry> vEntries;
};

}  // namespace orvo
