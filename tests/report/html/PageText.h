// What a test looks for in a page.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

namespace orvo::test {

inline testing::AssertionResult Has(std::string_view page, std::string_view text) {
  if (page.find(text) != std::string_view::npos) return testing::AssertionSuccess();
  return testing::AssertionFailure() << "no '" << text << "' in\n" << page.substr(0, 6000);
}

inline int CountOf(std::string_view page, std::string_view text) {
  int count = 0;
  for (size_t at = page.find(text); at != std::string_view::npos; at = page.find(text, at + text.size()))
    ++count;
  return count;
}

}  // namespace orvo::test
