#include <gtest/gtest.h>

#include <cmath>

#include "normal/BlockStore.h"
#include "normal/NormalBuilders.h"
#include "normal/SlowAssembly.h"
#include "normal/ThreadBuffers.h"
#include "normal/UnknownStorage.h"
#include "run/BundleAdjustment.h"

namespace orvo::test {
namespace {

/// One image above the origin at height 1 without rotation, f = 1, so that Zr = -1 and all figures are
/// simple: a measurement (x, y) of the point (X, Y, 0) has the misclosure (x - X, y - Y).
class SimpleBlock : public testing::Test {
 protected:
  SimpleBlock() { Reset(1); }
  void Reset(int32_t images) {
    block = std::make_unique<CBundleAdjustment>(MadeUpPlatform(1 << 30, 1), console.Console());
    block->Paths.szOutputPath = folder.Path();
    SetLayout(*block, LayoutEop, images, 1);
    block->Images.pEop.resize(static_cast<size_t>(images));
    for (EopRecord& eop : block->Images.pEop) eop.Z = 1;
    block->Cameras.pIop.resize(1);
    block->Cameras.pIop[0].fFocal = 1;
  }
  int Build() {
    CloseSection(*block);
    block->ComputeSubMatrixPosition();
    MakeEquations(block->Normal, block->Unknowns.nUnknownNum, block->Limits.Apply_PCG_Model);
    std::vector<int32_t> cache(block->Points.Sections.ObjectPoints.size(), 0);
    return block->BuildNormalEquation(0, 0, cache);
  }
  /// Runs one task and keeps the thread's buffers.
  ThreadBuffers& BuildTask() {
    CloseSection(*block);
    block->ComputeSubMatrixPosition();
    MakeEquations(block->Normal, block->Unknowns.nUnknownNum, block->Limits.Apply_PCG_Model);
    block->Limits.nThreadNum = 1;
    std::vector<SubTask> tasks;
    block->SplitSubTasks(0, tasks);
    block->AllocateThreadBuffers(tasks);
    EXPECT_EQ(block->BuildNormalEquationTask(0, tasks[0].nFirst, tasks[0].nLast), 1);
    return *block->Normal.pThreadBuffers;
  }
  double N(int32_t row, int32_t column) const {
    return block->Normal.pDenseNormal[row * block->Unknowns.nUnknownNum + column];
  }

  ScratchFolder folder;
  CapturedLog console;
  std::unique_ptr<CBundleAdjustment> block;
};

TEST_F(SimpleBlock, ControlPointWithOneRayIsFixed) {
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, 0, 0, 0.5, 0.25);
  ASSERT_EQ(Build(), 1);
  // B = (-1, 0, -x ...), weight 100.
  EXPECT_DOUBLE_EQ(N(0, 0), 100);
  EXPECT_DOUBLE_EQ(N(0, 2), 50);
  EXPECT_DOUBLE_EQ(N(2, 2), 100 * (0.25 + 0.0625));
  EXPECT_DOUBLE_EQ(block->Normal.pConstVector[0], -50);
  EXPECT_DOUBLE_EQ(block->Normal.pConstVector[1], -25);
}

TEST_F(SimpleBlock, TiePointWithOneRayHasNoInverseAndItsBlocksStand) {
  AppendPoint(*block, 0, 0, 0);
  AppendMeasurement(*block, 0, 0, 0.5, 0.25);
  block->Residuals.fRmsResidualX = block->Residuals.fRmsResidualY = 1;
  ASSERT_EQ(Build(), 1);
  EXPECT_DOUBLE_EQ(N(0, 0), 1);
  EXPECT_DOUBLE_EQ(N(0, 2), 0.5);
  EXPECT_DOUBLE_EQ(block->Normal.pConstVector[0], -0.5);
}

TEST_F(SimpleBlock, GrossControlPointKeepsItsWeight) {
  block->Residuals.fRmsResidualX = block->Residuals.fRmsResidualY = 0.001;
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, 0, 0, 0.5, 0.25);
  const ThreadBuffers& buffers = BuildTask();
  EXPECT_EQ(buffers.pThreadGrossFlags[0], ScratchVector<int32_t>{0});
  EXPECT_EQ(buffers.pThreadValidNum[0], 1);
  EXPECT_DOUBLE_EQ(buffers.pThreadResidualSum[0][0], 0.5);
}

