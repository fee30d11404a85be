#include <gtest/gtest.h>

#include <limits>

#include "NormalBuilders.h"

namespace orvo::test {
namespace {

/// Three images, the first two coupled.
class Accumulate : public testing::Test {
 protected:
  Accumulate() : block(NativePlatform(), console.Console()) {
    SetLayout(block, LayoutEop, 3, 1);
    AppendPoint(block, 0, 0, 0);
    AppendMeasurement(block, 0, 0, 0, 0);
    AppendMeasurement(block, 1, 0, 0, 0);
    CloseSection(block);
    block.FindPattern();
    target.resize(static_cast<size_t>(block.Normal.nSubMatrixNum));
  }
  CapturedLog console;
  NormalParts block;
  int Add(const double* data, int32_t rows, int32_t cols, int32_t row, int32_t col, std::span<SubMatrix> to) {
    return AddBlock({data, rows, cols}, row, col, block.Places(), to, block.Log);
  }
  int Subtract(const double* data, int32_t rows, int32_t cols, int32_t row, int32_t col,
               std::span<SubMatrix> to) {
    return SubtractBlock({data, rows, cols}, row, col, block.Places(), to, block.Log);
  }
  std::vector<SubMatrix> target;
  const double source[4] = {1, 2, 3, 4};
};

TEST_F(Accumulate, FirstWriterMakesTheBlock) {
  EXPECT_EQ(target[1].pData, nullptr);
  EXPECT_EQ(Add(source, 2, 2, 0, 1, target), 1);
  EXPECT_EQ(Add(source, 2, 2, 0, 1, target), 1);
  EXPECT_EQ(Subtract(source, 1, 1, 0, 1, target), 1);
  const SubMatrix& made = target[1];
  EXPECT_EQ(made.nRow, 0);
  EXPECT_EQ(made.nCol, 1);
  EXPECT_EQ(made.nRows, 2);
  EXPECT_EQ(made.nCols, 2);
  EXPECT_EQ(std::vector<double>(made.pData, made.pData + 4), (std::vector<double>{1, 4, 6, 8}));
  EXPECT_EQ(target[0].pData, nullptr);
}

TEST_F(Accumulate, SubtractionMayComeFirst) {
  EXPECT_EQ(Subtract(source, 2, 2, 1, 1, target), 1);
  EXPECT_EQ(std::vector<double>(target[2].pData, target[2].pData + 4), (std::vector<double>{-1, -2, -3, -4}));
}

TEST_F(Accumulate, SmallerSourceLandsInTheTopLeftCorner) {
  const std::vector<double> zeros(36, 0.0);
  Add(zeros.data(), 6, 6, 0, 0, target);
  EXPECT_EQ(Add(source, 2, 2, 0, 0, target), 1);
  EXPECT_EQ(target[0].pData[0], 1);
  EXPECT_EQ(target[0].pData[1], 2);
  EXPECT_EQ(target[0].pData[6], 3);
  EXPECT_EQ(target[0].pData[7], 4);
}

TEST_F(Accumulate, LargerSourceStaysInsideTheBlock) {
  Add(source, 1, 1, 0, 0, target);
  EXPECT_EQ(Add(source, 2, 2, 0, 0, target), 1);
  EXPECT_EQ(target[0].pData[0], 2);
}

TEST_F(Accumulate, ResultsOfRefusedBlocks) {
  std::vector<SubMatrix> none;
  EXPECT_EQ(Add(nullptr, 2, 2, 0, 0, target), -1);
  EXPECT_EQ(Add(source, 2, 2, 0, 0, none), -1);
  EXPECT_EQ(Add(source, 2, 2, 0, 3, target), -1);
  EXPECT_EQ(Add(source, 2, 2, 3, 3, target), -1);
  EXPECT_EQ(Add(source, 2, 2, 1, 0, target), 2) << "lower triangle";
  EXPECT_EQ(Subtract(nullptr, 2, 2, 0, 0, target), -1);
  EXPECT_EQ(Subtract(source, 2, 2, 3, 3, target), -1);
  EXPECT_EQ(Subtract(source, 2, 2, 1, 0, target), 0) << "lower triangle";
  EXPECT_EQ(console.Text(), "");
}

TEST_F(Accumulate, BlockThatThePatternDoesNotHave) {
  EXPECT_EQ(Add(source, 2, 2, 2, 2, target), 0);
  EXPECT_EQ(Add(source, 2, 2, -1, 2, target), 0);
  EXPECT_EQ(Subtract(source, 2, 2, 2, 2, target), 0);
  EXPECT_EQ(console.Text(),
            "Sub matrix ID out of range:2 2 -1!\nSub matrix ID out of range:-1 2 -1!\n"
            "Warning!Cannot find sub matrix ID\n");
}

TEST_F(Accumulate, IdBeyondTheNumberOfBlocks) {
  block.Normal.nSubMatrixNum = 2;
  EXPECT_EQ(Add(source, 2, 2, 1, 1, target), 0);
  EXPECT_EQ(console.Text(), "Sub matrix ID out of range:1 1 2!\n");
}

TEST(AccumulateDense, AddsAndSubtractsAtThePosition) {
  NormalParts block;
  std::vector<double> target(12, 1.0);
  const double source[4] = {1, 2, 3, 4};
  EXPECT_EQ(AddDense({source, 2, 2}, 1, 2, {target.data(), 3, 4}, block.Log), 1);
  EXPECT_EQ(target, (std::vector<double>{1, 1, 1, 1, 1, 1, 2, 3, 1, 1, 4, 5}));
  EXPECT_EQ(SubtractDense({source, 2, 2}, 0, 0, {target.data(), 3, 4}, block.Log), 1);
  EXPECT_EQ(target, (std::vector<double>{0, -1, 1, 1, -2, -3, 2, 3, 1, 1, 4, 5}));
  EXPECT_EQ(AddDense({source, 4, 1}, 8, 0, {target.data(), 12, 1}, block.Log), 1) << "a vector";
  EXPECT_EQ(target[11], 9);
}

TEST(AccumulateDense, RefusesWhatDoesNotFit) {
  struct Row {
    int32_t nRows, nCols, nRowStart, nColStart, nTargetRows, nTargetCols;
  };
  const int32_t most = std::numeric_limits<int32_t>::max();
  const Row rows[] = {{0, 2, 0, 0, 3, 4},    {2, 0, 0, 0, 3, 4},   {2, 2, 0, 0, 0, 4}, {2, 2, 0, 0, 3, 0},
                      {2, 5, 0, 0, 3, 4},    {4, 2, 0, 0, 3, 4},   {2, 2, 0, 3, 3, 4}, {2, 2, 2, 0, 3, 4},
                      {2, 2, 0, most, 3, 4}, {2, 2, most, 0, 3, 4}};
  CapturedLog console;
  NormalParts block(NativePlatform(), console.Console());
  std::vector<double> target(12, 0.0), source(20, 1.0);
  for (const Row& r : rows) {
    EXPECT_EQ(AddDense({source.data(), r.nRows, r.nCols}, r.nRowStart, r.nColStart,
                       {target.data(), r.nTargetRows, r.nTargetCols}, block.Log),
              0);
    EXPECT_EQ(SubtractDense({source.data(), r.nRows, r.nCols}, r.nRowStart, r.nColStart,
                            {target.data(), r.nTargetRows, r.nTargetCols}, block.Log),
              0);
  }
  EXPECT_EQ(AddDense({nullptr, 1, 1}, 0, 0, {target.data(), 3, 4}, block.Log), 0);
  EXPECT_EQ(AddDense({source.data(), 1, 1}, 0, 0, {nullptr, 3, 4}, block.Log), 0);
  EXPECT_EQ(console.Text(), "");
  EXPECT_EQ(AddDense({source.data(), 1, 1}, -1, 0, {target.data(), 3, 4}, block.Log), 0);
  EXPECT_EQ(console.Text(), "Error!Sub matrix out of size!\n");
  EXPECT_EQ(target, std::vector<double>(12, 0.0));
}

}  // namespace
}  // namespace orvo::test
