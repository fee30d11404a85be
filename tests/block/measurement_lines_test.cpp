// Lines of measurements and points in text files.
#include "block/MeasurementLines.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "base/InputFiles.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

/// Two control points, of which two share a name.
const char* const kGcp =
    "3\n"
    "G1 1 2 3 1\n"
    "2\n"
    "0 10.5 -20\n"
    "1 11 21\r\n"
    "G2 1 2 3 2\n"
    "0\n"
    "G1 4 5 6 1\n"
    "1\n"
    "1 7 8";

struct LineCase {
  const char* szWhat;
  MeasurementLine Wanted;
  int64_t nLine;
};

TEST(MeasurementLines, AreCountedFromOne) {
  const LineCase cases[] = {
      {"a point is its first line", {"G1", -1}, 2},
      {"a measurement", {"G1", 0, 10.5, -20}, 4},
      {"behind a line end of two characters", {"G1", 1, 11, 21}, 5},
      {"without measurements", {"G2", -1}, 6},
      {"the point of that name which has it", {"G1", 0, 7, 8}, 10},
      {"coordinates as good as single precision has them", {"G1", 0, 7.00001, 8}, 10},
      {"no such point", {"G3", -1}, 0},
      {"no such measurement", {"G2", 0, 1, 1}, 0},
      {"other coordinates", {"G1", 0, 70, 8}, 0},
  };
  ScratchFolder folder;
  const std::string path = folder / "gcp.txt";
  WriteFile(path, kGcp);
  InputFiles inputs;
  std::vector<MeasurementLine> wanted;
  for (const LineCase& each : cases) wanted.push_back(each.Wanted);
  FindMeasurementLines(path, FirstPointOfGcp(path, inputs), inputs, wanted);
  for (size_t i = 0; i < wanted.size(); ++i) EXPECT_EQ(cases[i].nLine, wanted[i].nLine) << cases[i].szWhat;
}

TEST(MeasurementLines, OfBrokenFilesAreNone) {
  for (const char* text :
       {"", "3", "3\nG1 1 2 3 1", "3\nG1 1 2 3 1\n9999999\n", "3\nG1 1 2 3 1\nx\n0 1 1\n"}) {
    ScratchFolder folder;
    const std::string path = folder / "gcp.txt";
    WriteFile(path, text);
    InputFiles inputs;
    std::vector<MeasurementLine> wanted = {{"G1", 0, 1, 1}};
    FindMeasurementLines(path, FirstPointOfGcp(path, inputs), inputs, wanted);
    EXPECT_EQ(0, wanted[0].nLine) << text;
  }
  InputFiles inputs;
  std::vector<MeasurementLine> wanted = {{"G1", 0, 1, 1}};
  FindMeasurementLines("no/such/file", 0, inputs, wanted);
  EXPECT_EQ(0, wanted[0].nLine);
}

}  // namespace
}  // namespace orvo::test
