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

std::vector<int64_t> LinesIn(const std::string& text, std::vector<MeasurementLine> wanted) {
  const ScratchFolder folder;
  const std::string path = folder / "gcp.txt";
  WriteFile(path, text);
  InputFiles inputs;
  FindMeasurementLines(path, FirstPointOfGcp(path, inputs), inputs, wanted);
  std::vector<int64_t> lines;
  for (const MeasurementLine& one : wanted) lines.push_back(one.nLine);
  return lines;
}

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
  for (const LineCase& each : cases)
    EXPECT_EQ(LinesIn(kGcp, {each.Wanted}), std::vector<int64_t>{each.nLine}) << each.szWhat;
}

TEST(MeasurementLines, OfAListComeInItsOrder) {
  EXPECT_EQ(LinesIn(kGcp, {{"G1", -1}, {"G1", 0, 10.5, -20}, {"G1", 1, 11, 21}, {"G2", -1}, {"G1", 0, 7, 8}}),
            (std::vector<int64_t>{2, 4, 5, 6, 10}));
  EXPECT_EQ(LinesIn(kGcp, {{"G1", 1, 11, 21}, {"G9", -1}, {"G1", 0, 7, 8}}), (std::vector<int64_t>{5, 0, 0}));
}

TEST(MeasurementLines, OfPointsOfOneNameAreTheirOwn) {
  constexpr int32_t kPoints = 2000;
  std::string text = std::to_string(kPoints) + "\n";
  std::vector<MeasurementLine> wanted;
  std::vector<int64_t> expected;
  for (int32_t p = 0; p < kPoints; ++p) {
    text += "P 1 2 3 0\n2\n0 " + std::to_string(p) + " 5\n1 " + std::to_string(p) + " 6\n";
    if (p % 3 != 0) continue;
    wanted.push_back({"P", 1, static_cast<double>(p), 6});
    expected.push_back(1 + 4 * p + 4);
  }
  EXPECT_EQ(LinesIn(text, wanted), expected);
}

TEST(MeasurementLines, OfBrokenFilesAreNone) {
  for (const char* text : {"", "3", "3\nG1 1 2 3 1", "3\nG1 1 2 3 1\n9999999\n", "3\nG1 1 2 3 1\nx\n0 1 1\n"})
    EXPECT_EQ(LinesIn(text, {{"G1", 0, 1, 1}}), std::vector<int64_t>{0}) << text;
  InputFiles inputs;
  std::vector<MeasurementLine> wanted = {{"G1", 0, 1, 1}};
  FindMeasurementLines("no/such/file", 0, inputs, wanted);
  EXPECT_EQ(0, wanted[0].nLine);
}

}  // namespace
}  // namespace orvo::test
