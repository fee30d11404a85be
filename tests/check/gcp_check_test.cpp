// GCP files: what is refused.
#include "check/GcpCheck.h"

#include <gtest/gtest.h>

#include "check/FindingTable.h"

namespace orvo::test {
namespace {

const std::string kGood = "2\nA 1 2 3 1\n2\n0 1 2\n2 3 4\nB 1 2 3 2\n1\n2 5 6\n";

std::string Check(const std::string& content) {
  ScratchFolder folder;
  WriteFile(folder / "gcp.txt", content);
  return Brief(CheckGcp(folder / "gcp.txt", {false, true, false}));
}

TEST(GcpCheck, PointsOfShorterLinesThanCoordinatesHave) {
  for (const int count : {32768, 32769}) {
    std::string text = std::to_string(count) + "\n";
    for (int i = 0; i < count; ++i) text += "A 1 2 3 1\n0\n";
    EXPECT_EQ(Check(text), count == 32768 ? "" : ":65539: error: the file is too small for 32769 points.");
  }
}

TEST(GcpCheck, Faults) {
  const struct {
    std::string content;
    const char* findings;
  } rows[] = {
      {kGood, ""},
      {kGood + "\n\n", ""},
      {"2\nA 1 2 3 0\n0\nB 1 2 3 1\n0\n", ": note: 1 point: A: of type 0, neither control nor check."},
      {"0\n", ""},
      {"0", ""},
      {" 0 \r\n", ""},
      {kGood.substr(0, kGood.size() - 1), ": note: the last line has no line end."},
      {"", ":1: error: the file is empty."},
      {"\n", ":1: error: an empty line is not the number of points."},
      {"# points\n" + kGood, ":1: error: '# points' is not the number of points."},
      {"2 points\n" + kGood.substr(2), ":1: error: '2 points' is not the number of points."},
      {"-1\n", ":1: error: '-1' is not the number of points."},
      {"0\nA 1 2 3 1\n", ":2: error: 'A 1 2 3 1' stands behind the last of 0 points."},
      {"A 1 2 3\nB 1 2 3\n", ":1: error: 'A 1 2 3' is not the number of points."},
      {"A,1,2,3\nB,1,2,3\n", ":1: error: 'A,1,2,3' is not the number of points."},
      {"3\n" + kGood.substr(2), ":9: error: the file ends before point 3 of 3."},
      {"1\n" + kGood.substr(2), ":6: error: 'B 1 2 3 2' stands behind the last of 1 points."},
      {"1\nA 1,5 2 3 1\n0\n", ":2: error: 'A 1,5 2 3 1' is not the line of point 1 of 1."},
      {"1\nA 1 2 3\n0\n", ":2: error: 'A 1 2 3' is not the line of point 1 of 1."},
      {"1\nA 1 2 3 1\n1\n0 1\n", ":4: error: '0 1' is not measurement 1 of 1 of the point A."},
      {"1\nA 1 2 3 1\n1\n3 1 1\n", ":4: error: there is no image 3."},
      {"1\nA 1 2 3 1\n2\n0 1 1\n1 1 1\n",
       ": note: 1 point: A: with a measurement on an image that is left out, which does not count."},
      {"1\nA 1 2 3 1\n1\n447 1 1\n", ":4: error: there is no image 447."},
  };
  for (const auto& row : rows) EXPECT_EQ(Check(row.content), row.findings) << row.content;
}

TEST(GcpCheck, RemediesSayWhatIsWrong) {
  ScratchFolder folder;
  const struct {
    const char* content;
    const char* remedy;
  } rows[] = {
      {"# points\n", "Comments are not known"},
      {"A;1;2;3\n", "Separate fields by blanks"},
      {"1\nA 1,5 2 3 1\n0\n", "decimal point"},
      {"1\nA 1 2 3 1\n1\n447 1 1\n", "place in the project, from 0 to 2"},
  };
  for (const auto& row : rows) {
    WriteFile(folder / "gcp.txt", row.content);
    const std::vector<Finding> findings = CheckGcp(folder / "gcp.txt", {false, true, false});
    ASSERT_EQ(findings.size(), 1u);
    EXPECT_NE(findings[0].szRemedy.find(row.remedy), std::string::npos) << findings[0].szRemedy;
  }
}

TEST(GcpCheck, AnyLineDroppedOrDoubledIsFound) {
  for (int line = 1; line <= LineNum(kGood); ++line) {
    EXPECT_NE(Check(DropLine(kGood, line)), "") << "without line " << line;
    EXPECT_NE(Check(DoubleLine(kGood, line)), "") << "line " << line << " twice";
  }
}

}  // namespace
}  // namespace orvo::test
