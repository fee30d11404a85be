#include "base/PrintableName.h"

#include <gtest/gtest.h>

namespace orvo {
namespace {

TEST(PrintableName, WritesControlCharactersAsHexadecimal) {
  const struct {
    std::string_view name, printable;
  } cases[] = {{"DSC_0001", "DSC_0001"},
               {"", ""},
               {"\x1b[2J", "\\x1b[2J"},
               {"a\r\nb\tc", "a\\x0d\\x0ab\\x09c"},
               {"\x7f", "\\x7f"},
               {std::string_view("a\0b", 3), "a\\x00b"},
               {"Stra\xc3\x9f"
                "e",
                "Stra\xc3\x9f"
                "e"}};
  for (const auto& [name, printable] : cases) EXPECT_EQ(PrintableName(name), printable);
}

}  // namespace
}  // namespace orvo
