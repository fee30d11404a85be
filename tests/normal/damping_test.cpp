#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "NormalBuilders.h"
#include "normal/DampDiagonal.h"
#include "normal/Damping.h"

namespace orvo::test {
namespace {

TEST(PowerBySquaring, Table) {
  EXPECT_EQ(PowerBySquaring(3, 0), 1);
  EXPECT_EQ(PowerBySquaring(3, 1), 3);
  EXPECT_EQ(PowerBySquaring(3, 5), 243);
  EXPECT_EQ(PowerBySquaring(2, 30), 1073741824.0);
  EXPECT_EQ(PowerBySquaring(2, -2), 0.25);
  EXPECT_DOUBLE_EQ(PowerBySquaring(1e5, 5), 1e25);
  EXPECT_EQ(PowerBySquaring(1e5, 1000), std::numeric_limits<double>::infinity());
  EXPECT_EQ(PowerBySquaring(1, std::numeric_limits<int32_t>::min()), 1);
}

TEST(DampingFactor, Schedule) {
  struct Row {
    bool bSevenParam;
    int32_t nIteration;
    double fFactor;
  };
  const Row rows[] = {{false, 0, 0.001}, {false, 4, 0.001}, {false, 5, 1e22}, {false, 6, 1e27},
                      {true, 0, 0.001},  {true, 4, 0.001},  {true, 5, 100},   {true, 6, 1000}};
  for (const Row& row : rows) {
    const double factor = DampingFactor({.bSevenParamApplied = row.bSevenParam}, row.nIteration);
    EXPECT_NEAR(factor, row.fFactor, 1e-12 * row.fFactor) << row.bSevenParam << " " << row.nIteration;
  }
  EXPECT_EQ(DampingFactor({.nFreeIterations = 10}, 10), 0.001);
  EXPECT_EQ(DampingFactor({.bSevenParamApplied = true, .nFreeIterations = 0, .nGcpIterations = 9}, 9), 0.001);
  EXPECT_EQ(DampingFactor({.nFreeIterations = 0, .nGcpIterations = 9}, 1), 100.0);
  EXPECT_EQ(DampingFactor({.fCoefficient = 0.5}, 3), 0.5);
}

/// A dense matrix of ones with the diagonal 1, 2, 3 ...
void FillDense(NormalParts& block) {
  const auto n = static_cast<size_t>(block.Unknowns.nUnknownNum);
  block.Normal.pDenseNormal = ZeroedArray(n * n);
  std::fill_n(block.Normal.pDenseNormal.get(), n * n, 1.0);
  for (size_t k = 0; k < n; ++k) block.Normal.pDenseNormal[k * n + k] = static_cast<double>(k + 1);
}

std::vector<double> DiagonalOf(const NormalParts& block) {
  return DenseDiagonal(block.Normal, block.Unknowns.nUnknownNum);
}

/// Damps either form; 1, or 0 after a message.
int Damp(NormalParts& block, int32_t iteration) {
  const double mu = DampingFactor(ScheduleOf(block.Settings, false), iteration);
  const std::vector<BlockRun> runs = block.Layout().Runs(block.Images.nGroupNum);
  if (!block.Limits.Apply_PCG_Model) {
    DampDense(runs, mu, block.Unknowns.nUnknownNum, block.Normal);
    return 1;
  }
  const DampFault fault = DampBlocks(runs, mu, block.Normal);
  ReportDampFault(fault, block.Log);
  return fault.What == DampFault::Of::None ? 1 : 0;
}

TEST(DampDiagonal, DenseFormsDampEveryDiagonalElement) {
  for (const int layout : {LayoutEop, LayoutIop, LayoutEopIop}) {
    NormalParts block;
    SetLayout(block, layout, 3, 2);
    FillDense(block);
    block.Settings.Damping_Coefficient = 0.5;
    EXPECT_EQ(Damp(block, 0), 1);
    const std::vector<double> diagonal = DiagonalOf(block);
    for (size_t k = 0; k < diagonal.size(); ++k) EXPECT_EQ(diagonal[k], 1.5 * static_cast<double>(k + 1));
    EXPECT_EQ(block.Normal.pDenseNormal[1], 1.0);
  }
}

TEST(LimitsOfIteration, OverwritesTheLimitsOfTheSolver) {
  const RunLimits limits =
      LimitsOfIteration({.nThreadNum = 3, .Max_PCG_Iteration_Num = 5, .PCG_IGN_Converge_Threshold = 0.7});
  EXPECT_EQ(limits.PCG_IGN_Converge_Threshold, 0.1);
  EXPECT_EQ(limits.Max_PCG_Iteration_Num, 300);
  EXPECT_EQ(limits.nThreadNum, 3);
}

TEST(DampDiagonal, DenseMergedFormReadsSixStepsApart) {
  // Deliberate: the target steps by eleven, the source by six.
  NormalParts block;
  SetLayout(block, LayoutMergedEopIop, 3, 3);
  FillDense(block);
  block.Settings.Damping_Coefficient = 0.5;
  EXPECT_EQ(Damp(block, 0), 1);
  std::vector<double> expected(33);
  for (size_t k = 0; k < 33; ++k) expected[k] = static_cast<double>(k + 1);
  for (size_t i = 0; i < 3; ++i) {
    for (size_t k = 0; k < 11; ++k) expected[11 * i + k] += 0.5 * expected[6 * i + k];
  }
  EXPECT_EQ(DiagonalOf(block), expected);
  // The second image's first element reads one that the first image's pass has damped: 12 + (7 + 3.5) / 2.
  EXPECT_EQ(expected[11], 17.25);
}

TEST(DampDiagonal, DenseFormDampsTheGroups) {
  NormalParts block;
  SetLayout(block, LayoutEopIop, 2, 1);
  block.Limits.Apply_IMU_Data = true;
  block.Images.nGroupNum = 2;
  block.Unknowns.nPosSize = 3;
  block.Unknowns.nUnknownNum += 6;
  FillDense(block);
  block.Settings.Damping_Coefficient = 1;
  EXPECT_EQ(Damp(block, 0), 1);
  const std::vector<double> diagonal = DiagonalOf(block);
  for (size_t k = 0; k < diagonal.size(); ++k) EXPECT_EQ(diagonal[k], 2 * static_cast<double>(k + 1));
}

TEST(DampDiagonal, OverflowingFactor) {
  NormalParts block;
  SetLayout(block, LayoutIop, 0, 1);
  FillDense(block);
  block.Normal.pDenseNormal[0] = 0;
  EXPECT_EQ(Damp(block, 1000), 1);
  EXPECT_TRUE(std::isnan(block.Normal.pDenseNormal[0]));
  EXPECT_TRUE(std::isinf(block.Normal.pDenseNormal[6]));
}

TEST(DampDiagonal, ZeroStaysZero) {
  NormalParts block;
  SetLayout(block, LayoutIop, 0, 1);
  FillDense(block);
  block.Normal.pDenseNormal[0] = 0;
  EXPECT_EQ(Damp(block, 5), 1);
  EXPECT_EQ(block.Normal.pDenseNormal[0], 0);
}

/// Two images and one camera with all diagonal blocks, filled with ones.
void FillSparse(NormalParts& block, int layout) {
  SetLayout(block, layout, 2, layout == LayoutMergedEopIop ? 2 : 1);
  block.Limits.Apply_PCG_Model = true;
  for (int32_t row = 0; row < block.Unknowns.nBlockRowNum; ++row) {
    block.Normal.pSubMatrixRows[static_cast<size_t>(row)] = {row, {row}};
  }
  block.Normal.nSubMatrixNum = block.Unknowns.nBlockRowNum;
  block.Normal.pSubMatrices.resize(static_cast<size_t>(block.Normal.nSubMatrixNum));
  for (int32_t row = 0; row < block.Unknowns.nBlockRowNum; ++row) {
    const int32_t size = block.Layout().BlockSize(row);
    const std::vector<double> ones(static_cast<size_t>(size * size), 1.0);
    ASSERT_EQ(block.Add(ones.data(), size, size, row, row), 1);
  }
}

TEST(DampDiagonal, SparseFormsDampTheDiagonalBlocks) {
  for (const int layout : {LayoutEop, LayoutIop, LayoutMergedEopIop, LayoutEopIop}) {
    NormalParts block;
    FillSparse(block, layout);
    block.Settings.Damping_Coefficient = 0.25;
    EXPECT_EQ(Damp(block, 0), 1);
    for (const SubMatrix& subMatrix : block.Normal.pSubMatrices) {
      for (int32_t r = 0; r < subMatrix.nRows; ++r) {
        for (int32_t c = 0; c < subMatrix.nCols; ++c) {
          EXPECT_EQ(subMatrix.pData[r * subMatrix.nCols + c], r == c ? 1.25 : 1.0);
        }
      }
    }
  }
}

TEST(DampDiagonal, MessagesOfTheSparseForm) {
  struct Row {
    int nLayoutMode;
    int32_t nMissing, nNotSquare;  ///< block row without a block, or with one that is not square; -1 none
    const char* szMessage;
  };
  const Row rows[] = {
      {LayoutEop, 1, -1, "Error!EOP Sub Matrix 1 1 ID invalid!\n"},
      {LayoutEop, -1, 1, "Error!EOP Sparse normal matrix size invalid!\n"},
      {LayoutIop, 0, -1, "Error!IOP Sub Matrix 0 0 ID invalid!\n"},
      {LayoutIop, -1, 0, "Error!IOP Sparse normal matrix size invalid!\n"},
      {LayoutEopIop, 2, -1, "Error!IOP Sub Matrix 2 0 ID invalid!\n"},
      {LayoutEopIop, -1, 2, "Error!IOP Sparse normal matrix size invalid!\n"},
      {LayoutMergedEopIop, 0, -1, "Error!Sub Matrix 0 0 ID invalid!\n"},
      {LayoutMergedEopIop, -1, 1, "Error!Sparse normal matrix size invalid!\n"},
  };
  for (const Row& row : rows) {
    CapturedLog console;
    NormalParts block(NativePlatform(), console.Console());
    FillSparse(block, row.nLayoutMode);
    if (row.nMissing >= 0) block.Normal.pSubMatrixRows[static_cast<size_t>(row.nMissing)].vColumns.clear();
    if (row.nNotSquare >= 0) --block.Normal.pSubMatrices[static_cast<size_t>(row.nNotSquare)].nCols;
    EXPECT_EQ(Damp(block, 0), 0);
    EXPECT_EQ(console.Text(), row.szMessage);
  }
}

TEST(DampDiagonal, GroupsOfTheSparseForm) {
  for (const int kind : {0, 1, 2}) {
    const ScratchFolder folder;
    CapturedLog console;
    NormalParts block(NativePlatform(), console.Console());
    ASSERT_TRUE(block.Log.Open(folder / "log.txt", block.System.Now()));
    FillSparse(block, LayoutEopIop);
    block.Limits.Apply_GPS_Data = true;
    block.Images.nGroupNum = 1;
    block.Unknowns.nPosSize = 3;
    block.Unknowns.nBlockRowNum = 4;
    block.Normal.pSubMatrixRows.push_back({3, {}});
    block.Normal.nSubMatrixNum = 4;
    block.Normal.pSubMatrices.resize(4);
    if (kind > 0) block.Normal.pSubMatrixRows[3].vColumns = {3};
    const std::vector<double> ones(9, 1.0);
    if (kind > 0) block.Add(ones.data(), 3, kind == 1 ? 3 : 2, 3, 3);
    const size_t before = console.Text().size();
    EXPECT_EQ(Damp(block, 0), kind == 1 ? 1 : 0);
    const std::string text = console.Text().substr(before);
    block.Log.Close();
    const std::string log = ReadFile(folder / "log.txt");
    if (kind == 0) {
      // The one line of the system that the log file does not get.
      EXPECT_EQ(text, "Error!GPS Sub Matrix 3-0 ID invalid!\n");
      EXPECT_EQ(log.find("GPS Sub Matrix"), std::string::npos);
    } else if (kind == 1) {
      EXPECT_EQ(block.Normal.pSubMatrices[3].pData[8], 1.001);
    } else {
      EXPECT_EQ(text, "Error!GPS Sparse normal matrix size invalid!\n");
      EXPECT_NE(log.find(text), std::string::npos);
    }
  }
}

TEST(DampDiagonal, SparseFormWithoutAnyBlockFails) {
  CapturedLog console;
  NormalParts block(NativePlatform(), console.Console());
  SetLayout(block, LayoutEop, 1, 1);
  block.Limits.Apply_PCG_Model = true;
  EXPECT_EQ(Damp(block, 0), 0);
  EXPECT_EQ(console.Text(), "Error!EOP Sub Matrix 0 0 ID invalid!\n");
}

TEST(IterationsAtMost, EndWhereNothingMoves) {
  const struct {
    DampingSchedule Schedule;
    int32_t nMost, nIterations;
  } rows[] = {{{.nFreeIterations = 8, .fCoefficient = 1e-3}, 20, 10},
              {{.nFreeIterations = 8, .fCoefficient = 1e-3}, 10, 10},
              {{.nFreeIterations = 8, .fCoefficient = 1e-3}, 4, 4},
              {{.nFreeIterations = 0, .fCoefficient = 1e-8}, 20, 5},
              {{.nFreeIterations = 4, .fCoefficient = 0}, 20, 20},
              {{.nFreeIterations = 4, .fCoefficient = NAN}, 20, 20},
              {{.bSevenParamApplied = true, .nGcpIterations = 8, .fCoefficient = 1e-8}, 20, 17},
              {{.bSevenParamApplied = true, .nGcpIterations = 8, .fCoefficient = 1}, 20, 10},
              {{.nFreeIterations = 4}, 1, 1},
              {{.nFreeIterations = 4}, 0, 1},
              {{.nFreeIterations = 4}, -3, 1}};
  for (const auto& row : rows)
    EXPECT_EQ(IterationsAtMost(row.Schedule, row.nMost), row.nIterations) << row.nMost;
}

TEST(FirstHeldIteration, IsWhereTheDampingExceedsOne) {
  const struct {
    DampingSchedule Schedule;
    int32_t nMost, nHeld;
  } rows[] = {{{.nFreeIterations = 8, .fCoefficient = 1e-3}, 20, 10},
              {{.nFreeIterations = 8, .fCoefficient = 1e-3}, 9, 10},
              {{.nFreeIterations = 8, .fCoefficient = 1e-3}, 4, 5},
              {{.nFreeIterations = 4, .fCoefficient = 0}, 20, 21},
              {{.nFreeIterations = 4, .fCoefficient = NAN}, 20, 21},
              {{.nFreeIterations = 4, .fCoefficient = 2}, 20, 1},
              {{.bSevenParamApplied = true, .nGcpIterations = 8, .fCoefficient = 1e-8}, 20, 10},
              {{.bSevenParamApplied = true, .nGcpIterations = 3, .fCoefficient = 1e-8}, 20, 10},
              {{.bSevenParamApplied = true, .nGcpIterations = 12, .fCoefficient = 1e-8}, 20, 14}};
  for (const auto& row : rows) EXPECT_EQ(FirstHeldIteration(row.Schedule, row.nMost), row.nHeld) << row.nMost;
}

}  // namespace
}  // namespace orvo::test
