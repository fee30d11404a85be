// The table of codes: its form, and the manual that holds the same.
#include "check/Codes.h"

#include <gtest/gtest.h>

#include <set>
#include <sstream>

#include "support/TestFiles.h"

namespace orvo::test {
namespace {

std::vector<const CodeEntry*> AllCodes() {
  std::vector<const CodeEntry*> all;
  for (const auto table : {FileCodes(), BlockCodes()}) {
    for (const CodeEntry& entry : table) all.push_back(&entry);
  }
  return all;
}

TEST(Codes, HaveALetterOfTheirTableAndThreeDigitsOnce) {
  const auto expectLetters = [](std::span<const CodeEntry> table, const std::string& letters) {
    for (const CodeEntry& entry : table) {
      const std::string code = entry.szCode;
      ASSERT_EQ(code.size(), 4u) << code;
      EXPECT_NE(letters.find(code[0]), std::string::npos) << code;
      EXPECT_EQ(code.find_first_not_of("0123456789", 1), std::string::npos) << code;
    }
  };
  expectLetters(FileCodes(), "SRAM");
  expectLetters(BlockCodes(), "CGKP");
  std::set<std::string> seen;
  for (const CodeEntry* entry : AllCodes()) EXPECT_TRUE(seen.insert(entry->szCode).second) << entry->szCode;
}

TEST(Codes, TellWhatWhyAndWhatHelps) {
  for (const CodeEntry* entry : AllCodes()) {
    const std::string title = entry->szTitle, cause = entry->szCause, remedy = entry->szRemedy;
    EXPECT_FALSE(title.empty()) << entry->szCode;
    EXPECT_NE(title.back(), '.') << entry->szCode;
    EXPECT_TRUE(cause.ends_with('.')) << entry->szCode;
    EXPECT_TRUE(remedy.ends_with('.')) << entry->szCode;
    // They are cells of a table.
    EXPECT_EQ((title + cause + remedy).find_first_of("|\n"), std::string::npos) << entry->szCode;
  }
}

TEST(Codes, AreFoundInEitherCase) {
  ASSERT_NE(FindCode("S006"), nullptr);
  EXPECT_STREQ(FindCode("S006")->szTitle, "Comma in a number");
  EXPECT_EQ(FindCode("s006"), FindCode("S006"));
  for (const char* code : {"", "S", "S00", "S0066", "X001"}) EXPECT_EQ(FindCode(code), nullptr) << code;
}

/// scripts/write-codes.sh writes its table anew.
TEST(Codes, StandInTheManualAsInTheSources) {
  std::istringstream manual(ReadFile(Example("../docs/codes.md")));
  std::vector<std::string> rows, wanted;
  bool inTable = false;
  for (std::string line; std::getline(manual, line);) {
    if (inTable && line.starts_with("|")) rows.push_back(line);
    if (line == "|---|---|---|---|---|") inTable = true;
  }
  for (const CodeEntry* entry : AllCodes()) wanted.push_back(MarkdownRowOf(*entry));
  EXPECT_EQ(rows, wanted);
}

}  // namespace
}  // namespace orvo::test
