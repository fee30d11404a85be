#include "report/html/HtmlText.h"

#include <gtest/gtest.h>

#include "report/SampleFigures.h"

namespace orvo::report {
namespace {

struct Case {
  std::string szText, szShown;
};

TEST(HtmlText, EscapesWhatAPageWouldTakeForItsOwn) {
  const Case cases[] = {
      {"", ""},
      {"IMG_0412.tif", "IMG_0412.tif"},
      {"a&b<c>d\"e'f", "a&amp;b&lt;c&gt;d&quot;e&#39;f"},
      {"</script><!-- ]]>", "&lt;/script&gt;&lt;!-- ]]&gt;"},
      {"&amp;", "&amp;amp;"},
      {"two\nlines\ttab", "two\\x0alines\\x09tab"},
      {std::string("a\0b", 3), "a\\x00b"},
      {"\x1b[31m\x7f", "\\x1b[31m\\x7f"},
      {"\xc3\xa4\xe2\x82\xac\xf0\x9f\x9b\xb0", "\xc3\xa4\xe2\x82\xac\xf0\x9f\x9b\xb0"},
      {"\xff\xc3(", "\\xff\\xc3("},
      {"\xc0\xaf", "\\xc0\\xaf"},                    // overlong
      {"\xe0\x80\xaf", "\\xe0\\x80\\xaf"},           // overlong
      {"\xf0\x80\x80\xaf", "\\xf0\\x80\\x80\\xaf"},  // overlong
      {"\xed\xa0\x80", "\\xed\\xa0\\x80"},           // a surrogate
      {"\xf4\x90\x80\x80", "\\xf4\\x90\\x80\\x80"},  // beyond the last
      {"\xf0\x9f\x9b", "\\xf0\\x9f\\x9b"},           // cut off
      {"\xc2\x85", "\\xc2\\x85"},                    // a control character of two bytes
      {"\xe2\x80\xae"
       "fdp",
       "\\xe2\\x80\\xaefdp"},                                                   // turns the direction
      {"\xe2\x80\xa8", "\\xe2\\x80\\xa8"},                                      // an end of line
      {"\xef\xbf\xbf\xf0\x9f\xbf\xbe", "\\xef\\xbf\\xbf\\xf0\\x9f\\xbf\\xbe"},  // no characters
  };
  for (const Case& c : cases) EXPECT_EQ(HtmlText(c.szText), c.szShown);
}

TEST(HtmlText, LeavesNothingOfANastyNameThatAPageReads) {
  const std::string shown = HtmlText(test::NastyName());
  EXPECT_EQ(shown.find_first_of("<>\"'"), std::string::npos);
  for (const char c : shown) EXPECT_GE(static_cast<unsigned char>(c), 0x20);
  EXPECT_NE(shown.find("&lt;/script&gt;"), std::string::npos);
}

TEST(HtmlText, TakesEveryCodePointWhole) {
  for (uint32_t value = 0x80; value < 0x110000; value += 7) {
    if (value >= 0xd800 && value < 0xe000) continue;
    std::string text;
    if (value < 0x800) {
      text = {static_cast<char>(0xc0 | value >> 6), static_cast<char>(0x80 | (value & 0x3f))};
    } else if (value < 0x10000) {
      text = {static_cast<char>(0xe0 | value >> 12), static_cast<char>(0x80 | (value >> 6 & 0x3f)),
              static_cast<char>(0x80 | (value & 0x3f))};
    } else {
      text = {static_cast<char>(0xf0 | value >> 18), static_cast<char>(0x80 | (value >> 12 & 0x3f)),
              static_cast<char>(0x80 | (value >> 6 & 0x3f)), static_cast<char>(0x80 | (value & 0x3f))};
    }
    const std::string shown = HtmlText(text);
    ASSERT_TRUE(shown == text || shown.size() == 4 * text.size()) << value;
  }
}

}  // namespace
}  // namespace orvo::report
