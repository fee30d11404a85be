// Tie-point files with one thing wrong, through the reading of whole blocks.
#include <gtest/gtest.h>

#include <functional>
#include <limits>

#include "block/OvtFile.h"
#include "check/CheckTable.h"

namespace orvo::test {
namespace {

const std::string kOvc =
    "2 1 0\n0 3600 2700 0 2500 0 0 0 0 0\n"
    "447 0\ni/A.jpg\n1 0 0 0 1 0 0 0 1\n10 20 300\n448 0\ni/B.jpg\n1 0 0 0 1 0 0 0 1\n60 20 300\n";
constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr float kNanFloat = std::numeric_limits<float>::quiet_NaN();

struct Content {
  std::vector<OvtPoint> Points{{"T1", 1, 2, 3, 0, 2, 0}, {"T2", 4, 5, 6, 0, 2, 2}};
  std::vector<OvtMeasure> Measures{{0, 1, 2, 0}, {1, 3, 4, 0}, {0, 5, 6, 0}, {1, 7, 8, 0}};
  int32_t nPoints = 2, nMeasures = 4;
};

std::string BytesOf(const Content& content) {
  std::string bytes(kOvtHeaderBytes, '\0');
  EncodeOvtHeader(content.nPoints, content.nMeasures, bytes.data());
  for (const OvtPoint& point : content.Points) {
    char record[kOvtPointBytes];
    EncodeOvtPoint(point, record);
    bytes.append(record, sizeof record);
  }
  for (const OvtMeasure& measure : content.Measures) {
    char record[kOvtMeasureBytes];
    EncodeOvtMeasure(measure, record);
    bytes.append(record, sizeof record);
  }
  return bytes;
}

struct Read {
  bool bUsable = false;
  std::string szFindings;
  SurveyBlock Block;
};

Read ReadBytes(const std::string& bytes, const std::string& ovc = kOvc) {
  ScratchFolder folder;
  SurveyFiles files{folder / "b.ovc", "", "", "", ""};
  WriteFile(files.szProject, ovc);
  WriteFile(folder / "b.ovt", bytes);
  Read read;
  Diagnosis diagnosis;
  read.bUsable = ReadSurvey(files, read.Block, diagnosis);
  read.szFindings = Listed(diagnosis);
  for (const Finding& one : diagnosis.Findings()) {
    if (one.nByte >= 0) {
      EXPECT_EQ(one.szFile, folder / "b.ovt");
    }
  }
  return read;
}

Read ReadWith(const std::function<void(Content&)>& change) {
  Content content;
  change(content);
  return ReadBytes(BytesOf(content));
}

TEST(OvtSurvey, SoundFile) {
  const Read read = ReadBytes(BytesOf({}));
  EXPECT_TRUE(read.bUsable);
  EXPECT_EQ(read.szFindings, "");
  ASSERT_EQ(read.Block.Tie.Points.size(), 2u);
  EXPECT_STREQ(read.Block.Tie.Points[1].szName.data(), "T2");
  EXPECT_EQ(read.Block.Tie.Points[1].P, (std::array<double, 3>{4, 5, 6}));
  EXPECT_EQ(read.Block.Tie.Points[1].nPlace, 76);
  ASSERT_EQ(read.Block.Tie.Of(read.Block.Tie.Points[1]).size(), 2u);
  EXPECT_EQ(read.Block.Tie.Of(read.Block.Tie.Points[1])[1].x, 7);
}

TEST(OvtSurvey, NameWithoutAnEnd) {
  std::string bytes = BytesOf({});
  bytes.replace(kOvtHeaderBytes, 32, std::string(32, 'T'));
  const Read read = ReadBytes(bytes);
  EXPECT_TRUE(read.bUsable);
  EXPECT_EQ(read.szFindings,
            "S005 @8 the name of point '" + std::string(31, 'T') + "' is longer than 31 bytes");
  EXPECT_EQ(read.Block.Tie.Points[0].szName.data(), std::string(31, 'T'));
  // What stands behind the end of a name is no part of it.
  bytes[kOvtHeaderBytes + 4] = '\0';
  EXPECT_EQ(ReadBytes(bytes).szFindings, "");
  bytes = BytesOf({});
  bytes.replace(kOvtHeaderBytes, 32, std::string(31, 'T') + '\0');
  EXPECT_EQ(ReadBytes(bytes).szFindings, "");
}

TEST(OvtSurvey, Sizes) {
  const std::string good = BytesOf({});
  const struct {
    std::string bytes, findings;
  } rows[] = {
      {"", "S011 @0 the file is too short for its two counts"},
      {good.substr(0, good.size() - 1),
       "S011 @207 2 points and 4 measurements take 208 bytes, and the file has 207"},
      {good + "x", "S012 @208 2 points and 4 measurements take 208 bytes, and the file has 209"},
      {std::string("\xff\xff\xff\xff\0\0\0\0", 8), "S014 @0 the counts are -1 points and 0 measurements"}};
  for (const auto& row : rows) {
    const Read read = ReadBytes(row.bytes);
    EXPECT_EQ(read.szFindings, row.findings);
    EXPECT_FALSE(read.bUsable) << row.findings;
  }
}

TEST(OvtSurvey, Records) {
  const struct {
    std::function<void(Content&)> change;
    std::string findings;
  } rows[] = {
      {[](Content& c) { c.Points[1].nFirstImagePoint = 1; },
       "S020 @76 point 'T2' has 2 measurements from index 1 on, where 2 is the next of 4"},
      {[](Content& c) { c.Points[1].nImagePointNum = 3; },
       "S020 @76 point 'T2' has 3 measurements from index 2 on, where 2 is the next of 4"},
      {[](Content& c) { c.Points[0].nImagePointNum = -1; },
       "S020 @8 point 'T1' has -1 measurements from index 0 on, where 0 is the next of 4"},
      {[](Content& c) { c.Points[1].nImagePointNum = 1; }, "S020 @8 the points have 3 of 4 measurements"},
      {[](Content& c) { c.Points[0].Y = kNan; }, "S017 @40 the coordinates of point 'T1' are not finite"},
      {[](Content& c) { c.Points[0].nType = -2; }, "S014 @64 the type of point 'T1' is -2"},
      {[](Content& c) { c.Measures[2].y = kNanFloat; }, "S017 @180 measurement 2 is not finite"},
      {[](Content& c) { c.Measures[1].nImageOrdinal = 448; }, "R001 @160 there is no image 448"},
      {[](Content& c) { c.Measures[1].nImageOrdinal = -1; }, "R001 @160 there is no image -1"},
      {[](Content& c) { c.Measures[3].nImageOrdinal = 0; },
       "R012 @76 point 'T2' is measured a second time in image 'A'"}};
  for (const auto& row : rows) {
    const Read read = ReadWith(row.change);
    EXPECT_EQ(read.szFindings, row.findings);
    EXPECT_TRUE(read.bUsable) << row.findings;
  }
}

TEST(OvtSurvey, WhatIsAtFaultIsLeftOut) {
  const Read read = ReadWith([](Content& c) { c.Measures[0].nImageOrdinal = 9; });
  ASSERT_EQ(read.Block.Tie.Points.size(), 2u);
  ASSERT_EQ(read.Block.Tie.Of(read.Block.Tie.Points[0]).size(), 1u);
  EXPECT_EQ(read.Block.Tie.Of(read.Block.Tie.Points[0])[0].x, 3);
  EXPECT_EQ(read.Block.Tie.Of(read.Block.Tie.Points[1])[0].x, 5);
}

TEST(OvtSurvey, LostImagesTakeTheirMeasurements) {
  std::string ovc = kOvc;
  ovc.replace(ovc.find("10 20 300"), 9, "0 0 0");
  EXPECT_EQ(ReadBytes(BytesOf({}), ovc).szFindings,
            "R014 6:0 image 'A' is left out, for its position is 0 0 0\n"
            "R019 3:0 2 measurements in image 'A' are set aside with it");
}

TEST(OvtSurvey, TheFileHasToBeThere) {
  ScratchFolder folder;
  SurveyFiles files{folder / "b.ovc", "", "", "", ""};
  WriteFile(files.szProject, kOvc);
  SurveyBlock block;
  Diagnosis diagnosis;
  EXPECT_FALSE(ReadSurvey(files, block, diagnosis));
  EXPECT_EQ(Listed(diagnosis), "S001 0:0 the file can't be read: there is no such file");
}

}  // namespace
}  // namespace orvo::test
