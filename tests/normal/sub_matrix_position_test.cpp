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

TEST(AddBlockPosition, BothOrdersStoreOneBlock) {
  NormalParts block;
  SetLayout(block, LayoutEop, 8, 1);
  EXPECT_TRUE(block.AddPosition(5, 2));
  EXPECT_TRUE(block.AddPosition(2, 5));
  EXPECT_TRUE(block.AddPosition(2, 2));
  EXPECT_TRUE(block.AddPosition(7, 2));
  EXPECT_TRUE(block.AddPosition(4, 2));
  EXPECT_EQ(block.Normal.pSubMatrixRows[2].vColumns, (std::vector<int32_t>{2, 4, 5, 7}));
  EXPECT_TRUE(block.Normal.pSubMatrixRows[5].vColumns.empty());
}

TEST(FindBlockId, CountsRowByRow) {
  NormalParts block;
  SetLayout(block, LayoutEop, 3, 1);
  AppendPoint(block, 0, 0, 0);
  AppendMeasurement(block, 0, 0, 0, 0);
  AppendMeasurement(block, 2, 0, 0, 0);
  AppendPoint(block, 0, 0, 0);
  AppendMeasurement(block, 1, 0, 0, 0);
  CloseSection(block);
  ASSERT_EQ(block.FindPattern(), PatternOutcome::Found);
  EXPECT_EQ(block.Normal.nSubMatrixNum, 4);
  EXPECT_EQ(block.Id(0, 0), 0);
  EXPECT_EQ(block.Id(0, 2), 1);
  EXPECT_EQ(block.Id(1, 1), 2);
  EXPECT_EQ(block.Id(2, 2), 3);
  EXPECT_EQ(block.Id(0, 1), -1);
  EXPECT_EQ(block.Id(2, 0), -1) << "lower triangle";
  EXPECT_EQ(block.Id(-1, 0), -1);
  EXPECT_EQ(block.Id(0, -1), -1);
  EXPECT_EQ(block.Id(3, 3), -1);
}

TEST(Layout, PositionsOfBlockRows) {
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
    NormalParts block;
    SetLayout(block, row.nLayoutMode, 5, 2);
    block.Unknowns.nPosSize = 3;
    EXPECT_EQ(block.Layout().Position(row.nRow), row.nPosition) << row.nLayoutMode << " " << row.nRow;
  }
}

/// The pattern by the letter: every ordered pair of a point's measurements, inserted one by one.
void LiteralPattern(NormalParts& block) {
  for (const ObjectPointRecord& point : block.Points.pObjectPoints) {
    const auto* first = block.Points.pImagePoints.data() + point.nFirstImagePoint;
    for (const auto* a = first; a < first + point.nImagePointNum; ++a) {
      if (a->nImage < 0 || a->nImage >= block.Images.nImageNum) continue;
      for (const auto* b = first; b < first + point.nImagePointNum; ++b) {
        if (b->nImage < 0 || b->nImage >= block.Images.nImageNum) continue;
        const int32_t n = block.Images.nUnknownImageNum;
        if (block.Unknowns.nLayoutMode == LayoutIop) {
          block.AddPosition(a->nCamera, b->nCamera);
          continue;
        }
        block.AddPosition(a->nImage, b->nImage);
        if (block.Unknowns.nLayoutMode != LayoutEopIop) continue;
        block.AddPosition(n + a->nCamera, n + b->nCamera);
        block.AddPosition(a->nImage, n + b->nCamera);
        block.AddPosition(n + a->nCamera, b->nImage);
      }
    }
  }
}

class PatternOfLayout : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Layouts, PatternOfLayout,
                         testing::Values(LayoutEop, LayoutIop, LayoutMergedEopIop, LayoutEopIop));

