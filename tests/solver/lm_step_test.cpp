#include "solver/LmStep.h"

#include <gtest/gtest.h>

#include <vector>

namespace orvo::test {
namespace {

/// Images and cameras of zeros.
struct StepTables {
  ImageTable Images;
  CameraTable Cameras;

  StepTables(int32_t images, int32_t cameras) {
    Images.nImageNum = images;
    Images.pEop.resize(static_cast<size_t>(images));
    Cameras.nCameraNum = cameras;
    Cameras.pIop.resize(static_cast<size_t>(cameras));
  }
};

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
    StepTables block(2, 2);
    AdjustmentSettings settings;
    settings.Set_EOP_Unknown = row.nLayoutMode != LayoutIop;
    settings.Set_IOP_Unknown = row.nLayoutMode != LayoutEop;
    const std::vector<double> x = Counting(22);
    AddStep(x.data(), settings, row.nLayoutMode, block.Images, block.Cameras, {});
    EXPECT_EQ(block.Images.pEop[0].X, row.fFirstX);
    EXPECT_EQ(block.Images.pEop[1].X, row.fSecondX);
    EXPECT_EQ(block.Cameras.pIop[0].fFocal, row.fFirstFocal);
    EXPECT_EQ(block.Cameras.pIop[1].fFocal, row.fSecondFocal);
  }
}

TEST(UpdateUnknowns, ImageWithStatusOneDoesNotUseUpItsPlace) {
  StepTables block(3, 0);
  block.Images.pEop[1].nStatus = 1;
  const std::vector<double> x = Counting(18);
  AdjustmentSettings settings;
  settings.Set_IOP_Unknown = false;
  AddStep(x.data(), settings, LayoutEop, block.Images, block.Cameras, {});
  EXPECT_EQ(block.Images.pEop[0].X, 1);
  EXPECT_EQ(block.Images.pEop[1].X, 0);
  EXPECT_EQ(block.Images.pEop[2].X, 7);
}

TEST(UpdateUnknowns, TheSwitchesSayWhatIsUnknown) {
  StepTables block(1, 1);
  AdjustmentSettings settings;
  settings.Set_EOP_Unknown = false;
  const std::vector<double> x = Counting(11);
  AddStep(x.data(), settings, LayoutEop, block.Images, block.Cameras, {});
  EXPECT_EQ(block.Images.pEop[0].X, 0);
  EXPECT_EQ(block.Cameras.pIop[0].fFocal, 1);
}

TEST(UpdateUnknowns, GroupsFollow) {
  StepTables block(1, 1);
  std::vector<double> parameters(6, 100.0);
  const std::vector<double> x = Counting(17);
  AddStep(x.data(), {}, LayoutEopIop, block.Images, block.Cameras, parameters);
  EXPECT_EQ(parameters, (std::vector<double>{112, 113, 114, 115, 116, 117}));
}

TEST(IsLastStep, ByNumberOrBySize) {
  struct Row {
    int32_t nIteration;
    double fLargest;
    bool bLast;
  };
  AdjustmentSettings settings;
  settings.Max_LM_Iteration_Num = 5;
  settings.LM_Converge_Threshold = 0.5;
  for (const Row& row : {Row{3, 0.5, false}, Row{3, -0.5, false}, Row{3, -0.25, true}, Row{4, 9, true}}) {
    EXPECT_EQ(IsLastStep(settings, row.nIteration, std::vector<double>{0.1, row.fLargest, 0}), row.bLast)
        << row.nIteration << " " << row.fLargest;
  }
}

/// A prediction that is made whenever it is asked for.
PredictionBasis BasisOf(std::vector<double>& diagonal, double squares) {
  PredictionBasis basis;
  basis.IsLast = [](std::span<const double>) { return true; };
  basis.fSquares = squares;
  basis.fLimit = 100;
  basis.Diagonal = diagonal;
  return basis;
}

TEST(DenseStep, PredictsTheGainThatTheDampingHeldBack) {
  // 2 x = 6, damped to 4 x = 6: the step is 1.5, the remainder of the undamped equation 3, its gain 9 / 2.
  NormalEquations normal;
  normal.pDenseNormal = ZeroedArray(1);
  normal.pDenseNormal[0] = 4;
  normal.pConstVector = {6};
  std::vector<double> diagonal{2};
  PredictionBasis basis = BasisOf(diagonal, 90);
  basis.fMu = 1;
  const LmStep step = SolveDenseStep({{0}, 1, 1}, &basis, normal);
  EXPECT_TRUE(step.IsStep());
  EXPECT_DOUBLE_EQ(step.x[0], 1.5);
  EXPECT_EQ(step.Remainder, std::vector<double>{0});
  ASSERT_TRUE(step.fPredictedShare.has_value());
  EXPECT_NEAR(*step.fPredictedShare, 4.5 / 90, 1e-12);
  EXPECT_EQ(normal.pDenseNormal[0], 0) << "cleared";
  normal.pDenseNormal[0] = 4;
  basis.IsLast = [](std::span<const double>) { return false; };
  EXPECT_FALSE(SolveDenseStep({{0}, 1, 1}, &basis, normal).fPredictedShare.has_value());
}

TEST(DenseStep, SingularMatrixIsNoStep) {
  NormalEquations normal;
  normal.pDenseNormal = ZeroedArray(4);
  normal.pConstVector = {1, 1};
  const LmStep step = SolveDenseStep({{0}, 2, 1}, nullptr, normal);
  EXPECT_FALSE(step.bSolved);
  EXPECT_FALSE(step.IsStep());
}

}  // namespace
}  // namespace orvo::test
