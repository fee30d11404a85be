#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "run/BundleAdjustment.h"
#include "solver/BlockSystems.h"
#include "solver/PcgReference.h"
#include "support/CapturedLog.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

/// Gives the system to an adjustment that is about to solve it.
void Install(BlockSystem system, const SystemShape& shape, CBundleAdjustment& block) {
  block.Limits.Apply_PCG_Model = true;
  block.Unknowns.nLayoutMode = shape.nLayoutMode;
  block.Images.nImageNum = block.Images.nUnknownImageNum = shape.nImageNum;
  block.Cameras.nCameraNum = shape.nCameraNum;
  block.Images.nGroupNum = shape.nGroupNum;
  block.Unknowns.nPosSize = shape.nPosSize;
  block.Settings.Set_EOP_Unknown = shape.nLayoutMode != LayoutIop;
  block.Settings.Set_IOP_Unknown = shape.nLayoutMode != LayoutEop;
  block.Unknowns.nBlockRowNum = static_cast<int32_t>(system.vRowPosition.size());
  block.Unknowns.nUnknownNum = system.nOrder;
  block.Normal.nSubMatrixNum = static_cast<int32_t>(system.vBlocks.size());
  block.Normal.pSubMatrixRows = std::move(system.vRows);
  block.Normal.pSubMatrices = std::move(system.vBlocks);
  block.Normal.pConstVector = std::move(system.vConst);
}

const SystemShape kShape{"EopIop", LayoutEopIop, 40, 3, 2, 3};

class SparseOperations : public testing::Test {
 protected:
  SparseOperations() : block(MadeUpPlatform(1 << 30, 2), console.Console()), system(MakeSystem(kShape, 8)) {
    Install(MakeSystem(kShape, 8), kShape, block);
    out.assign(system.vConst.size(), NAN);
    expected = out;
  }
  int Multiply(int32_t blockNum) {
    return block.MultiplyNormalMatrix(blockNum, block.Normal.pSubMatrices, system.nOrder,
                                      system.vConst.data(), out.data());
  }
  int Precondition() {
    return block.ApplyPreconditioner(block.Unknowns.nBlockRowNum, block.Normal.pSubMatrices, system.nOrder,
                                     system.vConst.data(), out.data());
  }
  void ExpectNear() const {
    for (size_t i = 0; i < out.size(); ++i) ASSERT_NEAR(out[i], expected[i], 1e-12) << i;
  }

  CapturedLog console;
  CBundleAdjustment block;
  BlockSystem system;  ///< the same once more
  std::vector<double> out, expected;
};

TEST_F(SparseOperations, ProductAgreesWithTheLiteralForm) {
  EXPECT_EQ(Multiply(block.Normal.nSubMatrixNum), 1);
  test::MultiplyNormalMatrix(&system, system.vConst.data(), expected.data());
  ExpectNear();
  // The first five blocks alone.
  EXPECT_EQ(Multiply(5), 1);
  system.vBlocks.resize(5);
  test::MultiplyNormalMatrix(&system, system.vConst.data(), expected.data());
  ExpectNear();
}

TEST_F(SparseOperations, PreconditionerAgreesWithTheLiteralForm) {
  EXPECT_EQ(Precondition(), 1);
  EXPECT_EQ(test::ApplyPreconditioner(&system, system.vConst.data(), expected.data()), 1);
  ExpectNear();
  EXPECT_EQ(console.Text(), "");
}

TEST_F(SparseOperations, PreconditionerEndsAtABlockThatIsNotSquare) {
  for (SubMatrix* entry :
       {system.Find(42, 42), &block.Normal.pSubMatrices[static_cast<size_t>(block.GetSubMatrixId(42, 42))]}) {
    FillBlock(*entry, 42, 42, 5, 4, std::vector<double>(20, 1.0));
  }
  EXPECT_EQ(Precondition(), 0);
  EXPECT_EQ(test::ApplyPreconditioner(&system, system.vConst.data(), expected.data()), 0);
  ExpectNear();
  EXPECT_EQ(console.Text(), "Error!Preconditioner invalid!\n");
}

