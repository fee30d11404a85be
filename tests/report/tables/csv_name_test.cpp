#include "report/tables/CsvName.h"

#include <gtest/gtest.h>

#include "report/SampleFigures.h"

namespace orvo::test {
namespace {

TEST(CsvName, IsAFieldThatEveryReaderTakesForText) {
  const struct {
    std::string szName, szField;
  } cases[] = {{"", ""},
               {"P-17", "P-17"},
               {"17", "17"},
               {"a b", "a b"},
               {" a", "\" a\""},
               {"a ", "\"a \""},
               {"a,b", "\"a,b\""},
               {"a;b", "\"a;b\""},
               {"say \"a\"", "\"say \"\"a\"\"\""},
               {"a\nb\rc\td", "a\\x0ab\\x0dc\\x09d"},
               {std::string("a\0b", 3), "a\\x00b"},
               {"\x7f\x1b[31m", "\\x7f\\x1b[31m"},
               {"Z\xc3\xbcrich", "Z\xc3\xbcrich"},
               {"Z\xfcrich", "Z\\xfcrich"},
               {"=1+2", "'=1+2"},
               {"+49", "'+49"},
               {"-1", "'-1"},
               {"@SUM(A1)", "'@SUM(A1)"},
               {"=a,b", "\"'=a,b\""},
               {"\t=1", "\\x09=1"},
               {"a=1", "a=1"},
               {"</script>", "</script>"}};
  for (const auto& each : cases) {
    std::string field = "before,";
    report::AppendCsvName(field, each.szName);
    EXPECT_EQ(field, "before," + each.szField);
  }
}

TEST(CsvName, StaysInItsLineWhateverItIs) {
  std::string field;
  report::AppendCsvName(field, NastyName());
  EXPECT_EQ(field.find_first_of("\r\n"), std::string::npos);
  EXPECT_EQ(field.substr(0, 6), "\"'=\"\"d");
  EXPECT_EQ(field.back(), '"');
  // Every quote within is doubled.
  size_t quotes = 0;
  for (const char c : field) quotes += c == '"' ? 1 : 0;
  EXPECT_EQ(quotes % 2, 0u);
}

}  // namespace
}  // namespace orvo::test
