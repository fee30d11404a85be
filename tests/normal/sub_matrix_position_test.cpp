#include <gtest/gtest.h>

#include "NormalBuilders.h"
#include "normal/BlockIndex.h"
#include "normal/SortedColumns.h"

namespace orvo::test {
namespace {

TEST(FindSortedColumn, Table) {
  struct Row {
    std::vector<int32_t> List;
    int32_t nValue;
    int nResult;
    int32_t nIndex;
  };
  const Row rows[] = {
      {{}, 5, -1, 99},
      {{4}, 3, 0, 0},
      {{4}, 4, 1, 0},
      {{4}, 5, 0, 1},
      {{4, 8}, 6, 0, 1},
      {{4, 8}, 8, 1, 1},
      {{4, 8}, 9, 0, 2},
      {{1, 3, 5, 7, 9}, 0, 0, 0},
      {{1, 3, 5, 7, 9}, 1, 1, 0},
      {{1, 3, 5, 7, 9}, 2, 0, 1},
      {{1, 3, 5, 7, 9}, 5, 1, 2},
      {{1, 3, 5, 7, 9}, 6, 0, 3},
      {{1, 3, 5, 7, 9}, 8, 0, 4},
      {{1, 3, 5, 7, 9}, 9, 1, 4},
      {{1, 3, 5, 7, 9}, 10, 0, 5},
  };
  for (const Row& row : rows) {
    int32_t index = 99;
    EXPECT_EQ(FindSortedColumn(row.nValue, row.List, index), row.nResult) << row.nValue;
    EXPECT_EQ(index, row.nIndex) << row.nValue;
  }
}

TEST(AddSubMatrixPosition, BothOrdersStoreOneBlock) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  SetLayout(block, LayoutEop, 8, 1);
  EXPECT_EQ(block.AddSubMatrixPosition(5, 2), 1);
  EXPECT_EQ(block.AddSubMatrixPosition(2, 5), 1);
  EXPECT_EQ(block.AddSubMatrixPosition(2, 2), 1);
  EXPECT_EQ(block.AddSubMatrixPosition(7, 2), 1);
  EXPECT_EQ(block.AddSubMatrixPosition(4, 2), 1);
  EXPECT_EQ(block.Normal.pSubMatrixRows[2].vColumns, (std::vector<int32_t>{2, 4, 5, 7}));
  EXPECT_TRUE(block.Normal.pSubMatrixRows[5].vColumns.empty());
}

TEST(AddSubMatrixPosition, IdOutOfRange) {
  Recording console;
  CBundleAdjustment block(NativePlatform(), console.File());
  SetLayout(block, LayoutEop, 4, 1);
  EXPECT_EQ(block.AddSubMatrixPosition(3, 3), 1);
  EXPECT_EQ(block.AddSubMatrixPosition(3, 4), 0);
  EXPECT_EQ(block.AddSubMatrixPosition(9, 9), 0);
  EXPECT_EQ(block.AddSubMatrixPosition(-1, 2), 0);
  EXPECT_EQ(console.Text(),
            "Error!Sub-normal-matrix ID out of range!\nError!Sub-normal-matrix ID out of range!\n"
            "Error!Sub-normal-matrix ID out of range!\n");
}

TEST(GetSubMatrixId, CountsRowByRow) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  SetLayout(block, LayoutEop, 3, 1);
  AppendPoint(block, 0, 0, 0);
  AppendMeasurement(block, 0, 0, 0, 0);
  AppendMeasurement(block, 2, 0, 0, 0);
  AppendPoint(block, 0, 0, 0);
  AppendMeasurement(block, 1, 0, 0, 0);
  CloseSection(block);
  ASSERT_EQ(block.ComputeSubMatrixPosition(), 1);
  EXPECT_EQ(block.Normal.nSubMatrixNum, 4);
  EXPECT_EQ(block.GetSubMatrixId(0, 0), 0);
  EXPECT_EQ(block.GetSubMatrixId(0, 2), 1);
  EXPECT_EQ(block.GetSubMatrixId(1, 1), 2);
  EXPECT_EQ(block.GetSubMatrixId(2, 2), 3);
  EXPECT_EQ(block.GetSubMatrixId(0, 1), -1);
  EXPECT_EQ(block.GetSubMatrixId(2, 0), -1) << "lower triangle";
  EXPECT_EQ(block.GetSubMatrixId(-1, 0), -1);
  EXPECT_EQ(block.GetSubMatrixId(0, -1), -1);
  EXPECT_EQ(block.GetSubMatrixId(3, 3), -1);
}

