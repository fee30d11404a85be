// Text as it stands in a page.
#pragma once

#include <string>
#include <string_view>

namespace orvo::report {

/// Safe as text and within quotes: & < > " ' are escaped, control characters and what is no UTF-8 are shown
/// as the system's printable names show them.
std::string HtmlText(std::string_view text);

}  // namespace orvo::report
