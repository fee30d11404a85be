// Points of text projects.
#include "check/PointLines.h"

#include <gtest/gtest.h>

#include "check/FindingTable.h"

namespace orvo::test {
namespace {

const std::string kHead =
    "2 1 2\n0 3600 2700 0 2500 0 0 0 0 0\n7 0\nA\n1 0 0 0 1 0 0 0 1\n1 2 3\n8 0\nB\n1 0 0 0 1 0 0 0 1\n1 2 "
    "3\n";
const std::string kPoints = "P1 1 2 3.5 0\n2\n0 1.5 2\n1 -1.5 2e1\n22 1 2 3 0\n1\n1 7 8\n";

std::string FaultOf(const std::string& text) {
  ScratchFolder folder;
  WriteFile(folder / "b.prj", text);
  const std::optional<Finding> fault = FindFaultOfTextProject(folder / "b.prj");
  return fault ? Brief({*fault}) : "";
}

TEST(PointLines, Faults) {
  const struct {
    std::string points;
    const char* fault;
  } rows[] = {
      {kPoints, ""},
      {kPoints + "\n", ""},
      {"P1 1 2 3.5 0 more\n1\n0 1.5 2 more\n22 1 2 3 0\n0\n", ""},
      {"P1 1 2 3.5\n1\n0 1.5 2\n22 1 2 3 0\n0\n",
       ":11: error: 'P1 1 2 3.5' is not the line of point 1 of 2."},
      {"P1 1 2 3,5 0\n1\n0 1.5 2\n22 1 2 3 0\n0\n",
       ":11: error: 'P1 1 2 3,5 0' is not the line of point 1 of 2."},
      {"P1 1 2 nan 0\n1\n0 1.5 2\n22 1 2 3 0\n0\n",
       ":11: error: 'P1 1 2 nan 0' is not the line of point 1 of 2."},
      {"P1 1 2 3 -1\n1\n0 1.5 2\n22 1 2 3 0\n0\n",
       ":11: error: 'P1 1 2 3 -1' is not the line of point 1 of 2."},
      {"P1 1 2 3 0\n1 x\n", ":12: error: '1 x' is not the number of measurements of the point P1."},
      {"P1 1 2 3 0\n-1\n", ":12: error: '-1' is not the number of measurements of the point P1."},
      {"P1 1 2 3 0\n1.5\n", ":12: error: '1.5' is not the number of measurements of the point P1."},
      {"P1 1 2 3 0\n1\n0 1.5\n", ":13: error: '0 1.5' is not measurement 1 of 1 of the point P1."},
      {"P1 1 2 3 0\n1\n0 1.5 2x\n", ":13: error: '0 1.5 2x' is not measurement 1 of 1 of the point P1."},
      {"P1 1 2 3 0\n1\n0 1.5 inf\n", ":13: error: '0 1.5 inf' is not measurement 1 of 1 of the point P1."},
      {"P1 1 2 3 0\n1\n2 1.5 2\n", ":13: error: there is no image 2."},
      {"P1 1 2 3 0\n1\n-1 1.5 2\n", ":13: error: there is no image -1."},
      {"P1 1 2 3 0\n1\n\n0 1.5 2\n", ":13: error: an empty line is not measurement 1 of 1 of the point P1."},
      {"P1 1 2 3 0\n2\n0 1.5 2\n", ":14: error: the file ends before measurement 2 of 2 of the point P1."},
      {"P1 1 2 3 0\n", ":12: error: the file ends in the point P1."},
      {"P1 1 2 3 0\n0\n", ":13: error: the file ends before point 2 of 2."},
      {kPoints + "3 1 2\n", ":18: error: '3 1 2' stands behind the last of 2 points."},
  };
  for (const auto& row : rows) EXPECT_EQ(FaultOf(kHead + row.points), row.fault) << row.points;
}

TEST(PointLines, AnyLineDroppedOrDoubledIsFound) {
  const std::string good = kHead + kPoints;
  for (int line = 1; line <= LineNum(good); ++line) {
    EXPECT_NE(FaultOf(DropLine(good, line)), "") << "without line " << line;
    EXPECT_NE(FaultOf(DoubleLine(good, line)), "") << "line " << line << " twice";
  }
}

}  // namespace
}  // namespace orvo::test
