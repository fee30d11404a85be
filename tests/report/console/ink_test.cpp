// Colours: when, and around which words.
#include <gtest/gtest.h>

#include "report/console/Ink.h"
#include "support/Console.h"
#include "verdict/VerdictText.h"

namespace orvo::test {
namespace {

using report::Ink;

TEST(Ink, IsWantedOnATerminalThatAllowsIt) {
  const struct {
    bool bTerminal;
    const char *szNoColour, *szTerm;
    bool bWanted;
  } rows[] = {{true, nullptr, "xterm", true},   {true, "", "xterm", true},
              {true, "1", "xterm", false},      {true, "0", "xterm", false},
              {true, nullptr, "dumb", false},   {true, nullptr, nullptr, true},
              {false, nullptr, "xterm", false}, {false, "", "xterm", false}};
  for (const auto& row : rows)
    EXPECT_EQ(report::WantsColour(row.bTerminal, row.szNoColour, row.szTerm), row.bWanted);
}

TEST(Ink, StreamsWithoutATerminalHaveNone) {
  Console console;
  EXPECT_FALSE(report::IsTerminal(console.Stream()));
  EXPECT_EQ(report::InkOf(console.Stream()).OfGrade(Grade::Good, "good"), "good");
}

TEST(Ink, PaintsTheWordOfAFinding) {
  // The name of the file holds the same words.
  const Finding finding{Severity::Error, "a: error: b", 7, -1, "an error: here", "Do: note"};
  EXPECT_EQ(Ink(true).FindingText(finding),
            "a: error: b:7: \033[1;31merror\033[0m: an error: here. Do: note.");
  EXPECT_EQ(Ink(false).FindingText(finding), TextOf(finding));
  EXPECT_EQ(Ink(true).FindingText({Severity::Note, "", 0, -1, "x", ""}), "\033[36mnote\033[0m: x.");
  EXPECT_EQ(Ink(true).FindingText({Severity::Warning, "f", 0, 12, "x", ""}),
            "f: byte 12: \033[1;33mwarning\033[0m: x.");
}

TEST(Ink, PaintsTheGradesOfAVerdict) {
  Verdict verdict;
  verdict.bJudged = true;
  verdict.Result = Grade::Unusable;
  verdict.vReasons = {{Grade::Unusable, "what", "5 px", "Do this"}, {Grade::Doubtful, "else", "", "Do that"}};
  EXPECT_EQ(Ink(true).VerdictLines(verdict),
            "Verdict: \033[1;31munusable\033[0m\n"
            "\033[1;31munusable\033[0m: what; limit 5 px. Do this.\n"
            "\033[1;33mdoubtful\033[0m: else. Do that.\n");
  EXPECT_EQ(Ink(false).VerdictLines(verdict), VerdictText(verdict));
  EXPECT_EQ(Ink(false).ReasonLines(verdict), ReasonText(verdict));
  verdict.Result = Grade::Good;
  EXPECT_EQ(Ink(true).VerdictLines({true, Grade::Good, {}}), "Verdict: \033[1;32mgood\033[0m\n");
}

}  // namespace
}  // namespace orvo::test