TEST_F(SimpleBlock, CheckPointIsEliminatedWithWeightOneAndNeverGross) {
  Reset(3);
  block->Images.pEop[1].X = 1;
  block->Images.pEop[2].Y = 1;
  block->Residuals.fRmsResidualX = block->Residuals.fRmsResidualY = 1e-6;
  AppendPoint(*block, 0.5, 0.5, 0.01, 2);
  for (int32_t image = 0; image < 3; ++image) AppendMeasurement(*block, image, 0, 0.3, 0.2 * image);
  CloseSection(*block);
  block->Settings.GCP_Weight = 100;
  const SlowEquations asCheckPoint = SlowAssembly(*block).Run();
  block->Points.pObjectPoints[0].nType = 0;
  block->Residuals.fRmsResidualX = block->Residuals.fRmsResidualY = 1e6;
  const SlowEquations asTiePoint = SlowAssembly(*block).Run();
  EXPECT_EQ(asCheckPoint.N, asTiePoint.N);
  block->Points.pObjectPoints[0].nType = 2;
  block->Residuals.fRmsResidualX = block->Residuals.fRmsResidualY = 1e-6;
  const ThreadBuffers& buffers = BuildTask();
  EXPECT_EQ(buffers.pThreadGrossFlags[0], (ScratchVector<int32_t>{0, 0, 0}));
  ASSERT_EQ(FinishBlocks(block->Layout(), block->Unknowns.nUnknownNum, false, block->Normal, block->Log), 1);
  EXPECT_LE(LargestDifference(asTiePoint, AsDense(*block), block->Normal.pConstVector), 1e-12);
}

TEST_F(SimpleBlock, GrossTestIsStrictAndTakesEitherAxis) {
  struct Row {
    double x, y;
    int32_t nFlag;
  };
  const Row rows[] = {{0.5, 0, 0},   {-0.5, 0, 0},  {0.5000001, 0, -1}, {-0.5000001, 0, -1},
                      {0, 0.25, 0},  {0, -0.25, 0}, {0, 0.2500001, -1}, {0, -0.2500001, -1},
                      {0.4, 0.2, 0}, {0.6, 0.3, -1}};
  block->Settings.Gross_Point_Threshold = 2;
  block->Residuals.fRmsResidualX = 0.25;
  block->Residuals.fRmsResidualY = 0.125;
  for (const Row& row : rows) {
    AppendPoint(*block, 0, 0, 0);
    AppendMeasurement(*block, 0, 0, row.x, row.y);
  }
  const ThreadBuffers& buffers = BuildTask();
  int32_t valid = 0;
  double sum = 0;
  for (size_t k = 0; k < std::size(rows); ++k) {
    EXPECT_EQ(buffers.pThreadGrossFlags[0][k], rows[k].nFlag) << rows[k].x << " " << rows[k].y;
    // Gross or not, the residual is kept for the listing.
    EXPECT_EQ(buffers.pThreadResiduals[0][2 * k], static_cast<float>(rows[k].x));
    EXPECT_EQ(buffers.pThreadResiduals[0][2 * k + 1], static_cast<float>(rows[k].y));
    if (rows[k].nFlag == 0) {
      ++valid;
      sum += static_cast<float>(rows[k].x);
    }
  }
  EXPECT_EQ(buffers.pThreadValidNum[0], valid);
  EXPECT_EQ(buffers.pThreadPointNum[0], 10);
  EXPECT_DOUBLE_EQ(buffers.pThreadResidualSum[0][0], sum);
}

TEST_F(SimpleBlock, GrossMeasurementEntersWithItsOwnSmallWeight) {
  block->Settings.Gross_Point_Weight = 0.5;  // Takes no part.
  block->Settings.Initial_Weight = 7;
  AppendPoint(*block, 0, 0, 0);
  AppendMeasurement(*block, 0, 0, 2, 0);
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, 0, 0, 0, 0);
  ASSERT_EQ(Build(), 1);
  EXPECT_NEAR(N(0, 0), 100.000001, 1e-12);
}

