// The operations of the normal equations as the object has them: results, messages, memory.
#include <gtest/gtest.h>

#include "normal/NormalBuilders.h"
#include "run/BundleAdjustment.h"

namespace orvo::test {
namespace {

TEST(AddSubMatrixPosition, IdOutOfRange) {
  CapturedLog console;
  CBundleAdjustment block(NativePlatform(), console.Console());
  SetLayout(block, LayoutEop, 4, 1);
  EXPECT_EQ(block.AddSubMatrixPosition(3, 3), 1);
  EXPECT_EQ(block.AddSubMatrixPosition(3, 4), 0);
  EXPECT_EQ(block.AddSubMatrixPosition(9, 9), 0);
  EXPECT_EQ(block.AddSubMatrixPosition(-1, 2), 0);
  EXPECT_EQ(console.Text(),
            "Error!Sub-normal-matrix ID out of range!\nError!Sub-normal-matrix ID out of range!\n"
            "Error!Sub-normal-matrix ID out of range!\n");
}

TEST(GetUnknownPosition, OfRowAndColumn) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  SetLayout(block, LayoutEopIop, 5, 2);
  block.Unknowns.nPosSize = 3;
  int32_t rowPosition = -1, colPosition = -1;
  block.GetUnknownPosition(4, 8, rowPosition, colPosition);
  EXPECT_EQ(rowPosition, 24);
  EXPECT_EQ(colPosition, 43);
}

TEST(ComputeSubMatrixPosition, WithoutPointsInMemory) {
  CapturedLog console;
  CBundleAdjustment block(NativePlatform(), console.Console());
  SetLayout(block, LayoutEop, 2, 1);
  block.Points.Sections.ObjectPoints = {{0, 4}};
  EXPECT_EQ(block.ComputeSubMatrixPosition(), 0);
  EXPECT_EQ(console.Text(), "There is no image point!\n");
}

TEST(ComputeSubMatrixPosition, NoPointAtAll) {
  for (const std::vector<PointSectionTable::Range>& ranges :
       {std::vector<PointSectionTable::Range>{}, {{0, -1}}, {{0, -1}, {0, -1}}}) {
    CapturedLog console;
    CBundleAdjustment block(NativePlatform(), console.Console());
    SetLayout(block, LayoutEop, 2, 1);
    block.Points.Sections.ObjectPoints = block.Points.Sections.ImagePoints = ranges;
    EXPECT_EQ(block.ComputeSubMatrixPosition(), 0);
    EXPECT_EQ(console.Text(), "There is no image point!\n");
  }
}

TEST(ReleaseSectionPoints, TakesTheOrdersOfThePointsAlong) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  block.Normal.pPointOrders.resize(2);
  EXPECT_EQ(block.ReleaseSectionPoints(), 1);
  EXPECT_TRUE(block.Normal.pPointOrders.empty());
}

TEST(ComputeSubMatrixPosition, MemoryOfTheSparseFormIsTestedInWholeNumbers) {
  struct Row {
    int64_t nFreeBytes;
    int nResult;
  };
  // Three blocks count 72 bytes; the quotient is an integer, so that the test trips at the whole of the
  // memory.
  for (const Row& row : {Row{73, 1}, Row{72, 0}, Row{1, 0}, Row{0, 0}}) {
    CapturedLog console;
    CBundleAdjustment block(MadeUpPlatform(row.nFreeBytes, 1), console.Console());
    SetLayout(block, LayoutEop, 2, 1);
    block.Limits.Apply_PCG_Model = true;
    AppendPoint(block, 0, 0, 0);
    AppendMeasurement(block, 0, 0, 0, 0);
    AppendMeasurement(block, 1, 0, 0, 0);
    CloseSection(block);
    EXPECT_EQ(block.ComputeSubMatrixPosition(), row.nResult) << row.nFreeBytes;
    EXPECT_EQ(console.Text(), row.nResult == 1 ? "Total sub matrix number:3\n"
                                               : "Total sub matrix number:3\n"
                                                 "Error!Not enough memory for sparse block-matrix!\n");
    if (row.nResult == 1) {
      EXPECT_EQ(block.Normal.pSubMatrices.size(), 3u);
    }
  }
}

TEST(ComputeMultithreadMemory, AnswersAndLimits) {
  struct Row {
    int64_t nFreeBytes;
    int nResult;
    int32_t nThreadNum;
  };
  // A point with two images: three blocks of 36 doubles, twice where both of two threads touch them.
  for (const Row& row : {Row{1 << 20, 1, 2}, Row{1500, 0, 1}, Row{100, -1, 2}}) {
    CBundleAdjustment block(MadeUpPlatform(row.nFreeBytes, 3), nullptr);
    SetLayout(block, LayoutEop, 2, 1);
    for (int32_t k = 0; k < 4; ++k) {
      AppendPoint(block, 0, 0, 0);
      AppendMeasurement(block, 0, 0, 0, 0);
      AppendMeasurement(block, 1, 0, 0, 0);
    }
    CloseSection(block);
    ASSERT_EQ(block.ComputeSubMatrixPosition(), 1);
    block.Limits.nThreadNum = 2;
    EXPECT_EQ(block.ComputeMultithreadMemory(0), row.nResult) << row.nFreeBytes;
    EXPECT_EQ(block.Limits.nThreadNum, row.nThreadNum) << row.nFreeBytes;
  }
}

}  // namespace
}  // namespace orvo::test
