#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <string>

#include "run/BundleAdjustment.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

/// A diagonal system in the unknowns of one image and one camera, with the console in a file.
class LmStep : public testing::Test {
 protected:
  LmStep()
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
  ~LmStep() override { std::fclose(console); }
  std::string Text() {
    std::fflush(console);
    return ReadFile(folder / "console");
  }

  ScratchFolder folder;
  std::FILE* console;
  CBundleAdjustment block;
};

TEST_F(LmStep, SolvesWritesAndUpdates) {
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

TEST_F(LmStep, ConvergenceIsStrictAndTheStepIsStillTaken) {
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

TEST_F(LmStep, SingularMatrixEndsWithTheUnknownsAsTheyStand) {
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

TEST_F(LmStep, DenseSolutionOfNotANumbersIsNoStepAndIsListed) {
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

TEST_F(LmStep, SideFileThatCannotBeOpenedIsLeftOutSilently) {
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

TEST_F(LmStep, SparseFormTakesTheSameStep) {
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

TEST_F(LmStep, SparseSolutionOfNotANumbersIsNoStep) {
  UseSparseForm(block);
  EXPECT_EQ(block.SolveAndUpdate(2), 1);
  EXPECT_TRUE(block.Progress.bConverged);
  EXPECT_EQ(block.Images.pEop[0].X, 0.0);
  const std::string corrections = ReadFile(folder / "Corrections_2.txt");
  EXPECT_EQ(std::ranges::count(corrections, '\n'), 11);
  EXPECT_NE(corrections.find("nan\n"), std::string::npos) << corrections;
  EXPECT_NE(Text().find(">>PCG Iteration times:1\n>>0.000000\t0.250000\t0.125000\n"), std::string::npos);
}

TEST_F(LmStep, NullVector) {
  EXPECT_EQ(block.UpdateUnknowns(nullptr), 0);
  EXPECT_EQ(Text(), "Error!Unknown vector pointer is null!\n");
}

/// 1, 2, 3 ... so that what is added tells the place in x.
std::vector<double> Counting(size_t n) {
  std::vector<double> x(n);
  for (size_t k = 0; k < n; ++k) x[k] = static_cast<double>(k + 1);
  return x;
}

TEST(UpdateUnknowns, PlacesByLayout) {
  struct Row {
    int32_t nLayoutMode;
    double fFirstX, fSecondX, fFirstFocal, fSecondFocal;
  };
  const Row rows[] = {{LayoutEop, 1, 7, 0, 0},
                      {LayoutIop, 0, 0, 1, 6},
                      {LayoutMergedEopIop, 1, 12, 7, 18},
                      {LayoutEopIop, 1, 7, 13, 18}};
  for (const Row& row : rows) {
    CBundleAdjustment block(NativePlatform(), nullptr);
    block.Unknowns.nLayoutMode = row.nLayoutMode;
    block.Settings.Set_EOP_Unknown = row.nLayoutMode != LayoutIop;
    block.Settings.Set_IOP_Unknown = row.nLayoutMode != LayoutEop;
    block.Images.nImageNum = block.Cameras.nCameraNum = 2;
    block.Images.pEop.resize(2);
    block.Cameras.pIop.resize(2);
    const std::vector<double> x = Counting(22);
    EXPECT_EQ(block.UpdateUnknowns(x.data()), 1);
    EXPECT_EQ(block.Images.pEop[0].X, row.fFirstX);
    EXPECT_EQ(block.Images.pEop[1].X, row.fSecondX);
    EXPECT_EQ(block.Cameras.pIop[0].fFocal, row.fFirstFocal);
    EXPECT_EQ(block.Cameras.pIop[1].fFocal, row.fSecondFocal);
  }
}

TEST(UpdateUnknowns, ImageWithStatusOneDoesNotUseUpItsPlace) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  block.Unknowns.nLayoutMode = LayoutEop;
  block.Settings.Set_IOP_Unknown = false;
  block.Images.nImageNum = 3;
  block.Images.pEop.resize(3);
  block.Images.pEop[1].nStatus = 1;
  const std::vector<double> x = Counting(18);
  EXPECT_EQ(block.UpdateUnknowns(x.data()), 1);
  EXPECT_EQ(block.Images.pEop[0].X, 1);
  EXPECT_EQ(block.Images.pEop[1].X, 0);
  EXPECT_EQ(block.Images.pEop[2].X, 7);
}

TEST(UpdateUnknowns, GroupsFollow) {
  CBundleAdjustment block(NativePlatform(), nullptr);
  block.Unknowns.nLayoutMode = LayoutEopIop;
  block.Images.nImageNum = block.Cameras.nCameraNum = 1;
  block.Images.pEop.resize(1);
  block.Cameras.pIop.resize(1);
  block.Limits.Apply_IMU_Data = true;
  block.Images.nGroupNum = 2;
  block.Unknowns.nPosSize = 3;
  block.Normal.pPosParams.assign(6, 100.0);
  const std::vector<double> x = Counting(17);
  EXPECT_EQ(block.UpdateUnknowns(x.data()), 1);
  EXPECT_EQ(block.Normal.pPosParams, (std::vector<double>{112, 113, 114, 115, 116, 117}));
}

}  // namespace
}  // namespace orvo::test
