// Names as fields of comma-separated values.
#pragma once

#include <string>
#include <string_view>

namespace orvo::report {

/// Appends the name as a field after RFC 4180, in quotes where it needs them. Control characters, ends of
/// lines among them, and bytes that are no UTF-8 are written as \xNN. Spreadsheets take what begins with = +
/// - @ for a formula: such a name gets an apostrophe in front, which they show as text.
void AppendCsvName(std::string& out, std::string_view name);

}  // namespace orvo::report
