#include "report/html/ShortName.h"

#include <gtest/gtest.h>

#include <string>

namespace orvo::report {
namespace {

TEST(ShortName, KeepsTheEndOfALongName) {
  const struct {
    std::string name;
    int most;
    std::string shown;
  } cases[] = {
      {"", 5, ""},
      {"12345", 5, "12345"},
      {"123456", 5,
       "\xe2\x80\xa6"
       "3456"},
      {"<&>\"'", 5, "<&>\"'"},  // one letter each, though they are escaped
      {"\x01"
       "2345",
       5,
       "\xe2\x80\xa6"
       "2345"},  // \x01 takes four
      {"\x01"
       "2345",
       8,
       "\x01"
       "2345"},
      {"\xff"
       "2345",
       7,
       "\xe2\x80\xa6"
       "2345"},                                                     // no UTF-8: four as well
      {"\xc3\xa4\xc3\xa4\xc3\xa4", 6, "\xc3\xa4\xc3\xa4\xc3\xa4"},  // two each
      {"\xc3\xa4\xc3\xa4\xc3\xa4", 5, "\xe2\x80\xa6\xc3\xa4\xc3\xa4"},
      {"a\xf0\x9f\x9b\xb0", 2, "\xe2\x80\xa6"},
      {"\x80\x80\x80", 4, "\xe2\x80\xa6"},
  };
  for (const auto& c : cases) EXPECT_EQ(ShortName(c.name, c.most), c.shown) << c.name << ' ' << c.most;
}

TEST(ShortName, OfAnEndlessNameTheEndIsTheSame) {
  const std::string umlaut = "\xc3\xa4", ellipsis = "\xe2\x80\xa6";
  std::string name = "begin", end;
  for (int i = 0; i < 100000; ++i) name += umlaut;
  for (int i = 0; i < 5; ++i) end += umlaut;
  EXPECT_EQ(ShortName(name + "x", 12), ellipsis + end + "x");
  EXPECT_EQ(ShortName(name, 12), ellipsis + end);
  EXPECT_EQ(ShortName(std::string(1000000, '\x80'), 9), ellipsis + "\x80\x80");
  EXPECT_EQ(ShortName(std::string(1000000, 'a') + "b", 4), ellipsis + "aab");
}

TEST(ShortName, SentencesKeepBothEnds) {
  const std::string usual(1200, 's');
  EXPECT_EQ(ShortText(usual), usual);
  const std::string text = ShortText("image " + std::string(1000000, 'x') + " is far off");
  EXPECT_EQ(text.size(), 600U + 1 + 3 + 299);
  EXPECT_TRUE(text.starts_with("image xx"));
  EXPECT_TRUE(text.ends_with("xx is far off"));
}

}  // namespace
}  // namespace orvo::report
