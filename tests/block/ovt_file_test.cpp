// The binary tie-point file.
#include "block/OvtFile.h"

#include <gtest/gtest.h>

#include "block/BlockFiles.h"

namespace orvo::test {
namespace {

TEST(OvtFile, BytesOfTheRecords) {
  OvtPoint point = MakeOvtPoint("P1", 2, 3, 258);
  point.X = 1.0;
  point.Y = -2.0;
  point.Z = 0.5;
  const OvtMeasure measure{1, 1.0f, -2.0f, 0x01020304};
  const std::string bytes = OvtBytes({point}, {measure});
  ASSERT_EQ(8u + 68u + 16u, bytes.size());
  const auto at = [&](size_t offset, size_t length) { return bytes.substr(offset, length); };
  using namespace std::string_literals;
  EXPECT_EQ("\1\0\0\0\1\0\0\0"s, at(0, 8));
  EXPECT_EQ("P1"s + std::string(30, '\0'), at(8, 32));
  EXPECT_EQ("\0\0\0\0\0\0\xf0\x3f"s, at(40, 8));
  EXPECT_EQ("\0\0\0\0\0\0\0\xc0"s, at(48, 8));
  EXPECT_EQ("\0\0\0\0\0\0\xe0\x3f"s, at(56, 8));
  EXPECT_EQ("\2\0\0\0\3\0\0\0\2\1\0\0"s, at(64, 12));
  EXPECT_EQ("\1\0\0\0\0\0\x80\x3f\0\0\0\xc0\4\3\2\1"s, at(76, 16));
}

TEST(OvtFile, RecordsComeBack) {
  const std::string bytes = OvtBytes({MakeOvtPoint("name", 1, 2, 3)}, {{4, 5.5f, -6.5f, 7}});
  const OvtPoint point = DecodeOvtPoint(bytes.data() + 8);
  EXPECT_STREQ("name", point.szName);
  EXPECT_EQ(1, point.X);
  EXPECT_EQ(2, point.Y);
  EXPECT_EQ(3, point.Z);
  EXPECT_EQ(1, point.nType);
  EXPECT_EQ(2, point.nImagePointNum);
  EXPECT_EQ(3, point.nFirstImagePoint);
  EXPECT_EQ(2, DecodeOvtMeasureCount(bytes.data() + 8));
  const OvtMeasure measure = DecodeOvtMeasure(bytes.data() + 76);
  EXPECT_EQ(4, measure.nImageOrdinal);
  EXPECT_EQ(5.5f, measure.x);
  EXPECT_EQ(-6.5f, measure.y);
  EXPECT_EQ(7, measure.nReserved);
  EXPECT_EQ(4, DecodeOvtImageOrdinal(bytes.data() + 76));
}

TEST(OvtFile, NewPositionInAPackedRecord) {
  std::string bytes = OvtBytes({MakeOvtPoint("name", 1, 2, 3)}, {});
  EncodeOvtPosition(7, 8, 9, bytes.data() + 8);
  const OvtPoint point = DecodeOvtPoint(bytes.data() + 8);
  EXPECT_EQ(7, point.X);
  EXPECT_EQ(8, point.Y);
  EXPECT_EQ(9, point.Z);
  EXPECT_STREQ("name", point.szName);
  EXPECT_EQ(3, point.nFirstImagePoint);
}

TEST(OvtFile, ANameWithoutEndIsCut) {
  std::string bytes = OvtBytes({MakeOvtPoint("", 0, 0, 0)}, {});
  bytes.replace(8, 32, std::string(32, 'n'));
  EXPECT_EQ(std::string(31, 'n'), DecodeOvtPoint(bytes.data() + 8).szName);
}

TEST(OvtReader, RunsOfRecords) {
  ScratchFolder folder;
  std::vector<OvtPoint> points;
  std::vector<OvtMeasure> measures;
  for (int i = 0; i < 10; ++i) points.push_back(MakeOvtPoint(std::to_string(i).c_str(), 0, 2, 2 * i));
  for (int i = 0; i < 20; ++i) measures.push_back({i, 0, 0, 0});
  WriteFile(folder / "a.ovt", OvtBytes(points, measures));
  OvtReader file;
  ASSERT_TRUE(file.Open(folder / "a.ovt"));
  EXPECT_EQ(10, file.PointNum());
  EXPECT_EQ(20, file.MeasureNum());
  std::vector<char> records(20 * 68);
  ASSERT_EQ(3, file.ReadPoints(4, 3, records.data()));
  EXPECT_STREQ("4", DecodeOvtPoint(records.data()).szName);
  EXPECT_STREQ("6", DecodeOvtPoint(records.data() + 2 * 68).szName);
  ASSERT_EQ(2, file.ReadPoints(8, 20, records.data()));
  EXPECT_STREQ("9", DecodeOvtPoint(records.data() + 68).szName);
  ASSERT_EQ(5, file.ReadMeasures(15, 20, records.data()));
  EXPECT_EQ(15, DecodeOvtImageOrdinal(records.data()));
  ASSERT_EQ(1, file.ReadMeasures(0, 1, records.data()));
  EXPECT_EQ(0, DecodeOvtImageOrdinal(records.data()));
  for (int64_t first : {int64_t{-1}, int64_t{20}, int64_t{1} << 40}) {
    EXPECT_EQ(0, file.ReadPoints(first, 1, records.data()));
    EXPECT_EQ(0, file.ReadMeasures(first, 1, records.data()));
  }
  EXPECT_EQ(0, file.ReadPoints(0, 0, records.data()));
  EXPECT_EQ(0, file.ReadPoints(0, -1, records.data()));
}

TEST(OvtReader, CountsAreCutToTheFileAtEveryLength) {
  ScratchFolder folder;
  const std::string whole = OvtBytes({MakeOvtPoint("a", 0, 1, 0), MakeOvtPoint("b", 0, 2, 1)},
                                     {{0, 1, 1, 0}, {0, 2, 2, 0}, {0, 3, 3, 0}});
  std::vector<char> records(10 * 68);
  for (size_t length = 0; length <= whole.size(); ++length) {
    WriteFile(folder / "a.ovt", whole.substr(0, length));
    OvtReader file;
    ASSERT_TRUE(file.Open(folder / "a.ovt"));
    const auto bytes = static_cast<int64_t>(length);
    EXPECT_EQ(length < 8 ? 0 : std::min<int64_t>((bytes - 8) / 68, 2), file.PointNum()) << length;
    EXPECT_EQ(length < 8 + 136 ? 0 : (bytes - 8 - 136) / 16, file.MeasureNum()) << length;
    EXPECT_EQ(length < 8 ? 0 : 2, file.HeaderPointNum());
    EXPECT_EQ(length < 8 ? 0 : 3, file.HeaderMeasureNum());
    EXPECT_EQ(file.PointNum(), file.ReadPoints(0, 10, records.data())) << length;
    EXPECT_EQ(file.MeasureNum(), file.ReadMeasures(0, 10, records.data())) << length;
  }
}

TEST(OvtReader, NegativeAndHugeCounts) {
  ScratchFolder folder;
  struct Row {
    int32_t points, measures, pointNum, measureNum;
  };
  for (const Row& row : {Row{-1, -1, 0, 0}, Row{INT32_MIN, 2, 0, 2}, Row{INT32_MAX, INT32_MAX, 1, 0},
                         Row{1, INT32_MAX, 1, 2}, Row{0, INT32_MAX, 0, 6}}) {
    std::string bytes = OvtBytes({MakeOvtPoint("a", 0, 1, 0)}, {{0, 1, 1, 0}, {0, 2, 2, 0}});
    EncodeOvtHeader(row.points, row.measures, bytes.data());
    WriteFile(folder / "a.ovt", bytes);
    OvtReader file;
    ASSERT_TRUE(file.Open(folder / "a.ovt"));
    EXPECT_EQ(row.pointNum, file.PointNum()) << row.points;
    EXPECT_EQ(row.measureNum, file.MeasureNum()) << row.points;
  }
}

TEST(OvtReader, WhatCannotBeOpened) {
  ScratchFolder folder;
  OvtReader file;
  EXPECT_FALSE(file.Open(folder / "absent"));
  EXPECT_FALSE(file.Open(folder.Path()));
  EXPECT_FALSE(file.Open(""));
  EXPECT_EQ(0, file.PointNum());
  char record[68];
  EXPECT_EQ(0, file.ReadPoints(0, 1, record));
}

}  // namespace
}  // namespace orvo::test