TEST_F(SparseOperations, NothingIsRefused) {
  const double* v = system.vConst.data();
  const std::vector<SubMatrix>& blocks = block.Normal.pSubMatrices;
  EXPECT_EQ(block.MultiplyNormalMatrix(3, {}, system.nOrder, v, out.data()), 0);
  EXPECT_EQ(block.MultiplyNormalMatrix(3, blocks, system.nOrder, nullptr, out.data()), 0);
  EXPECT_EQ(block.MultiplyNormalMatrix(3, blocks, system.nOrder, v, nullptr), 0);
  EXPECT_EQ(block.ApplyPreconditioner(3, {}, system.nOrder, v, out.data()), 0);
  EXPECT_EQ(block.ApplyPreconditioner(3, blocks, system.nOrder, nullptr, out.data()), 0);
  EXPECT_EQ(block.ApplyPreconditioner(3, blocks, system.nOrder, v, nullptr), 0);
  EXPECT_TRUE(std::isnan(out[0]));
  EXPECT_EQ(console.Text(), "");
}

TEST_F(SparseOperations, SolutionAnswersOneInAnyCase) {
  block.Limits.Max_PCG_Iteration_Num = 300;
  std::vector<double> x(out.size(), 0.0);
  EXPECT_EQ(block.SolveByPcg(x.data()), 1);
  const ReferenceRun reference = ReferencePcg(system, std::vector<double>(x.size(), 0.0), 300, 0.1);
  for (size_t i = 0; i < x.size(); ++i) ASSERT_NEAR(x[i], reference.x[i], 1e-9) << i;
  std::ranges::fill(block.Normal.pConstVector, 0.0);
  EXPECT_EQ(block.SolveByPcg(x.data()), 1);
  EXPECT_EQ(block.SolveByPcg(nullptr), 1);
}

/// A diagonal system in the unknowns of one image and one camera, with the console in a file.
class SolveAndUpdate : public testing::Test {
 protected:
  SolveAndUpdate()
      : console(std::fopen((folder / "console").c_str(), "w+")), block(MadeUpPlatform(1 << 30, 2), console) {
    block.Paths.szOutputPath = folder.Path();
    block.Unknowns.nLayoutMode = LayoutEopIop;
    block.Images.nImageNum = block.Images.nUnknownImageNum = 1;
    block.Cameras.nCameraNum = 1;
    block.Images.pEop.resize(1);
    block.Cameras.pIop.resize(1);
    block.Unknowns.nUnknownNum = 11;
    block.Normal.pConstVector.assign(11, 0.0);
    block.Normal.pDenseNormal = ZeroedArray(121);
    for (size_t k = 0; k < 11; ++k) block.Normal.pDenseNormal[12 * k] = 4;
    block.Residuals.fRmsResidualX = 0.25;
    block.Residuals.fRmsResidualY = 0.125;
  }
  ~SolveAndUpdate() override { std::fclose(console); }
  std::string Text() {
    std::fflush(console);
    return ReadFile(folder / "console");
  }

  ScratchFolder folder;
  std::FILE* console;
  CBundleAdjustment block;
};