TEST_F(SimpleBlock, EveryMeasurementGross) {
  AppendPoint(*block, 0, 0, 0);
  AppendMeasurement(*block, 0, 0, 2, 0);
  block->Residuals.fRmsResidualX = block->Residuals.fRmsResidualY = 0.1;
  ASSERT_EQ(Build(), 1);
  EXPECT_EQ(block->Residuals.nValidImagePointNum, 0);
  EXPECT_TRUE(std::isnan(block->Residuals.fRmsResidualX));
  EXPECT_TRUE(std::isnan(block->Residuals.fMeanResidualY));
  // No comparison with these is true, so everything counts again.
  std::vector<int32_t> cache(1, 1);
  MakeEquations(block->Normal, block->Unknowns.nUnknownNum, block->Limits.Apply_PCG_Model);
  ASSERT_EQ(block->BuildNormalEquation(1, 0, cache), 1);
  EXPECT_EQ(block->Residuals.nValidImagePointNum, 1);
  EXPECT_DOUBLE_EQ(block->Residuals.fRmsResidualX, 2);
}

TEST_F(SimpleBlock, MeasurementsThatTakeNoPartKeepTheirPlaceInTheListing) {
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, -1, 0, 5, 5);
  AppendMeasurement(*block, 0, 0, 0.5, 0.25);
  AppendMeasurement(*block, 1, 0, 5, 5);
  AppendMeasurement(*block, 0, -1, 5, 5);
  AppendMeasurement(*block, 0, 1, 5, 5);
  // In the plane through the projection centre: Zr is exactly zero.
  AppendPoint(*block, 3, 0, 1, 1);
  AppendMeasurement(*block, 0, 0, 0.5, 0.25);
  // Coordinates without bounds.
  AppendPoint(*block, std::nan(""), 0, 0);
  AppendMeasurement(*block, 0, 0, 0.5, 0.25);
  AppendPoint(*block, 1e300, 0, 0);
  AppendMeasurement(*block, 0, 0, 0.5, 0.25);
  const ThreadBuffers& buffers = BuildTask();
  EXPECT_EQ(buffers.pThreadPointNum[0], 8);
  EXPECT_EQ(buffers.pThreadValidNum[0], 1);
  EXPECT_EQ(buffers.pThreadGrossFlags[0], ScratchVector<int32_t>(8, 0));
  ScratchVector<float> residuals(16, 0.0f);
  residuals[2] = 0.5f;
  residuals[3] = 0.25f;
  EXPECT_EQ(buffers.pThreadResiduals[0], residuals);
  ASSERT_EQ(FinishBlocks(block->Layout(), block->Unknowns.nUnknownNum, false, block->Normal, block->Log), 1);
  EXPECT_DOUBLE_EQ(N(0, 0), 100);
  for (int32_t k = 0; k < 36; ++k) EXPECT_TRUE(std::isfinite(block->Normal.pDenseNormal[k]));
}

TEST_F(SimpleBlock, FiguresOfTheIteration) {
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, 0, 0, 0.5, 0.25);
  AppendMeasurement(*block, 0, 0, -0.25, -0.5);
  ASSERT_EQ(Build(), 1);
  EXPECT_DOUBLE_EQ(block->Residuals.fResidualSumX, 0.25);
  EXPECT_DOUBLE_EQ(block->Residuals.fResidualSumY, -0.25);
  EXPECT_DOUBLE_EQ(block->Residuals.fResidualSquareSumX, 0.3125);
  EXPECT_DOUBLE_EQ(block->Residuals.fMeanResidualX, 0.125);
  EXPECT_DOUBLE_EQ(block->Residuals.fMeanResidualY, -0.125);
  EXPECT_DOUBLE_EQ(block->Residuals.fRmsResidualX, std::sqrt(0.3125 / 2));
  EXPECT_DOUBLE_EQ(block->Residuals.fRmsResidualY, std::sqrt(0.3125 / 2));
  EXPECT_EQ(block->Residuals.nValidImagePointNum, 2);
  EXPECT_DOUBLE_EQ(block->Residuals.fMaxResidualX, 0.5);
  EXPECT_DOUBLE_EQ(block->Residuals.fMaxResidualY, 0.25);
  EXPECT_DOUBLE_EQ(block->Residuals.fMinResidualX, -0.25);
  // The asymmetry that stays: the second measurement has the smaller y, 0.25 was noted for the first one's
  // 0.5.
  EXPECT_DOUBLE_EQ(block->Residuals.fMinResidualY, -0.25);
}

TEST_F(SimpleBlock, SmallestResidualInYIsNotedByItsX) {
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, 0, 0, 0.75, -0.5);
  ASSERT_EQ(Build(), 1);
  EXPECT_DOUBLE_EQ(block->Residuals.fMinResidualY, 0.75);
}