TEST(GetUnknownPosition, Table) {
  // Five images, two cameras, POS groups of three.
  struct Row {
    int32_t nLayoutMode, nRow, nPosition;
  };
  const Row rows[] = {
      {LayoutEop, 0, 0},           {LayoutEop, 4, 24},          {LayoutEop, 5, 30},
      {LayoutEop, 6, 33},          {LayoutIop, 0, 0},           {LayoutIop, 1, 5},
      {LayoutMergedEopIop, 2, 22}, {LayoutMergedEopIop, 5, 55}, {LayoutMergedEopIop, 7, 61},
      {LayoutEopIop, 4, 24},       {LayoutEopIop, 5, 30},       {LayoutEopIop, 6, 35},
      {LayoutEopIop, 7, 40},       {LayoutEopIop, 8, 43},       {LayoutEopIop, 9, 46},
  };
  for (const Row& row : rows) {
    CBundleAdjustment block(NativePlatform(), nullptr);
    SetLayout(block, row.nLayoutMode, 5, 2);
    block.Unknowns.nPosSize = 3;
    int32_t rowPosition = -1, colPosition = -1;
    block.GetUnknownPosition(row.nRow, row.nRow, rowPosition, colPosition);
    EXPECT_EQ(rowPosition, row.nPosition) << row.nLayoutMode << " " << row.nRow;
    EXPECT_EQ(colPosition, row.nPosition);
  }
}

/// The pattern by the letter: every ordered pair of a point's measurements, inserted one by one.
void LiteralPattern(CBundleAdjustment& block) {
  for (const ObjectPointRecord& point : block.Points.pObjectPoints) {
    const auto* first = block.Points.pImagePoints.data() + point.nFirstImagePoint;
    for (const auto* a = first; a < first + point.nImagePointNum; ++a) {
      if (a->nImage < 0 || a->nImage >= block.Images.nImageNum) continue;
      for (const auto* b = first; b < first + point.nImagePointNum; ++b) {
        if (b->nImage < 0 || b->nImage >= block.Images.nImageNum) continue;
        const int32_t n = block.Images.nUnknownImageNum;
        if (block.Unknowns.nLayoutMode == LayoutIop) {
          block.AddSubMatrixPosition(a->nCamera, b->nCamera);
          continue;
        }
        block.AddSubMatrixPosition(a->nImage, b->nImage);
        if (block.Unknowns.nLayoutMode != LayoutEopIop) continue;
        block.AddSubMatrixPosition(n + a->nCamera, n + b->nCamera);
        block.AddSubMatrixPosition(a->nImage, n + b->nCamera);
        block.AddSubMatrixPosition(n + a->nCamera, b->nImage);
      }
    }
  }
}

class PatternOfLayout : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Layouts, PatternOfLayout,
                         testing::Values(LayoutEop, LayoutIop, LayoutMergedEopIop, LayoutEopIop));

TEST_P(PatternOfLayout, IsThatOfTheLiteralWalk) {
  CBundleAdjustment block(NativePlatform(), nullptr), literal(NativePlatform(), nullptr);
  FillBlock(block, {.nLayoutMode = GetParam(), .nImages = 30, .nCameras = 4});
  FillBlock(literal, {.nLayoutMode = GetParam(), .nImages = 30, .nCameras = 4});
  ASSERT_EQ(block.ComputeSubMatrixPosition(), 1);
  LiteralPattern(literal);
  int32_t id = 0;
  for (size_t row = 0; row < literal.Normal.pSubMatrixRows.size(); ++row) {
    EXPECT_EQ(block.Normal.pSubMatrixRows[row].vColumns, literal.Normal.pSubMatrixRows[row].vColumns) << row;
    EXPECT_EQ(block.Normal.pSubMatrixRows[row].nFirstId, id) << row;
    id += static_cast<int32_t>(literal.Normal.pSubMatrixRows[row].vColumns.size());
  }
  EXPECT_EQ(block.Normal.nSubMatrixNum, id);
}

TEST_P(PatternOfLayout, IndexFindsEveryBlockAndNoOther) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  FillBlock(block, {.nLayoutMode = GetParam(), .nImages = 140, .nCameras = 70, .nPoints = 200});
  ASSERT_EQ(block.ComputeSubMatrixPosition(), 1);
  const BlockIndex withBitMaps(block.Normal.pSubMatrixRows, block.Layout());
  const BlockIndex withSearch(block.Normal.pSubMatrixRows, block.Layout(), 0);
  ASSERT_NE(withBitMaps.View().pWords, nullptr);
  ASSERT_EQ(withSearch.View().pWords, nullptr);
  int64_t next = 0;
  for (int32_t row = 0; row < block.Unknowns.nBlockRowNum; ++row) {
    for (int32_t column = row; column < block.Unknowns.nBlockRowNum; ++column) {
      const int32_t id = block.GetSubMatrixId(row, column);
      const int64_t expected = id < 0 ? -1 : next;
      ASSERT_EQ(OffsetOfBlock(withBitMaps.View(), row, column), expected) << row << " " << column;
      ASSERT_EQ(OffsetOfBlock(withSearch.View(), row, column), expected) << row << " " << column;
      if (id >= 0) next += PaddedBlockSize(withSearch.BlockSize(row) * withSearch.BlockSize(column));
    }
  }
  EXPECT_EQ(withBitMaps.StoreSize(), next);
}

