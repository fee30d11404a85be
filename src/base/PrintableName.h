// Names from input files on their way to people.
#pragma once

#include <string>
#include <string_view>

namespace orvo {

/// The name with every control character (below 0x20, 0x7f) written as \xNN, so that no name can move the
/// cursor, colour the console or break a line. Other bytes stay as they are.
std::string PrintableName(std::string_view name);

}  // namespace orvo
