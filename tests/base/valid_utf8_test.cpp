#include "base/ValidUtf8.h"

#include <gtest/gtest.h>

namespace orvo {
namespace {

TEST(ValidUtf8, LeavesWhatIsValid) {
  for (const char* text : {"", "plain", "tab\tnew\nline \x01 \x7f", "\xc2\x80 \xdf\xbf",
                           "\xe0\xa0\x80 \xed\x9f\xbf \xee\x80\x80 \xef\xbf\xbf",
                           "\xf0\x90\x80\x80 \xf3\xbf\xbf\xbf \xf4\x8f\xbf\xbf", "\\xff"})
    EXPECT_EQ(ValidUtf8(text), text);
  EXPECT_EQ(ValidUtf8(std::string("a\0b", 3)), std::string("a\0b", 3));
}

TEST(ValidUtf8, ShowsEveryOtherByte) {
  const struct {
    const char* szText;
    const char* szShown;
  } cases[] = {{"\xff", "\\xff"},
               {"a\x80z", "a\\x80z"},
               {"M\xfcnchen", "M\\xfcnchen"},
               {"\xc3", "\\xc3"},
               {"\xc3(", "\\xc3("},
               {"\xc0\xaf", "\\xc0\\xaf"},
               {"\xe0\x9f\xbf", "\\xe0\\x9f\\xbf"},
               {"\xed\xa0\x80", "\\xed\\xa0\\x80"},
               {"\xe2\x82", "\\xe2\\x82"},
               {"\xe2\x82z", "\\xe2\\x82z"},
               {"\xf0\x8f\xbf\xbf", "\\xf0\\x8f\\xbf\\xbf"},
               {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},
               {"\xf5\x80\x80\x80", "\\xf5\\x80\\x80\\x80"},
               {"\xc3\xc3\xa4", "\\xc3\xc3\xa4"}};
  for (const auto& each : cases) EXPECT_EQ(ValidUtf8(each.szText), each.szShown);
}

}  // namespace
}  // namespace orvo
