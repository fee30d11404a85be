// Paths in commands that people copy.
#pragma once

#include <string>

namespace orvo::exchange {

/// The path as one word of a shell: in single quotes where it has blanks or other characters that a shell
/// reads. Control characters are written as PrintableName does.
std::string ShellWord(const std::string& path);

}  // namespace orvo::exchange
