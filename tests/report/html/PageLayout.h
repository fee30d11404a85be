// A page as a browser lays it out, for tests.
#pragma once

#include <string>

namespace orvo::test {

/// Whether there is a browser; tests skip without.
bool HasBrowser();

/// What is wrong with the page in a window of this width, pixels: "400 px, 153 texts", how many texts its
/// pictures have, and a line for each fault: what is wider than the window or its box, too small to be read,
/// over another text. Empty where the browser said nothing.
std::string Measured(const std::string& page, int width);

}  // namespace orvo::test
