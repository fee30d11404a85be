// The text of a settings file in XML.
#pragma once

#include <cstddef>
#include <string>

#include "base/InputFiles.h"

namespace orvo {

/// A document of more elements or attributes is no settings file: a parser makes of each the many times its
/// size.
inline constexpr std::ptrdiff_t kMostXmlMarks = 100000;

/// Reads the file whole; false when it can't be read, or is too large in bytes or in marks.
bool ReadXmlText(const std::string& path, InputFiles& run, std::string& text);

}  // namespace orvo