TEST_F(SimpleBlock, LinesOfOneProcessor) {
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, 0, 0, 0, 0);
  ASSERT_EQ(Build(), 1);
  EXPECT_EQ(console.Text(), "Sub task 0: 0/0 0/0 1/1 2/2\nSub task 0 completed\n");
  EXPECT_EQ(block->Limits.nThreadNum, 1);
}

TEST_F(SimpleBlock, TwoProcessorsMakeOneThreadAndNoPlan) {
  block->System = MadeUpPlatform(0, 2);
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, 0, 0, 0, 0);
  ASSERT_EQ(Build(), 1);
  EXPECT_EQ(console.Text(), "CPU thread number:1\nSub task 0: 0/0 0/0 1/1 2/2\nSub task 0 completed\n");
}

TEST_F(SimpleBlock, NoProcessorIsSparedWhereAllShallAssemble) {
  block->System = MadeUpPlatform(int64_t{1} << 40, 2);
  block->Limits.bAllProcessors = true;
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, 0, 0, 0, 0);
  ASSERT_EQ(Build(), 1);
  EXPECT_EQ(console.Text().find("CPU thread number:2\n"), 0u);
  EXPECT_NE(console.Text().find("Sub task 1 completed\n"), std::string::npos) << console.Text();
}

TEST_F(SimpleBlock, PlannedThreadNumberIsKeptForTheSection) {
  block->System = MadeUpPlatform(1 << 30, 4);
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, 0, 0, 0, 0);
  CloseSection(*block);
  block->ComputeSubMatrixPosition();
  MakeEquations(block->Normal, block->Unknowns.nUnknownNum, block->Limits.Apply_PCG_Model);
  std::vector<int32_t> cache(1, 0);
  ASSERT_EQ(block->BuildNormalEquation(0, 0, cache), 1);
  EXPECT_EQ(cache[0], 3);
  const std::string first = console.Text();
  EXPECT_EQ(first.find("CPU thread number:3\nTotal memory requirement"), 0u);
  EXPECT_NE(first.find("Sub task 2 completed\n"), std::string::npos);
  ASSERT_EQ(block->BuildNormalEquation(1, 0, cache), 1);
  EXPECT_EQ(console.Text().find("Total memory", first.size()), std::string::npos);
  EXPECT_EQ(console.Text().find("CPU thread number:3\nSub task 0:", first.size()), first.size());
  cache[0] = 2;
  ASSERT_EQ(block->BuildNormalEquation(2, 0, cache), 1);
  EXPECT_EQ(block->Limits.nThreadNum, 2);
}

TEST_F(SimpleBlock, NoPlanFits) {
  block->System = MadeUpPlatform(8, 4);
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, 0, 0, 0, 0);
  CloseSection(*block);
  block->ComputeSubMatrixPosition();
  MakeEquations(block->Normal, block->Unknowns.nUnknownNum, block->Limits.Apply_PCG_Model);
  std::vector<int32_t> cache(1, 0);
  EXPECT_EQ(block->BuildNormalEquation(0, 0, cache), -1);
  EXPECT_EQ(console.Text(),
            "CPU thread number:3\nNot enough memory for sparse normal matrix!\n"
            "Compute multithread memory failed!\n");
}

TEST_F(SimpleBlock, UntouchedBlocksOfTheSparseFormStayEmpty) {
  Reset(2);
  block->Limits.Apply_PCG_Model = true;
  // A control point puts the coupling into the pattern and never writes it.
  AppendPoint(*block, 0, 0, 0, 1);
  AppendMeasurement(*block, 0, 0, 0.5, 0.25);
  AppendMeasurement(*block, 1, 0, 0.5, 0.25);
  ASSERT_EQ(Build(), 1);
  ASSERT_EQ(block->Normal.pSubMatrices.size(), 3u);
  const SubMatrix& coupling = block->Normal.pSubMatrices[1];
  EXPECT_EQ(coupling.pData, nullptr);
  EXPECT_EQ(coupling.nRows, 0);
  EXPECT_EQ(coupling.nCol, 0);
  const SubMatrix& second = block->Normal.pSubMatrices[2];
  ASSERT_NE(second.pData, nullptr);
  EXPECT_EQ(second.nRow, 1);
  EXPECT_EQ(second.nCol, 1);
  EXPECT_EQ(second.nRows, 6);
  EXPECT_EQ(second.nCols, 6);
}

