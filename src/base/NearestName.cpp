#include "base/NearestName.h"

#include <algorithm>

#include "base/NameDistance.h"

namespace orvo {
namespace {

constexpr size_t kLeastBeginning = 3;

/// The only name that begins so; empty where there are several, or none.
std::string NameThatBeginsWith(std::string_view wrong, const std::vector<std::string>& names) {
  std::string found;
  if (wrong.size() < kLeastBeginning) return found;
  for (const std::string& name : names) {
    const std::string_view beginning = std::string_view(name).substr(0, wrong.size());
    if (beginning.size() < wrong.size() || NameDistance(wrong, beginning) > 0) continue;
    if (!found.empty()) return {};
    found = name;
  }
  return found;
}

}  // namespace

std::string NearestName(std::string_view wrong, const std::vector<std::string>& names) {
  std::string nearest;
  int64_t least = 0;
  for (const std::string& name : names) {
    const int64_t longer = std::max(std::ssize(name), std::ssize(wrong));
    const int64_t shorter = std::min(std::ssize(name), std::ssize(wrong));
    // A name that is much longer or shorter needs no table.
    if (3 * (longer - shorter) > longer) continue;
    const int64_t distance = NameDistance(wrong, name, true);
    if (3 * distance > longer || (!nearest.empty() && distance >= least)) continue;
    nearest = name;
    least = distance;
  }
  return nearest.empty() ? NameThatBeginsWith(wrong, names) : nearest;
}

}  // namespace orvo