TEST_F(SolveAndUpdate, SolvesWritesAndUpdates) {
  for (size_t k = 0; k < 11; ++k) block.Normal.pConstVector[k] = 4 * static_cast<double>(k + 1);
  block.Normal.pConstVector[3] = -80;
  EXPECT_EQ(block.SolveAndUpdate(7), 1);
  EXPECT_EQ(Text(), ">>-20.000000\t0.250000\t0.125000\n");
  EXPECT_FALSE(block.Progress.bConverged);
  EXPECT_DOUBLE_EQ(block.Images.pEop[0].X, 1);
  EXPECT_DOUBLE_EQ(block.Images.pEop[0].Y, 2);
  EXPECT_DOUBLE_EQ(block.Images.pEop[0].Z, 3);
  EXPECT_DOUBLE_EQ(block.Images.pEop[0].fPhi, -20);
  EXPECT_DOUBLE_EQ(block.Images.pEop[0].fOmega, 5);
  EXPECT_DOUBLE_EQ(block.Images.pEop[0].fKappa, 6);
  EXPECT_DOUBLE_EQ(block.Cameras.pIop[0].fFocal, 7);
  EXPECT_DOUBLE_EQ(block.Cameras.pIop[0].fPrincipalX, 8);
  EXPECT_DOUBLE_EQ(block.Cameras.pIop[0].fPrincipalY, 9);
  EXPECT_DOUBLE_EQ(block.Cameras.pIop[0].fK1, 10);
  EXPECT_DOUBLE_EQ(block.Cameras.pIop[0].fK2, 11);
  std::string remainder;
  for (int k = 0; k < 11; ++k) remainder += "       0.000\t\n";
  EXPECT_EQ(ReadFile(folder / "LM_R_Vector_7.txt"), remainder);
}

TEST_F(SolveAndUpdate, ConvergenceIsStrictAndTheStepIsStillTaken) {
  struct Row {
    double fCorrection;
    bool bConverged;
  };
  for (const Row& row :
       {Row{0.5, false}, Row{-0.5, false}, Row{0.25, true}, Row{-0.25, true}, Row{0, true}}) {
    block.Progress.bConverged = false;
    block.Settings.LM_Converge_Threshold = 0.5;
    block.Images.pEop[0] = {};
    block.Normal.pConstVector.assign(11, 0.0);
    block.Normal.pConstVector[5] = 4 * row.fCorrection;
    for (size_t i = 0; i < 121; ++i) block.Normal.pDenseNormal[i] = i % 12 == 0 ? 4 : 0;
    EXPECT_EQ(block.SolveAndUpdate(0), 1);
    EXPECT_EQ(block.Progress.bConverged, row.bConverged) << row.fCorrection;
    EXPECT_EQ(block.Images.pEop[0].fKappa, row.fCorrection);
  }
}

TEST_F(SolveAndUpdate, SingularMatrixEndsWithTheUnknownsAsTheyStand) {
  block.Normal.pDenseNormal[12] = 0;
  block.Normal.pConstVector[0] = 5;
  block.Images.pEop[0].X = 42;
  EXPECT_EQ(block.SolveAndUpdate(3), 1);
  EXPECT_TRUE(block.Progress.bConverged);
  EXPECT_EQ(block.Images.pEop[0].X, 42);
  EXPECT_EQ(Text(), ">>0.000000\t0.250000\t0.125000\n");
  EXPECT_FALSE(Exists(folder / "LM_R_Vector_3.txt"));
  EXPECT_FALSE(Exists(folder / "Corrections_3.txt"));
}

TEST_F(SolveAndUpdate, DenseSolutionOfNotANumbersIsNoStepAndIsListed) {
  block.Normal.pConstVector[4] = NAN;
  block.Images.pEop[0].X = 42;
  EXPECT_EQ(block.SolveAndUpdate(3), 1);
  EXPECT_TRUE(block.Progress.bConverged);
  EXPECT_EQ(block.Images.pEop[0].X, 42);
  EXPECT_EQ(Text(), ">>0.000000\t0.250000\t0.125000\n");
  EXPECT_EQ(std::ranges::count(ReadFile(folder / "Corrections_3.txt"), '\n'), 11);
  EXPECT_NE(ReadFile(folder / "Corrections_3.txt").find("nan"), std::string::npos);
  EXPECT_NE(ReadFile(folder / "LM_R_Vector_3.txt").find("nan"), std::string::npos);
}

TEST_F(SolveAndUpdate, SideFileThatCannotBeOpenedIsLeftOutSilently) {
  block.Paths.szOutputPath = folder / "no such folder";
  block.Normal.pConstVector[0] = 4;
  EXPECT_EQ(block.SolveAndUpdate(0), 1);
  EXPECT_EQ(block.Images.pEop[0].X, 1);
  EXPECT_GE(block.Outputs.nOutputFailureNum, 1);
  EXPECT_EQ(Text(), ">>1.000000\t0.250000\t0.125000\n");
}

