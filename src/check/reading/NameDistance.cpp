#include "check/reading/NameDistance.h"

#include <algorithm>

namespace orvo {
namespace {

constexpr std::string_view kDigits = "0123456789";

/// The next number in the text without its leading zeros, which is cut off it; empty where there is none.
std::string_view TakeNumber(std::string_view& text) {
  const size_t begin = text.find_first_of(kDigits);
  if (begin == std::string_view::npos) {
    text = {};
    return {};
  }
  const size_t end = std::min(text.find_first_not_of(kDigits, begin), text.size());
  std::string_view number = text.substr(begin, end - begin);
  text.remove_prefix(end);
  number.remove_prefix(std::min(number.find_first_not_of('0'), number.size() - 1));
  return number;
}

}  // namespace

int64_t NearestPlace(std::string_view name, std::span<const std::string_view> names) {
  int64_t nearest = -1, distance = std::max<int64_t>(std::ssize(name) / 2, 1);
  for (size_t i = 0; i < names.size(); ++i) {
    const int64_t longer = std::ssize(names[i]) - std::ssize(name);
    if (std::max(longer, -longer) >= distance + (nearest < 0 ? 1 : 0)) continue;
    const int64_t found = NameDistance(name, names[i]);
    if (found > distance || (found == distance && nearest >= 0)) continue;
    nearest = static_cast<int64_t>(i);
    distance = found;
  }
  return nearest;
}

bool HaveSameNumbers(std::string_view a, std::string_view b) {
  while (true) {
    const std::string_view first = TakeNumber(a), second = TakeNumber(b);
    if (first != second) return false;
    if (first.empty()) return true;
  }
}

}  // namespace orvo
