#include "base/NameDistance.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace orvo {
namespace {

char Lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

bool Same(char a, char b) { return Lower(a) == Lower(b); }

}  // namespace

int64_t NameDistance(std::string_view a, std::string_view b, bool swaps) {
  // Distances of the beginnings of b from those of a: one character less of a, and two less.
  std::vector<int64_t> row(b.size() + 1), last(row.size()), before(row.size());
  for (size_t j = 0; j <= b.size(); ++j) row[j] = static_cast<int64_t>(j);
  for (size_t i = 0; i < a.size(); ++i) {
    std::swap(before, last);
    std::swap(last, row);
    row[0] = static_cast<int64_t>(i) + 1;
    for (size_t j = 0; j < b.size(); ++j) {
      const int64_t change = last[j] + (Same(a[i], b[j]) ? 0 : 1);
      row[j + 1] = std::min({change, last[j + 1] + 1, row[j] + 1});
      const bool swapped = swaps && i > 0 && j > 0 && Same(a[i], b[j - 1]) && Same(a[i - 1], b[j]);
      if (swapped) row[j + 1] = std::min(row[j + 1], before[j - 1] + 1);
    }
  }
  return row.back();
}

}  // namespace orvo
