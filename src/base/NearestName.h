// The name that a misspelt one was meant to be.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvo {

/// The name that is nearest to `wrong`, the first of equally near ones; empty where none is near: no more
/// than a third of the characters may be wrong, swapped neighbours counted once. Where none is, a name that
/// alone begins with `wrong` (3 characters or more) is the one.
std::string NearestName(std::string_view wrong, const std::vector<std::string>& names);

}  // namespace orvo
