#include "records/UnknownLayout.h"

#include <gtest/gtest.h>

namespace orvo::test {
namespace {

struct Row {
  int32_t nLayoutMode;
  std::vector<BlockRun> Runs;
  int64_t nUnknowns, nDiagonal, nDiagonalUpper;
};

bool operator==(const BlockRun& a, const BlockRun& b) {
  return a.Kind == b.Kind && a.nFirstRow == b.nFirstRow && a.nCount == b.nCount && a.nSize == b.nSize &&
         a.nFirstPosition == b.nFirstPosition;
}

/// Five images, two cameras, POS groups of three unknowns.
TEST(UnknownLayout, RunsAndSizes) {
  using enum BlockKind;
  const Row rows[] = {
      {LayoutEop, {{Images, 0, 5, 6, 0}, {PosGroups, 5, 2, 3, 30}}, 36, 198, 117},
      {LayoutIop, {{Cameras, 0, 2, 5, 0}}, 10, 50, 30},
      {LayoutMergedEopIop, {{ImagesWithCameras, 0, 5, 11, 0}, {PosGroups, 5, 2, 3, 55}}, 61, 623, 342},
      {LayoutEopIop, {{Images, 0, 5, 6, 0}, {Cameras, 5, 2, 5, 30}, {PosGroups, 7, 2, 3, 40}}, 46, 248, 147},
  };
  for (const Row& row : rows) {
    const UnknownLayout layout{row.nLayoutMode, 5, 2, 3};
    const std::vector<BlockRun> runs = layout.Runs(2);
    ASSERT_EQ(runs.size(), row.Runs.size()) << row.nLayoutMode;
    for (size_t k = 0; k < runs.size(); ++k) {
      EXPECT_TRUE(runs[k] == row.Runs[k]) << row.nLayoutMode << " " << k;
      EXPECT_EQ(layout.BlockSize(runs[k].nFirstRow), runs[k].nSize);
      EXPECT_EQ(layout.Position(runs[k].nFirstRow), runs[k].nFirstPosition);
    }
    const LayoutSizes sizes = SizesOf(runs);
    EXPECT_EQ(sizes.nBlockRows, runs.back().nFirstRow + runs.back().nCount);
    EXPECT_EQ(sizes.nUnknowns, row.nUnknowns);
    EXPECT_EQ(sizes.nUnknowns, runs.back().EndPosition());
    EXPECT_EQ(sizes.nDiagonal, row.nDiagonal);
    EXPECT_EQ(sizes.nDiagonalUpper, row.nDiagonalUpper);
    EXPECT_EQ(layout.Positions(3), (std::vector<int32_t>{0, layout.Position(1), layout.Position(2)}));
  }
}

TEST(UnknownLayout, RunsWithoutRowsAreLeftOut) {
  EXPECT_TRUE((UnknownLayout{LayoutEop, 0, 2, 3}.Runs(0).empty()));
  EXPECT_EQ((UnknownLayout{LayoutEopIop, 1, 0, 0}.Runs(0).size()), 1u);
  EXPECT_EQ(SizesOf({}).nUnknowns, 0);
}

TEST(UnknownLayout, GroupsWithoutUnknownsHaveTheirRows) {
  const std::vector<BlockRun> runs = UnknownLayout{LayoutEopIop, 1, 0, 0}.Runs(4);
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_TRUE((runs[1] == BlockRun{BlockKind::PosGroups, 1, 4, 0, 6}));
  EXPECT_EQ(SizesOf(runs).nBlockRows, 5);
  EXPECT_EQ(SizesOf(runs).nUnknowns, 6);
}

TEST(UnknownLayout, SizesOfManyUnknownsDoNotOverflow) {
  const LayoutSizes sizes = SizesOf(UnknownLayout{LayoutMergedEopIop, 400000000, 400000000, 0}.Runs(0));
  EXPECT_EQ(sizes.nUnknowns, 4400000000);
  EXPECT_EQ(sizes.nDiagonal, 48400000000);
}

}  // namespace
}  // namespace orvo::test
