// The pieces of reading POS data: one line, the name index, strips and times.
#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <random>

#include "block/ImageNameIndex.h"
#include "block/PosLine.h"
#include "block/StripGroups.h"

namespace orvo {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

TEST(PosLine, TakesEightFieldsInTheFilesOrder) {
  PosLine line;
  ASSERT_TRUE(ReadPosLine("  IMG_1\t1.5 -2 3e2  10 20 30 4 and more", line));
  EXPECT_EQ(line.szName, "IMG_1");
  EXPECT_EQ(line.X, 1.5);
  EXPECT_EQ(line.Y, -2);
  EXPECT_EQ(line.Z, 300);
  EXPECT_EQ(line.fOmega, 10);
  EXPECT_EQ(line.fPhi, 20);
  EXPECT_EQ(line.fKappa, 30);
  EXPECT_EQ(line.nStrip, 4);
}

TEST(PosLine, ShortLineKeepsWhatTheLineBeforeGave) {
  PosLine line;
  ReadPosLine("a 1 2 3 4 5 6 7", line);
  struct {
    const char* szText;
    double X, Z, fKappa;
    int32_t nStrip;
  } const rows[] = {
      {"b 11 12 13 14 15 16", 11, 13, 16, 7},
      {"c 21", 21, 13, 16, 7},
      {"d", 21, 13, 16, 7},
      {"e 31 text 33 34 35 36 8", 31, 13, 16, 7},
      {"f 1 2 3 4 5 6 x", 1, 3, 6, 7},
      {"g 1 2 3 4 5 6 9", 1, 3, 6, 9},
  };
  for (const auto& row : rows) {
    ASSERT_TRUE(ReadPosLine(row.szText, line)) << row.szText;
    EXPECT_EQ(line.szName, std::string(1, row.szText[0]));
    EXPECT_EQ(line.X, row.X) << row.szText;
    EXPECT_EQ(line.Z, row.Z) << row.szText;
    EXPECT_EQ(line.fKappa, row.fKappa) << row.szText;
    EXPECT_EQ(line.nStrip, row.nStrip) << row.szText;
  }
}

TEST(PosLine, BlankTextIsPassedOver) {
  PosLine line;
  ReadPosLine("a 1 2 3 4 5 6 7", line);
  for (const char* text : {"", " ", "\t  \t"}) {
    EXPECT_FALSE(ReadPosLine(text, line));
    EXPECT_EQ(line.szName, "a");
    EXPECT_EQ(line.X, 1);
  }
}

TEST(PosLine, FieldsThatNoLineGaveAreNoNumbers) {
  PosLine line;
  ASSERT_TRUE(ReadPosLine("a 1 2", line));
  EXPECT_EQ(line.Y, 2);
  EXPECT_TRUE(std::isnan(line.Z));
  EXPECT_TRUE(std::isnan(line.fKappa));
  EXPECT_EQ(line.nStrip, -1);
}

TEST(PosLine, DegreesAreDividedByTheTenDigitFactor) {
  EXPECT_EQ(PosRadians(57.29577951471995), 1.0);
  EXPECT_EQ(PosRadians(180), 180 / 57.29577951471995);
  EXPECT_NEAR(PosRadians(180), 3.1415926535, 1e-15);
}

TEST(ImageNameIndex, FindsTheLowestOrdinalOfAName) {
  const std::vector<std::string_view> names = {"b", "a", "", "b", "\xC4", "ab", "a"};
  const ImageNameIndex index(names);
  EXPECT_EQ(index.Find("a"), 1);
  EXPECT_EQ(index.Find("b"), 0);
  EXPECT_EQ(index.Find("ab"), 5);
  EXPECT_EQ(index.Find("\xC4"), 4);  // bytes sort without sign
  EXPECT_EQ(index.Find(""), 2);
  for (const char* absent : {"A", "aa", "abc", "c", "\xFF"}) EXPECT_EQ(index.Find(absent), -1) << absent;
  EXPECT_EQ(index.Find(std::string(100000, 'a')), -1);
  EXPECT_EQ(ImageNameIndex({}).Find("a"), -1);
}

TEST(ImageNameIndex, EqualsALinearSearch) {
  std::mt19937 random(7);
  std::vector<std::string> texts(500);
  for (std::string& text : texts) {
    for (auto length = random() % 4; length > 0; --length) text += static_cast<char>('a' + random() % 3);
  }
  const std::vector<std::string_view> names(texts.begin(), texts.end());
  const ImageNameIndex index(names);
  for (size_t i = 0; i < names.size(); ++i) {
    size_t first = 0;
    while (names[first] != names[i]) ++first;
    EXPECT_EQ(index.Find(names[i]), static_cast<int32_t>(first)) << names[i];
  }
}

TEST(StripGroups, AreCompactInTheOrderOfTheIds) {
  const std::vector<int32_t> strips = {5, 7, 0, 5, 7, 0, 9, -1, -3};
  const std::vector<int32_t> kept = {0, 1, 2, 3, 4, 5, 6, 7, 8};
  const std::vector<StripCount> groups = FormStripGroups(strips, kept);
  ASSERT_EQ(groups.size(), 4u);
  const StripCount expected[] = {{0, 2, 0}, {5, 2, 1}, {7, 2, 2}, {9, 1, -1}};
  for (size_t i = 0; i < 4; ++i) {
    EXPECT_EQ(groups[i].nStrip, expected[i].nStrip);
    EXPECT_EQ(groups[i].nImageNum, expected[i].nImageNum);
    EXPECT_EQ(groups[i].nGroup, expected[i].nGroup);
  }
  EXPECT_EQ(CountGroups(groups), 3);
  EXPECT_EQ(GroupOfStrip(groups, 7), 2);
  for (const int32_t without : {9, 8, 1, -1, -3, 2000000000}) EXPECT_EQ(GroupOfStrip(groups, without), -1);
}

TEST(StripGroups, DeletedImagesHoldAnIdAndAreNotCounted) {
  const std::vector<StripCount> groups =
      FormStripGroups(std::vector<int32_t>{3, 3, 4, 4}, std::vector<int32_t>{0, -1, 1, 2});
  ASSERT_EQ(groups.size(), 2u);
  EXPECT_EQ(groups[0].nImageNum, 1);
  EXPECT_EQ(groups[0].nGroup, -1);
  EXPECT_EQ(groups[1].nImageNum, 2);
  EXPECT_EQ(groups[1].nGroup, 0);
}

TEST(StripGroups, HugeIdsTakeNoMoreRoomThanSmallOnes) {
  constexpr int32_t kHuge = std::numeric_limits<int32_t>::max();
  const std::vector<StripCount> groups =
      FormStripGroups(std::vector<int32_t>{kHuge, kHuge, 2000000000}, std::vector<int32_t>{0, 1, 2});
  ASSERT_EQ(groups.size(), 2u);
  EXPECT_EQ(GroupOfStrip(groups, kHuge), 0);
  EXPECT_TRUE(FormStripGroups({}, {}).empty());
}

EopRecord At(double X, double Y, double Z) {
  EopRecord image;
  image.X = X;
  image.Y = Y;
  image.Z = Z;
  image.fTime = 99;
  return image;
}

std::vector<double> TimesOf(std::vector<EopRecord> images, double speed = 10) {
  const std::vector<int32_t> groups(images.size(), 0);
  ComputeStripTimes(groups, 1, speed, images);
  std::vector<double> times;
  for (const EopRecord& image : images) times.push_back(image.fTime);
  return times;
}

using Times = std::vector<double>;

TEST(StripTimes, AreSignedDistancesFromTheFirstImage) {
  EXPECT_EQ(TimesOf({At(0, 0, 0), At(0, 30, 40), At(3, 0, -4)}), (Times{0, 5, -0.5}));
  EXPECT_EQ(TimesOf({At(0, 0, 0), At(0, 40, 30), At(3, -4, 0), At(0, 100, 0)}), (Times{0, 5, -0.5, 10}));
  EXPECT_EQ(TimesOf({At(5, 5, 5), At(4, 5, 5)}), (Times{0, -0.1}));
}

TEST(StripTimes, AxisIsThatOfTheLargestDifferenceOfTheSecondImage) {
  struct {
    EopRecord second;
    int nAxis;
  } const rows[] = {
      {At(2, 1, 1), 0},  {At(-2, 1, 1), 0}, {At(1, 2, 1), 1},  {At(1, 1, 2), 2}, {At(2, 2, 1), 0},
      {At(2, 1, -2), 0}, {At(1, 2, 2), 2},  {At(1, -2, 2), 2}, {At(1, 3, 2), 1}, {At(2, 2, 2), 0},
      {At(0, 0, 0), 0},  {At(0, -1, 0), 1}, {At(0, 0, -1), 2},
  };
  for (const auto& row : rows) {
    // The third image goes forward on one axis and back on the two others.
    for (int axis = 0; axis < 3; ++axis) {
      const EopRecord third = At(axis == 0 ? 1 : -1, axis == 1 ? 1 : -1, axis == 2 ? 1 : -1);
      const double time = TimesOf({At(0, 0, 0), row.second, third})[2];
      EXPECT_EQ(time > 0, axis == row.nAxis) << row.second.X << ' ' << row.second.Y << ' ' << row.second.Z;
      EXPECT_DOUBLE_EQ(std::fabs(time), std::sqrt(3.0) / 10);
    }
  }
}

TEST(StripTimes, ADifferenceOfExactlyZeroAlongTheAxisGivesTime0) {
  EXPECT_EQ(TimesOf({At(0, 0, 0), At(9, 0, 0), At(0, 5, 0), At(-0.0, 5, 1)}), (Times{0, 0.9, 0, 0}));
}

TEST(StripTimes, ASpeedWithoutFiniteTimesGives0) {
  for (const double speed : {0.0, -0.0, kInfinity, -kInfinity, std::nan(""), 1e-320}) {
    EXPECT_EQ(TimesOf({At(0, 0, 0), At(9, 0, 0), At(-9, 0, 0)}, speed), (Times{0, 0, 0})) << speed;
  }
  EXPECT_EQ(TimesOf({At(0, 0, 0), At(9, 0, 0)}, -3), (Times{0, -3}));
}

TEST(StripTimes, GroupsHaveTheirOwnFirstImageAndAxis) {
  std::vector<EopRecord> images = {At(7, 7, 7), At(0, 0, 0),   At(100, 0, 0),
                                   At(0, 8, 0), At(100, 0, 4), At(0, -8, 1)};
  ComputeStripTimes(std::vector<int32_t>{-1, 1, 0, 1, 0, 1}, 2, 2, images);
  EXPECT_EQ(images[0].fTime, 99);  // without group: untouched
  EXPECT_EQ(images[1].fTime, 0);
  EXPECT_EQ(images[2].fTime, 0);
  EXPECT_EQ(images[3].fTime, 4);
  EXPECT_EQ(images[4].fTime, 2);
  EXPECT_DOUBLE_EQ(images[5].fTime, -std::sqrt(65.0) / 2);
}

}  // namespace
}  // namespace orvo
