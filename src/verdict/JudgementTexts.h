// Words of verdicts.
#pragma once

#include <string>
#include <vector>

namespace orvo {

/// As std::snprintf, up to 511 characters.
std::string Format(const char* format, ...) __attribute__((format(printf, 1, 2)));

/// The first names, and how many there are besides.
std::string NameList(const std::vector<std::string>& names);

}  // namespace orvo
