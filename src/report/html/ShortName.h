// Names where there is little room.
#pragma once

#include <string>
#include <string_view>

namespace orvo::report {

/// The name, or its end behind an ellipsis, so that it takes at most `most` (2 at least) letters as HtmlText
/// shows it; what is not ASCII counts for two.
std::string ShortName(std::string_view name, int most);

/// Letters that a name takes in the page's heading, in tables (where it wraps) and in a tip.
inline constexpr int kHeadLetters = 60, kNameLetters = 160, kTipLetters = 200;

/// A sentence that may hold names: its beginning and its end about an ellipsis where it is far longer than
/// sentences are.
std::string ShortText(std::string_view text);

}  // namespace orvo::report