/// The same diagonal system in blocks of 6 and 5.
void UseSparseForm(CBundleAdjustment& block) {
  block.Limits.Apply_PCG_Model = true;
  block.Limits.PCG_IGN_Converge_Threshold = 1e-12;
  block.Limits.Max_PCG_Iteration_Num = 300;
  block.Unknowns.nBlockRowNum = block.Normal.nSubMatrixNum = 2;
  block.Normal.pSubMatrixRows = {{0, {0}}, {1, {1}}};
  for (int32_t row = 0; row < 2; ++row) {
    const int32_t size = 6 - row;
    SubMatrix& entry = block.Normal.pSubMatrices.emplace_back();
    entry.nRow = entry.nCol = row;
    entry.nRows = entry.nCols = size;
    entry.pOwned = std::make_unique<double[]>(static_cast<size_t>(size * size));
    entry.pData = entry.pOwned.get();
    for (int32_t k = 0; k < size; ++k) entry.pData[k * (size + 1)] = 4;
  }
}

TEST_F(SolveAndUpdate, SparseFormTakesTheSameStep) {
  UseSparseForm(block);
  for (size_t k = 0; k < 11; ++k) block.Normal.pConstVector[k] = 4 * static_cast<double>(k + 1);
  block.Normal.pConstVector[3] = -80;
  EXPECT_EQ(block.SolveAndUpdate(7), 1);
  EXPECT_NE(Text().find(">>PCG Iteration times:1\n>>-20.000000\t0.250000\t0.125000\n"), std::string::npos);
  EXPECT_EQ(block.Images.pEop[0].X, 1.0);
  EXPECT_EQ(block.Images.pEop[0].fPhi, -20.0);
  EXPECT_EQ(block.Cameras.pIop[0].fK2, 11.0);
  EXPECT_FALSE(block.Progress.bConverged);
  EXPECT_FALSE(Exists(folder / "LM_R_Vector_7.txt"));
}

TEST_F(SolveAndUpdate, SparseSolutionOfNotANumbersIsNoStep) {
  UseSparseForm(block);
  EXPECT_EQ(block.SolveAndUpdate(2), 1);
  EXPECT_TRUE(block.Progress.bConverged);
  EXPECT_EQ(block.Images.pEop[0].X, 0.0);
  const std::string corrections = ReadFile(folder / "Corrections_2.txt");
  EXPECT_EQ(std::ranges::count(corrections, '\n'), 11);
  EXPECT_NE(corrections.find("nan\n"), std::string::npos) << corrections;
  EXPECT_NE(Text().find(">>PCG Iteration times:1\n>>0.000000\t0.250000\t0.125000\n"), std::string::npos);
}

TEST_F(SolveAndUpdate, UpdateFollowsTheLayoutAndTheSwitchesOfPosData) {
  block.Images.nGroupNum = 1;
  block.Unknowns.nPosSize = 3;
  block.Normal.pPosParams.assign(3, 100.0);
  std::vector<double> x(14);
  for (size_t k = 0; k < x.size(); ++k) x[k] = static_cast<double>(k + 1);
  EXPECT_EQ(block.UpdateUnknowns(x.data()), 1);
  EXPECT_EQ(block.Images.pEop[0].fKappa, 6);
  EXPECT_EQ(block.Cameras.pIop[0].fK2, 11);
  EXPECT_EQ(block.Normal.pPosParams, (std::vector<double>(3, 100.0)));
  block.Limits.Apply_IMU_Data = true;
  EXPECT_EQ(block.UpdateUnknowns(x.data()), 1);
  EXPECT_EQ(block.Normal.pPosParams, (std::vector<double>{112, 113, 114}));
}

TEST_F(SolveAndUpdate, NullVector) {
  EXPECT_EQ(block.UpdateUnknowns(nullptr), 0);
  EXPECT_EQ(Text(), "Error!Unknown vector pointer is null!\n");
}

}  // namespace
}  // namespace orvo::test
