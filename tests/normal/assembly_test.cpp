#include <gtest/gtest.h>

#include <cstring>
#include <string>
#include <tuple>

#include "NormalBuilders.h"
#include "SlowAssembly.h"
#include "normal/ThreadBuffers.h"

namespace orvo::test {
namespace {

struct Assembled {
  std::vector<double> N, b;
  int32_t nValid;
  double fSumX, fSumY, fSquareSumX, fSquareSumY, fRmsX;
};

/// The block through pattern and assembly, with `threads` assembly threads.
Assembled Assemble(NormalParts& block, bool sparse, int32_t threads = 1) {
  block.Limits.Apply_PCG_Model = sparse;
  EXPECT_EQ(block.FindPattern(), PatternOutcome::Found);
  block.ClearMatrix();
  block.Limits.nThreadNum = threads;
  block.AssembleSection();
  return {AsDense(block),
          block.Normal.pConstVector,
          block.Residuals.nValidImagePointNum,
          block.Residuals.fResidualSumX,
          block.Residuals.fResidualSumY,
          block.Residuals.fResidualSquareSumX,
          block.Residuals.fResidualSquareSumY,
          block.Residuals.fRmsResidualX};
}

std::string LayoutName(int layout) {
  const char* names[] = {"Eop", "Iop", "Merged", "EopIop"};
  return names[layout];
}

class AssemblyAgainstSlow : public testing::TestWithParam<std::tuple<int, bool, int, int>> {};

TEST_P(AssemblyAgainstSlow, GivesTheSameEquations) {
  const auto [layout, sparse, threads, cameras] = GetParam();
  for (const bool gross : {false, true}) {
    NormalParts block(MadeUpPlatform(int64_t{1} << 30, threads + 1));
    FillBlock(block, {.nLayoutMode = layout, .nCameras = cameras, .bGrossPoints = gross});
    const SlowEquations slow = SlowAssembly(block).Run();
    const Assembled fast = Assemble(block, sparse, threads);
    // With all but one ray of a point at the weight 1e-6 its matrix is nearly singular, and its inverse
    // magnifies the differences between two orders of summation.
    EXPECT_LE(LargestDifference(slow, fast.N, fast.b), gross ? 1e-9 : 1e-12) << "gross points: " << gross;
    EXPECT_EQ(fast.nValid, slow.nValid);
    EXPECT_NEAR(fast.fSumX, slow.fSumX, 1e-10);
    EXPECT_NEAR(fast.fSumY, slow.fSumY, 1e-10);
    EXPECT_NEAR(fast.fSquareSumX, slow.fSquareSumX, 1e-10);
    EXPECT_NEAR(fast.fSquareSumY, slow.fSquareSumY, 1e-10);
    EXPECT_NEAR(fast.fRmsX, std::sqrt(slow.fSquareSumX / slow.nValid), 1e-12);
  }
}

INSTANTIATE_TEST_SUITE_P(Layouts, AssemblyAgainstSlow,
                         testing::Combine(testing::Values(LayoutEop, LayoutIop, LayoutMergedEopIop,
                                                          LayoutEopIop),
                                          testing::Bool(), testing::Values(1, 2, 5), testing::Values(1, 3)),
                         [](const auto& of) {
                           return LayoutName(std::get<0>(of.param)) +
                                  (std::get<1>(of.param) ? "Sparse" : "Dense") +
                                  std::to_string(std::get<2>(of.param)) + "Threads" +
                                  std::to_string(std::get<3>(of.param)) + "Cameras";
                         });

class AssemblyOfLayout : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Layouts, AssemblyOfLayout,
                         testing::Values(LayoutEop, LayoutIop, LayoutMergedEopIop, LayoutEopIop),
                         [](const auto& of) { return LayoutName(of.param); });

TEST_P(AssemblyOfLayout, EveryInstructionSetGivesTheSameEquations) {
  for (const AssemblyKernels& kernels : UsableAssemblyKernels()) {
    NormalParts block(MadeUpPlatform(1 << 30, 1));
    FillBlock(block, {.nLayoutMode = GetParam()});
    const SlowEquations slow = SlowAssembly(block).Run();
    block.Limits.Apply_PCG_Model = true;
    ASSERT_EQ(block.FindPattern(), PatternOutcome::Found);
    block.Limits.nThreadNum = 1;
    const std::vector<SubTask> tasks = block.MakeTasks();
    ThreadBuffers& buffers = *block.Normal.pThreadBuffers;
    kernels.ByLayout[GetParam()](buffers.Input, buffers.pThreadScratch[0], buffers.pThreadOutput[0],
                                 tasks[0].nFirst, tasks[0].nLast);
    ASSERT_EQ(block.Finish(), 1);
    EXPECT_LE(LargestDifference(slow, AsDense(block), block.Normal.pConstVector), 1e-12) << kernels.szName;
    EXPECT_EQ(buffers.pThreadResiduals[0], slow.Residuals) << kernels.szName;
    EXPECT_EQ(buffers.pThreadGrossFlags[0], slow.Flags) << kernels.szName;
  }
}

TEST_P(AssemblyOfLayout, DenseAndSparseFormsAreTheSameMatrix) {
  std::vector<Assembled> forms;
  for (const bool sparse : {false, true}) {
    NormalParts block(MadeUpPlatform(1 << 30, 4));
    FillBlock(block, {.nLayoutMode = GetParam(), .bGrossPoints = true});
    forms.push_back(Assemble(block, sparse, 3));
  }
  EXPECT_EQ(forms[0].N, forms[1].N);
  EXPECT_EQ(forms[0].b, forms[1].b);
}

TEST_P(AssemblyOfLayout, TheSameRunTwiceGivesIdenticalBytes) {
  std::vector<Assembled> runs;
  for (int run = 0; run < 2; ++run) {
    NormalParts block(MadeUpPlatform(1 << 30, 6));
    FillBlock(block, {.nLayoutMode = GetParam(), .bGrossPoints = true});
    runs.push_back(Assemble(block, true, 2));
  }
  EXPECT_EQ(0, std::memcmp(runs[0].N.data(), runs[1].N.data(), runs[0].N.size() * sizeof(double)));
  EXPECT_EQ(0, std::memcmp(runs[0].b.data(), runs[1].b.data(), runs[0].b.size() * sizeof(double)));
  EXPECT_EQ(runs[0].fSquareSumX, runs[1].fSquareSumX);
}

TEST_P(AssemblyOfLayout, SectionsAddUpToTheWhole) {
  for (const bool sparse : {false, true}) {
    NormalParts block(MadeUpPlatform(1 << 30, 3));
    FillBlock(block, {.nLayoutMode = GetParam()});
    const SlowEquations slow = SlowAssembly(block).Run();
    block.Limits.Apply_PCG_Model = sparse;
    ASSERT_EQ(block.FindPattern(), PatternOutcome::Found);
    block.ClearMatrix();
    const ObjectPointArray all = block.Points.pObjectPoints;
    const auto count = std::ssize(all);
    block.Points.Sections.ObjectPoints = {{0, 19}, {20, 69}, {70, count - 1}};
    block.Limits.nThreadNum = 2;
    for (int32_t section = 0; section < 3; ++section) {
      const PointSectionTable::Range range = block.Points.Sections.ObjectPoints[static_cast<size_t>(section)];
      block.Points.pObjectPoints.assign(all.begin() + range.nFirst, all.begin() + range.nLast + 1);
      // The gross test of later sections would use the figures of the first.
      block.Residuals.fRmsResidualX = block.Residuals.fRmsResidualY = 0.1;
      block.AssembleSection(section);
    }
    EXPECT_LE(LargestDifference(slow, AsDense(block), block.Normal.pConstVector), 1e-12);
    EXPECT_EQ(block.Residuals.nValidImagePointNum, slow.nValid);
    EXPECT_NEAR(block.Residuals.fMeanResidualY, slow.fSumY / slow.nValid, 1e-12);
  }
}

TEST_P(AssemblyOfLayout, NextIterationStartsFromZero) {
  NormalParts block(MadeUpPlatform(1 << 30, 3));
  FillBlock(block, {.nLayoutMode = GetParam()});
  const Assembled first = Assemble(block, true, 2);
  // Cleared in place, and released and made again.
  for (const bool release : {false, true}) {
    if (release) block.ReleaseMatrix();
    block.Residuals.fRmsResidualX = block.Residuals.fRmsResidualY = 0.1;
    block.ClearMatrix();
    block.AssembleSection();
    EXPECT_EQ(AsDense(block), first.N);
    EXPECT_EQ(block.Normal.pConstVector, first.b);
  }
}

TEST(Assembly, PointWithMoreMeasurementsThanABatch) {
  for (const int layout : {LayoutEop, LayoutIop, LayoutMergedEopIop, LayoutEopIop}) {
    NormalParts block(MadeUpPlatform(1 << 30, 1));
    FillBlock(block, {.nLayoutMode = layout, .nImages = 90, .nPoints = 20, .bOddPoints = false});
    // One point takes the measurements of all.
    block.Points.pObjectPoints.resize(1);
    block.Points.pObjectPoints[0].nImagePointNum = static_cast<int32_t>(block.Points.pImagePoints.size());
    for (int32_t k = 0; k < std::ssize(block.Points.pImagePoints); ++k) {
      block.Points.pImagePoints[static_cast<size_t>(k)].nImage = (37 * k) % 90;
      if (layout == LayoutMergedEopIop)
        block.Points.pImagePoints[static_cast<size_t>(k)].nCamera = (37 * k) % 90;
    }
    CloseSection(block);
    block.Residuals.fRmsResidualX = block.Residuals.fRmsResidualY = 1e9;
    ASSERT_GT(block.Points.pImagePoints.size(), 64u);
    const SlowEquations slow = SlowAssembly(block).Run();
    const Assembled fast = Assemble(block, true, 2);
    EXPECT_LE(LargestDifference(slow, fast.N, fast.b), 1e-12) << LayoutName(layout);
  }
}

}  // namespace
}  // namespace orvo::test