TEST_P(PatternOfLayout, IsThatOfTheLiteralWalk) {
  NormalParts block, literal;
  FillBlock(block, {.nLayoutMode = GetParam(), .nImages = 30, .nCameras = 4});
  FillBlock(literal, {.nLayoutMode = GetParam(), .nImages = 30, .nCameras = 4});
  ASSERT_EQ(block.FindPattern(), PatternOutcome::Found);
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
  NormalParts block;
  FillBlock(block, {.nLayoutMode = GetParam(), .nImages = 140, .nCameras = 70, .nPoints = 200});
  ASSERT_EQ(block.FindPattern(), PatternOutcome::Found);
  const BlockIndex withBitMaps(block.Normal.pSubMatrixRows, block.Layout());
  const BlockIndex withSearch(block.Normal.pSubMatrixRows, block.Layout(), 0);
  ASSERT_NE(withBitMaps.View().pWords, nullptr);
  ASSERT_EQ(withSearch.View().pWords, nullptr);
  int64_t next = 0;
  for (int32_t row = 0; row < block.Unknowns.nBlockRowNum; ++row) {
    for (int32_t column = row; column < block.Unknowns.nBlockRowNum; ++column) {
      const int32_t id = block.Id(row, column);
      const int64_t expected = id < 0 ? -1 : next;
      ASSERT_EQ(OffsetOfBlock(withBitMaps.View(), row, column), expected) << row << " " << column;
      ASSERT_EQ(OffsetOfBlock(withSearch.View(), row, column), expected) << row << " " << column;
      if (id >= 0) next += PaddedBlockSize(withSearch.BlockSize(row) * withSearch.BlockSize(column));
    }
  }
  EXPECT_EQ(withBitMaps.StoreSize(), next);
}

TEST(Pattern, RepeatedImageInOnePointGivesItsDiagonalBlockOnce) {
  NormalParts block;
  SetLayout(block, LayoutEop, 1, 1);
  AppendPoint(block, 0, 0, 0);
  AppendMeasurement(block, 0, 0, 0, 0);
  AppendMeasurement(block, 0, 0, 1, 1);
  CloseSection(block);
  ASSERT_EQ(block.FindPattern(), PatternOutcome::Found);
  EXPECT_EQ(block.Normal.pSubMatrixRows[0].vColumns, std::vector<int32_t>{0});
}

TEST(Pattern, ControlPointsCoupleTheirImagesToo) {
  NormalParts block;
  SetLayout(block, LayoutEop, 2, 1);
  AppendPoint(block, 0, 0, 0, 1);
  AppendMeasurement(block, 0, 0, 0, 0);
  AppendMeasurement(block, 1, 0, 0, 0);
  CloseSection(block);
  ASSERT_EQ(block.FindPattern(), PatternOutcome::Found);
  EXPECT_EQ(block.Id(0, 1), 1);
}

TEST(Pattern, ImageWithoutPointsHasNoDiagonalBlock) {
  NormalParts block;
  SetLayout(block, LayoutEop, 3, 1);
  AppendPoint(block, 0, 0, 0);
  AppendMeasurement(block, 0, 0, 0, 0);
  AppendMeasurement(block, 2, 0, 0, 0);
  CloseSection(block);
  ASSERT_EQ(block.FindPattern(), PatternOutcome::Found);
  EXPECT_EQ(block.Id(1, 1), -1);
}

TEST(Pattern, GroupsStandBehindImagesAndCameras) {
  struct Row {
    int32_t nLayoutMode, nFirstGroupRow;
  };
  // In the merged layout the groups stand where the positions of unknowns have them, right behind the images.
  const Row rows[] = {{LayoutEop, 3}, {LayoutEopIop, 4}, {LayoutMergedEopIop, 3}};
  for (const Row& row : rows) {
    NormalParts block;
    SetLayout(block, row.nLayoutMode, 3, row.nLayoutMode == LayoutMergedEopIop ? 3 : 1);
    block.Images.nGroupNum = 2;
    block.Unknowns.nBlockRowNum += 2;
    block.Normal.pSubMatrixRows.resize(static_cast<size_t>(block.Unknowns.nBlockRowNum));
    block.Images.nImageFileNum = 4;
    block.Images.pImageIndex = {0, -1, 1, 2};
    block.Images.pImageGroup = {0, 1, -1};
    AppendPoint(block, 0, 0, 0);
    for (int32_t image = 0; image < 3; ++image) AppendMeasurement(block, image, 0, 0, 0);
    CloseSection(block);
    ASSERT_EQ(block.FindPattern(), PatternOutcome::Found);
    EXPECT_EQ(AddPosPattern(block.Images, block.Layout(), block.Unknowns.nBlockRowNum, block.Normal), 0);
    const int32_t g = row.nFirstGroupRow;
    EXPECT_GE(block.Id(g, g), 0);
    EXPECT_GE(block.Id(g + 1, g + 1), 0);
    EXPECT_GE(block.Id(0, g), 0);
    EXPECT_GE(block.Id(1, g + 1), 0);
    EXPECT_EQ(block.Id(0, g + 1), -1);
    EXPECT_EQ(block.Id(2, g), -1) << "an image without group";
  }
}

}  // namespace
}  // namespace orvo::test
