// Division of the points into sections.
#include "block/SectionPlan.h"

#include <gtest/gtest.h>

#include <random>

#include "block/BlockFiles.h"
#include "fuzz/Invariants.h"

namespace orvo::test {
namespace {

using Ranges = std::vector<std::pair<int64_t, int64_t>>;

Ranges Pairs(const std::vector<PointSectionTable::Range>& ranges) {
  Ranges pairs;
  for (const auto& range : ranges) pairs.emplace_back(range.nFirst, range.nLast);
  return pairs;
}

TEST(SectionPlan, Estimate) {
  EXPECT_EQ(0, EstimateBlockBytes(0, 0, 0, 0));
  EXPECT_EQ(68 * 10 + 28 * 30 + 60 * 4 + 40 * 2, EstimateBlockBytes(4, 2, 10, 30));
  EXPECT_EQ(int64_t{60} * INT32_MAX, EstimateBlockBytes(INT32_MAX, 0, 0, 0));
}

TEST(SectionPlan, Count) {
  EXPECT_EQ(1, CountSections(1000, 1001, 100));
  EXPECT_EQ(1, CountSections(1000, 1000, 100));
  EXPECT_EQ(2, CountSections(1001, 1000, 100));
  EXPECT_EQ(3, CountSections(2500, 1000, 100));
  EXPECT_EQ(3, CountSections(2000, 1000, 100));
  EXPECT_EQ(100, CountSections(1000000, 1, 100));
  for (double limit : {0.0, -5.0, 1e-9}) {
    EXPECT_EQ(100, CountSections(1000, limit, 100));
    EXPECT_EQ(1, CountSections(1000, limit, 0));
    EXPECT_EQ(INT32_MAX, CountSections(INT64_MAX, limit, INT64_MAX));
  }
  EXPECT_EQ(1, CountSections(0, 0.0, 100));
}

TEST(SectionPlan, ImagePointsAreBalanced) {
  const std::vector<int32_t> counts = {2, 2, 2, 2, 2, 2};
  const PointSectionTable two = DivideByImagePoints(2, 6, 12, counts);
  EXPECT_EQ((Ranges{{0, 3}, {4, 5}}), Pairs(two.ObjectPoints));  // the sum has to exceed 6
  EXPECT_EQ((Ranges{{0, 7}, {8, 11}}), Pairs(two.ImagePoints));
  const PointSectionTable one = DivideByImagePoints(1, 6, 12, counts);
  EXPECT_EQ((Ranges{{0, 5}}), Pairs(one.ObjectPoints));
  EXPECT_EQ((Ranges{{0, 11}}), Pairs(one.ImagePoints));
}

TEST(SectionPlan, ManyMeasurementsOnFewPoints) {
  const PointSectionTable table = DivideByImagePoints(3, 5, 24, std::vector<int32_t>{9, 1, 1, 12, 1});
  EXPECT_EQ((Ranges{{0, 0}, {1, 3}, {4, 4}}), Pairs(table.ObjectPoints));
  EXPECT_EQ((Ranges{{0, 8}, {9, 22}, {23, 23}}), Pairs(table.ImagePoints));
}

TEST(SectionPlan, PointsBehindTheCountsWeighNothing) {
  // Six tie points and four GCP with 12 of the 24 image points.
  const std::vector<int32_t> counts = {2, 2, 2, 2, 2, 2};
  EXPECT_EQ((Ranges{{0, 4}, {5, 4}, {5, 9}}), Pairs(DivideByImagePoints(3, 10, 24, counts).ObjectPoints));
  EXPECT_EQ((Ranges{{0, -1}, {0, 9}}), Pairs(DivideByImagePoints(2, 10, 24, counts).ObjectPoints));
  EXPECT_EQ((Ranges{{0, -1}, {0, 3}}), Pairs(DivideByImagePoints(2, 4, 0, {}).ObjectPoints));
}

TEST(SectionPlan, WithoutCountsByObjectPoints) {
  EXPECT_EQ((Ranges{{0, 3}, {4, 7}, {8, 9}}), Pairs(DivideByObjectPoints(3, 10, 50).ObjectPoints));
  EXPECT_EQ((Ranges{{0, 0}, {0, 0}, {0, 49}}), Pairs(DivideByObjectPoints(3, 10, 50).ImagePoints));
  EXPECT_EQ((Ranges{{0, 1}, {2, 3}, {4, 3}, {4, 3}}), Pairs(DivideByObjectPoints(4, 4, 50).ObjectPoints));
  EXPECT_EQ((Ranges{{0, -1}}), Pairs(DivideByObjectPoints(1, 0, 0).ObjectPoints));
}

TEST(SectionPlan, NoGapAndNoOverlapWhateverTheCounts) {
  std::mt19937 random(5);
  for (int i = 0; i < 2000; ++i) {
    std::uniform_int_distribution<int32_t> size(0, 40), weight(0, i % 7 + 1), gcp(0, 5), images(0, 300);
    std::vector<int32_t> counts(static_cast<size_t>(size(random)));
    for (int32_t& count : counts) count = weight(random);
    const auto points = static_cast<int64_t>(counts.size()) + gcp(random);
    const int32_t sectionNum =
        std::uniform_int_distribution<int32_t>(1, std::max<int32_t>(1, static_cast<int32_t>(points)))(random);
    PointSectionTable sections = DivideByImagePoints(sectionNum, points, images(random), counts);
    ASSERT_EQ("", WhatIsWrongWithSections(sections, points));
    sections = DivideByObjectPoints(sectionNum, points, images(random));
    ASSERT_EQ("", WhatIsWrongWithSections(sections, points));
  }
}

void PlanOf(LoggedBlock& block, const BlockSize& size, const std::vector<int32_t>* counts) {
  block->Points.Sections = PlanPointSections(size, counts, block->System.FreePhysicalBytes(), block->Log);
}

TEST(PlanPointSections, OneSectionInPlentyOfMemory) {
  LoggedBlock block;
  const std::vector<int32_t> counts(100, 3);
  PlanOf(block, {10, 1, 102, 310}, &counts);
  EXPECT_EQ("CPU Sections:1\n0/0 101/309\n", block.Log());
}

TEST(PlanPointSections, TwoAndAHalfTimesTheMemoryIsThreeSections) {
  // need = 68 * 100 + 28 * 300 + 60 * 4 + 40 = 15480 = 2.5 * 6192 and 6192 = 0.8 * 7740
  LoggedBlock block(7740);
  const std::vector<int32_t> counts(100, 3);
  PlanOf(block, {4, 1, 100, 300}, &counts);
  EXPECT_EQ("CPU Sections:3\n0/0 33/101\n34/102 67/203\n68/204 99/299\n", block.Log());
  PlanOf(block, {4, 1, 100, 300}, nullptr);
  EXPECT_EQ("CPU Sections:3\n0/0 33/0\n34/0 67/0\n68/0 99/299\n", block.Log());
}

TEST(PlanPointSections, WithoutAnyMemory) {
  LoggedBlock block(0);
  const std::vector<int32_t> counts(3, 2);
  PlanOf(block, {4, 1, 3, 6}, &counts);
  EXPECT_EQ(3, block->Points.Sections.Count());
  PlanOf(block, {4, 1, 0, 0}, nullptr);
  EXPECT_EQ(1, block->Points.Sections.Count());
  EXPECT_EQ(0, block->Points.Sections.ObjectPoints[0].Count());
}

}  // namespace
}  // namespace orvo::test