TEST(ComputeSubMatrixPosition, RepeatedImageInOnePointGivesItsDiagonalBlockOnce) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  SetLayout(block, LayoutEop, 1, 1);
  AppendPoint(block, 0, 0, 0);
  AppendMeasurement(block, 0, 0, 0, 0);
  AppendMeasurement(block, 0, 0, 1, 1);
  CloseSection(block);
  ASSERT_EQ(block.ComputeSubMatrixPosition(), 1);
  EXPECT_EQ(block.Normal.pSubMatrixRows[0].vColumns, std::vector<int32_t>{0});
}

TEST(ComputeSubMatrixPosition, ControlPointsCoupleTheirImagesToo) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  SetLayout(block, LayoutEop, 2, 1);
  AppendPoint(block, 0, 0, 0, 1);
  AppendMeasurement(block, 0, 0, 0, 0);
  AppendMeasurement(block, 1, 0, 0, 0);
  CloseSection(block);
  ASSERT_EQ(block.ComputeSubMatrixPosition(), 1);
  EXPECT_EQ(block.GetSubMatrixId(0, 1), 1);
}

TEST(ComputeSubMatrixPosition, WithoutPointsInMemory) {
  Recording console;
  CBundleAdjustment block(NativePlatform(), console.File());
  SetLayout(block, LayoutEop, 2, 1);
  block.Points.Sections.ObjectPoints = {{0, 4}};
  EXPECT_EQ(block.ComputeSubMatrixPosition(), 0);
  EXPECT_EQ(console.Text(), "There is no image point!\n");
}

TEST(ComputeSubMatrixPosition, NoPointAtAll) {
  for (const std::vector<PointSectionTable::Range>& ranges :
       {std::vector<PointSectionTable::Range>{}, {{0, -1}}, {{0, -1}, {0, -1}}}) {
    Recording console;
    CBundleAdjustment block(NativePlatform(), console.File());
    SetLayout(block, LayoutEop, 2, 1);
    block.Points.Sections.ObjectPoints = block.Points.Sections.ImagePoints = ranges;
    EXPECT_EQ(block.ComputeSubMatrixPosition(), 0);
    EXPECT_EQ(console.Text(), "There is no image point!\n");
  }
}

TEST(ComputeSubMatrixPosition, ImageWithoutPointsHasNoDiagonalBlock) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  SetLayout(block, LayoutEop, 3, 1);
  AppendPoint(block, 0, 0, 0);
  AppendMeasurement(block, 0, 0, 0, 0);
  AppendMeasurement(block, 2, 0, 0, 0);
  CloseSection(block);
  ASSERT_EQ(block.ComputeSubMatrixPosition(), 1);
  EXPECT_EQ(block.GetSubMatrixId(1, 1), -1);
}

TEST(ComputeSubMatrixPosition, GroupsStandBehindImagesAndCameras) {
  struct Row {
    int32_t nLayoutMode, nFirstGroupRow;
  };
  // In the merged layout the groups stand where the positions of unknowns have them, right behind the images.
  const Row rows[] = {{LayoutEop, 3}, {LayoutEopIop, 4}, {LayoutMergedEopIop, 3}};
  for (const Row& row : rows) {
    CBundleAdjustment block(NativePlatform(), nullptr);
    SetLayout(block, row.nLayoutMode, 3, row.nLayoutMode == LayoutMergedEopIop ? 3 : 1);
    block.Limits.Apply_GPS_Data = true;
    block.Images.nGroupNum = 2;
    block.Unknowns.nBlockRowNum += 2;
    block.Normal.pSubMatrixRows.resize(static_cast<size_t>(block.Unknowns.nBlockRowNum));
    block.Images.nImageFileNum = 4;
    block.Images.pImageIndex = {0, -1, 1, 2};
    block.Images.pImageGroup = {0, 1, -1};
    AppendPoint(block, 0, 0, 0);
    for (int32_t image = 0; image < 3; ++image) AppendMeasurement(block, image, 0, 0, 0);
    CloseSection(block);
    ASSERT_EQ(block.ComputeSubMatrixPosition(), 1);
    const int32_t g = row.nFirstGroupRow;
    EXPECT_GE(block.GetSubMatrixId(g, g), 0);
    EXPECT_GE(block.GetSubMatrixId(g + 1, g + 1), 0);
    EXPECT_GE(block.GetSubMatrixId(0, g), 0);
    EXPECT_GE(block.GetSubMatrixId(1, g + 1), 0);
    EXPECT_EQ(block.GetSubMatrixId(0, g + 1), -1);
    EXPECT_EQ(block.GetSubMatrixId(2, g), -1) << "an image without group";
  }
}

TEST(ComputeSubMatrixPosition, MemoryOfTheSparseFormIsTestedInWholeNumbers) {
  struct Row {
    int64_t nFreeBytes;
    int nResult;
  };
  // Three blocks count 72 bytes; the quotient is an integer, so that the test trips at the whole of the
  // memory.
  for (const Row& row : {Row{73, 1}, Row{72, 0}, Row{1, 0}, Row{0, 0}}) {
    Recording console;
    CBundleAdjustment block(MadeUpPlatform(row.nFreeBytes, 1), console.File());
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

}  // namespace
}  // namespace orvo::test
