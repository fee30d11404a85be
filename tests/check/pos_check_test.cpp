// POS files: what is refused, what is told.
#include "check/PosCheck.h"

#include <gtest/gtest.h>

#include "check/FindingTable.h"

namespace orvo::test {
namespace {

const std::string kA = "A 1 2 3 4 5 6 1\n", kB = "B 1 2 3 4 5 6 1\n";

std::string Check(const std::string& content, PosUse use = {true, false}) {
  ScratchFolder folder;
  WriteFile(folder / "pos.txt", content);
  ProjectHead head;
  head.Images = {{"A", 0, false}, {"B", 0, false}};
  return Brief(CheckPos(folder / "pos.txt", head, use));
}

TEST(PosCheck, Lines) {
  const struct {
    std::string content;
    const char* findings;
  } rows[] = {
      {kA + kB, ""},
      {"\n" + kB + "\n  \n" + kA, ""},
      {"A 1 2 3 4 5 6 1 more\nB 1 2 3 4 5 6 -1\n", ""},
      {"A 1 2 3\nB 1 2 3\n", ""},
      {"A 1 2 3 4 5 6\nB 1 2 3 4 5 6\n", ""},
      {kA + "B 1 2 3 4 5 6\n", ":2: error: 'B 1 2 3 4 5 6' has not the fields that the first line has."},
      {"A 1 2 3\n" + kB, ":2: error: 'B 1 2 3 4 5 6 1' has not the fields that the first line has."},
      {kA + "B 1 2\n", ":2: error: 'B 1 2' is no POS line."},
      {kA + "B 1 2 3 4\n", ":2: error: 'B 1 2 3 4' is no POS line."},
      {kA + "B 1 2 3 4 5 6 1.5\n", ":2: error: 'B 1 2 3 4 5 6 1.5' is no POS line."},
      {kA + "B 1 2,5 3 4 5 6 1\n", ":2: error: 'B 1 2,5 3 4 5 6 1' is no POS line."},
      {"name X Y Z omega phi kappa strip\n" + kA + kB,
       ":1: error: 'name X Y Z omega phi kappa strip' is no POS line."},
      {"# comment\n" + kA + kB, ":1: error: '# comment' is no POS line."},
      {kA + kB + kA, ":3: error: A has a line already, line 1."},
      {"", ": error: no image of the project has a line."},
      {"A.jpg 1 2 3 4 5 6 1\n",
       ": error: no image of the project has a line: the names here are such as A.jpg, "
       "those of the project such as A."},
      {kA, ": note: 1 image: B: without a line, and not observed."},
      {kA + kB + "C 1 2 3 4 5 6 1\n", ": note: 1 name: C: no image of the project is called so."},
      {kA + "B nan 2 3 4 5 6 1\n", ": note: 1 line: B: passed over, for a number is not finite."},
      {kA + "B 1 2 3 nan 5 6 1\n", ""},
      {kA + kB.substr(0, kB.size() - 1), ": note: the last line has no line end."},
      {kA + "B 1 2 3 4 5 6 1" + std::string(600, ' ') + "\n",
       ":2: error: the line is longer than 510 characters."},
  };
  for (const auto& row : rows) EXPECT_EQ(Check(row.content), row.findings) << row.content;
}

TEST(PosCheck, AnglesAreNeededWhereTheyAreUsed) {
  EXPECT_EQ(Check("A 1 2 3\nB 1 2 3\n", {false, true}),
            ":1: error: the line has no angles, and Apply_IMU_Data is on.\n"
            ":2: error: the line has no angles, and Apply_IMU_Data is on.");
  EXPECT_EQ(Check(kA + "B 1 2 3 nan 5 6 1\n", {false, true}),
            ": note: 1 line: B: passed over, for a number is not finite.");
}

TEST(PosCheck, NotMoreThanTenFaultsAreTold) {
  std::string rubbish;
  for (int i = 0; i < 100; ++i) rubbish += "rubbish\n";
  EXPECT_EQ(LineNum(Check(rubbish)) + 1, static_cast<int>(kMostPosFaults));
}

TEST(PosCheck, AnyLineDroppedOrDoubledIsFound) {
  for (int line = 1; line <= 2; ++line) {
    EXPECT_NE(Check(DropLine(kA + kB, line)), "");
    EXPECT_NE(Check(DoubleLine(kA + kB, line)).find("error"), std::string::npos);
  }
}

}  // namespace
}  // namespace orvo::test
