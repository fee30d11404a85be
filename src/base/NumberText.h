// Numbers as the C library prints them in the C locale, appended to a text.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace orvo {

/// "%*s": right-aligned.
void AppendPadded(std::string& out, std::string_view text, size_t width);
/// "%*d"
void AppendInt(std::string& out, int64_t value, size_t width = 0);
/// "%*.*lf"; `precision` at most 20.
void AppendFixed(std::string& out, double value, size_t width, int precision);
/// "%12.6lf", the fast way.
void AppendFixed(std::string& out, double value);
/// "%*.*le"; `precision` at most 20.
void AppendScientific(std::string& out, double value, size_t width, int precision);

}  // namespace orvo
