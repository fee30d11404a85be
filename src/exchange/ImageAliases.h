// Names of images that a project can hold.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace orvo::exchange {

/// The path line of an image in a project: with a separator, without blanks and control characters, and short
/// enough for a line. Images whose names are alike without folder and extension, which POS files and results
/// name them by, are told apart by numbers.
struct ImageAliases {
  std::vector<std::string> Paths;  ///< by image
  int64_t nChanged = 0;            ///< not counting a leading "./"
};
ImageAliases AliasesOf(const std::vector<std::string>& names);

}  // namespace orvo::exchange