TEST_F(SimpleBlock, BlockOfAnotherWriterIsAddedToOrRefused) {
  struct Row {
    int32_t nRows, nRow;
    int nResult;
    const char* szMessage;
  };
  const Row rows[] = {{6, 0, 1, ""},
                      {5, 0, 0, "Sub matrix 0 size inconsictency!\n"},
                      {6, 1, 0, "Sub matrix 0 start position invalid!\n"}};
  for (const Row& row : rows) {
    Reset(1);
    block->Limits.Apply_PCG_Model = true;
    AppendPoint(*block, 0, 0, 0, 1);
    AppendMeasurement(*block, 0, 0, 0.5, 0.25);
    CloseSection(*block);
    block->ComputeSubMatrixPosition();
    block->Normal.SubMatrixStore = ZeroedArray(static_cast<size_t>(PaddedBlockSize(36) + kSpareBlockSize));
    const std::vector<double> ones(static_cast<size_t>(row.nRows * row.nRows), 1.0);
    ASSERT_EQ(block->AddToSubMatrix(ones.data(), row.nRows, row.nRows, 0, 0, block->Normal.pSubMatrices), 1);
    block->Normal.pSubMatrices[0].nRow = row.nRow;
    std::vector<int32_t> cache(1, 0);
    const size_t before = console.Text().size();
    EXPECT_EQ(block->BuildNormalEquation(0, 0, cache), row.nResult);
    EXPECT_EQ(console.Text().substr(before),
              "Sub task 0: 0/0 0/0 1/1 2/2\nSub task 0 completed\n" + std::string(row.szMessage));
    if (row.nResult == 1) {
      EXPECT_DOUBLE_EQ(block->Normal.pSubMatrices[0].pData[0], 101);
    }
  }
}

TEST_F(SimpleBlock, BlocksThatThePatternDoesNotHave) {
  Reset(2);
  block->Limits.Apply_PCG_Model = true;
  AppendPoint(*block, 0.1, 0, 0);
  AppendMeasurement(*block, 0, 0, 0.5, 0.25);
  CloseSection(*block);
  ASSERT_EQ(block->ComputeSubMatrixPosition(), 1);
  // The second image came later.
  block->Images.pEop[1].X = 1;
  AppendMeasurement(*block, 1, 0, 0.5, -0.25);
  CloseSection(*block);
  std::vector<int32_t> cache(1, 0);
  block->Residuals.fRmsResidualX = block->Residuals.fRmsResidualY = 1;
  const size_t before = console.Text().size();
  EXPECT_EQ(block->BuildNormalEquation(0, 0, cache), 1);
  EXPECT_EQ(console.Text().substr(before),
            "Sub task 0: 0/0 0/1 1/2 6/6\nSub task 0 completed\nSub matrix ID out of range:1 1 -1!\n"
            "0 1 1 0.500000 -0.250000\nWarning!Cannot find sub matrix ID\n");
  for (int32_t k = 6; k < 12; ++k) EXPECT_EQ(block->Normal.pConstVector[static_cast<size_t>(k)], 0);
}

TEST(NormalEquation, ExtremesOfSeveralThreadsAreThoseOfOne) {
  double extremes[2][3];
  for (const int threads : {1, 5}) {
    const ScratchFolder folder;
    CBundleAdjustment block(MadeUpPlatform(1 << 30, threads + 1), nullptr);
    block.Paths.szOutputPath = folder.Path();
    FillBlock(block, {});
    ASSERT_EQ(block.ComputeSubMatrixPosition(), 1);
    MakeEquations(block.Normal, block.Unknowns.nUnknownNum, block.Limits.Apply_PCG_Model);
    std::vector<int32_t> cache(1, 0);
    ASSERT_EQ(block.BuildNormalEquation(0, 0, cache), 1);
    double* out = extremes[threads == 1 ? 0 : 1];
    out[0] = block.Residuals.fMaxResidualX;
    out[1] = block.Residuals.fMaxResidualY;
    out[2] = block.Residuals.fMinResidualX;
  }
  for (int k = 0; k < 3; ++k) EXPECT_EQ(extremes[0][k], extremes[1][k]) << k;
}

}  // namespace
}  // namespace orvo::test
