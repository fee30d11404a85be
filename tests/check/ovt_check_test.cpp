// Tie-point files against their counts and ranges.
#include "check/OvtCheck.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "block/OvtFile.h"
#include "check/FindingTable.h"

namespace orvo::test {
namespace {

struct Content {
  std::vector<OvtPoint> Points;
  std::vector<OvtMeasure> Measures;
  int32_t nPoints = 2, nMeasures = 4;
  std::string szBehind;
};

Content Good() {
  Content content;
  content.Points = {{"P", 1, 2, 3, 0, 2, 0}, {"Q", 1, 2, 3, 0, 2, 2}};
  content.Measures = {{0, 1, 2, 0}, {1, 1, 2, 0}, {0, 3, 4, 0}, {1, 3, 4, 0}};
  return content;
}

std::string BytesOf(const Content& content) {
  char record[kOvtPointBytes] = {};
  EncodeOvtHeader(content.nPoints, content.nMeasures, record);
  std::string bytes(record, kOvtHeaderBytes);
  for (const OvtPoint& point : content.Points) {
    EncodeOvtPoint(point, record);
    bytes.append(record, kOvtPointBytes);
  }
  for (const OvtMeasure& measure : content.Measures) {
    EncodeOvtMeasure(measure, record);
    bytes.append(record, kOvtMeasureBytes);
  }
  return bytes + content.szBehind;
}

std::string FaultOf(const std::string& bytes) {
  ScratchFolder folder;
  WriteFile(folder / "b.ovt", bytes);
  const std::optional<Finding> fault = FindFaultOfOvt(folder / "b.ovt", 2);
  return fault ? Brief({*fault}) : "";
}

template <typename Change>
std::string FaultWith(const Change& change) {
  Content content = Good();
  change(content);
  return FaultOf(BytesOf(content));
}

TEST(OvtCheck, Faults) {
  constexpr float kNan = std::numeric_limits<float>::quiet_NaN();
  const std::string ranges = " measurements from index ",
                    tail = " on, which don't follow those of the point before it, or a number that can't be.";
  EXPECT_EQ(FaultWith([](Content&) {}), "");
  EXPECT_EQ(FaultWith([](Content& c) { c.nPoints = -1; }),
            ": byte 0: error: the counts are -1 points and 4 measurements.");
  EXPECT_EQ(FaultWith([](Content& c) { c.nMeasures = 5; }),
            ": error: 2 points and 5 measurements take 224 bytes, and the file has 208.");
  EXPECT_EQ(FaultWith([](Content& c) { c.nMeasures = 3; }),
            ": error: 2 points and 3 measurements take 192 bytes, and the file has 208.");
  EXPECT_EQ(FaultWith([](Content& c) { c.szBehind = "x"; }),
            ": error: 2 points and 4 measurements take 208 bytes, and the file has 209.");
  EXPECT_EQ(FaultWith([](Content& c) { c.Points[1].nFirstImagePoint = 1; }),
            ": byte 76: error: point 1 (Q) has 2" + ranges + "1" + tail);
  EXPECT_EQ(FaultWith([](Content& c) { c.Points[0].nImagePointNum = 1; }),
            ": byte 76: error: point 1 (Q) has 2" + ranges + "2" + tail);
  EXPECT_EQ(FaultWith([](Content& c) { c.Points[1].nImagePointNum = 3; }),
            ": byte 76: error: point 1 (Q) has 3" + ranges + "2" + tail);
  EXPECT_EQ(FaultWith([](Content& c) { c.Points[1].nImagePointNum = 1; }),
            ": error: the points have 3 of 4 measurements.");
  EXPECT_EQ(FaultWith([](Content& c) { c.Points[0].nImagePointNum = -2; }),
            ": byte 8: error: point 0 (P) has -2" + ranges + "0" + tail);
  EXPECT_EQ(FaultWith([](Content& c) { c.Points[0].Z = HUGE_VAL; }),
            ": byte 8: error: point 0 (P) has 2" + ranges + "0" + tail);
  EXPECT_EQ(FaultWith([](Content& c) { c.Measures[2].nImageOrdinal = 2; }),
            ": byte 176: error: measurement 2 is on image 2, which there is not.");
  EXPECT_EQ(FaultWith([](Content& c) { c.Measures[3].nImageOrdinal = -1; }),
            ": byte 192: error: measurement 3 is on image -1, which there is not.");
  EXPECT_EQ(FaultWith([](Content& c) { c.Measures[0].y = kNan; }),
            ": byte 144: error: measurement 0 is not finite.");
}

TEST(OvtCheck, AFileCutAnywhereIsFound) {
  const std::string good = BytesOf(Good());
  for (size_t length = 0; length < good.size(); ++length)
    EXPECT_NE(FaultOf(good.substr(0, length)), "") << length;
}

}  // namespace
}  // namespace orvo::test
