#include <gtest/gtest.h>

#include <algorithm>
#include <numeric>
#include <random>

#include "NormalBuilders.h"
#include "SlowAssembly.h"
#include "normal/PointOrder.h"
#include "normal/ThreadBuffers.h"

namespace orvo::test {
namespace {

/// A long block whose points come strip by strip, or in random order.
void FillLongBlock(NormalParts& block, int layout, bool shuffled, int cameras = 3) {
  FillBlock(
      block,
      {.nLayoutMode = layout, .nImages = 60, .nCameras = cameras, .nPoints = 900, .bGrossPoints = true});
  std::vector<size_t> order(block.Points.pObjectPoints.size());
  std::iota(order.begin(), order.end(), size_t{0});
  if (shuffled) {
    std::shuffle(order.begin(), order.end(), std::mt19937(5));
  } else {
    std::ranges::sort(order, {}, [&](size_t p) { return block.Points.pObjectPoints[p].X; });
  }
  ObjectPointArray points;
  ImagePointArray imagePoints;
  for (const size_t p : order) {
    ObjectPointRecord point = block.Points.pObjectPoints[p];
    const auto measurements = MeasurementsOf(point, block.Points.pImagePoints);
    point.nFirstImagePoint = std::ssize(imagePoints);
    for (ImagePointRecord measurement : measurements) {
      measurement.nObjectPoint = static_cast<int32_t>(points.size());
      imagePoints.push_back(measurement);
    }
    points.push_back(point);
  }
  block.Points.pObjectPoints = points;
  block.Points.pImagePoints = imagePoints;
}

std::vector<int32_t> ImagesOf(const NormalParts& block, int32_t point) {
  std::vector<int32_t> images;
  for (const ImagePointRecord& measurement :
       MeasurementsOf(block.Points.pObjectPoints[static_cast<size_t>(point)], block.Points.pImagePoints)) {
    if (block.Layout().Holds(measurement)) images.push_back(measurement.nImage);
  }
  std::ranges::sort(images);
  images.erase(std::unique(images.begin(), images.end()), images.end());
  return images;
}

int32_t LastPoint(const NormalParts& block) {
  return static_cast<int32_t>(block.Points.pObjectPoints.size()) - 1;
}

TEST(PointOrder, RandomPointsAreScatteredAndNeighboursAreNot) {
  for (const bool shuffled : {false, true}) {
    NormalParts block(MadeUpPlatform(1 << 30, 1));
    FillLongBlock(block, LayoutEop, shuffled);
    EXPECT_EQ(IsScattered(block.Points.pObjectPoints, block.Points.pImagePoints, 0, LastPoint(block)),
              shuffled);
    // A few points are close by in any order.
    EXPECT_FALSE(IsScattered(block.Points.pObjectPoints, block.Points.pImagePoints, 10, 40));
    EXPECT_FALSE(IsScattered(block.Points.pObjectPoints, block.Points.pImagePoints, 0, -1));
  }
}

TEST(PointOrder, SortsASliceByItsImages) {
  NormalParts block(MadeUpPlatform(1 << 30, 1));
  FillLongBlock(block, LayoutEop, true);
  const std::vector<int32_t> order =
      OrderByImages(block.Points.pObjectPoints, block.Points.pImagePoints, block.Layout(), 100, 799);
  ASSERT_EQ(order.size(), 700u);
  std::vector<int32_t> sorted = order;
  std::ranges::sort(sorted);
  for (int32_t k = 0; k < 700; ++k) EXPECT_EQ(sorted[static_cast<size_t>(k)], 100 + k);
  for (size_t k = 1; k < order.size(); ++k) {
    const std::vector<int32_t> before = ImagesOf(block, order[k - 1]), here = ImagesOf(block, order[k]);
    ASSERT_FALSE(before.empty());
    EXPECT_LE(before[0], here[0]);
    if (before[0] == here[0] && before.size() > 1 && here.size() > 1) {
      EXPECT_LE(before[1], here[1]);
    }
  }
}

TEST(PointOrder, PointsWithoutKeptImageComeLast) {
  NormalParts block(MadeUpPlatform(1 << 30, 1));
  SetLayout(block, LayoutEop, 2, 1);
  AppendPoint(block, 0, 0, 0);
  AppendMeasurement(block, -1, 0, 0, 0);
  AppendPoint(block, 0, 0, 0);
  AppendMeasurement(block, 1, 0, 0, 0);
  AppendPoint(block, 0, 0, 0);
  AppendPoint(block, 0, 0, 0);
  AppendMeasurement(block, 7, 0, 0, 0);
  AppendMeasurement(block, 0, 0, 0, 0);
  EXPECT_EQ(OrderByImages(block.Points.pObjectPoints, block.Points.pImagePoints, block.Layout(), 0, 3),
            (std::vector<int32_t>{3, 1, 0, 2}));
  EXPECT_TRUE(
      OrderByImages(block.Points.pObjectPoints, block.Points.pImagePoints, block.Layout(), 1, 0).empty());
}

TEST(PointOrder, NoneWhereMeasurementsDoNotFollowEachOther) {
  struct Row {
    const char* szWhat;
    int64_t nFirst;
    int32_t nCount;
  };
  const Row rows[] = {{"gap", 2, 1}, {"overlap", 0, 1}, {"negative count", 1, -1}, {"beyond the end", 1, 9}};
  for (const Row& row : rows) {
    NormalParts block(MadeUpPlatform(1 << 30, 1));
    SetLayout(block, LayoutEop, 2, 1);
    for (int k = 0; k < 3; ++k) {
      AppendPoint(block, 0, 0, 0);
      AppendMeasurement(block, k % 2, 0, 0, 0);
    }
    EXPECT_TRUE(FollowEachOther(block.Points.pObjectPoints, 3, 0, 2));
    block.Points.pObjectPoints[1].nFirstImagePoint = row.nFirst;
    block.Points.pObjectPoints[1].nImagePointNum = row.nCount;
    EXPECT_FALSE(FollowEachOther(block.Points.pObjectPoints, 3, 0, 2)) << row.szWhat;
    EXPECT_TRUE(
        OrderByImages(block.Points.pObjectPoints, block.Points.pImagePoints, block.Layout(), 0, 2).empty())
        << row.szWhat;
  }
}

struct Assembled {
  std::vector<double> N, b;
  ScratchVector<float> Residuals;
  ScratchVector<int32_t> Flags;
  double fMinX, fMinY, fMaxX, fMaxY;
};

/// Assembles without the residual file, in the order of the points or as the run finds it best.
Assembled Assemble(NormalParts& block, int threads) {
  block.Limits.Apply_PCG_Model = true;
  EXPECT_EQ(block.FindPattern(), PatternOutcome::Found);
  block.ClearMatrix();
  block.Limits.nThreadNum = threads;
  Assembled run;
  for (const SubTask& task : block.MakeTasks()) {
    AssembleTask(block.Points, task.nThread, task.nFirst, task.nLast, block.Normal);
    MergeThread(task.nThread, threads + 1, block.Normal, block.Residuals);
    const auto k = static_cast<size_t>(task.nThread);
    const ThreadBuffers& buffers = *block.Normal.pThreadBuffers;
    run.Residuals.insert(run.Residuals.end(), buffers.pThreadResiduals[k].begin(),
                         buffers.pThreadResiduals[k].end());
    run.Flags.insert(run.Flags.end(), buffers.pThreadGrossFlags[k].begin(),
                     buffers.pThreadGrossFlags[k].end());
  }
  EXPECT_EQ(block.Finish(), 1);
  run.N = AsDense(block);
  run.b = block.Normal.pConstVector;
  run.fMinX = block.Residuals.fMinResidualX;
  run.fMinY = block.Residuals.fMinResidualY;
  run.fMaxX = block.Residuals.fMaxResidualX;
  run.fMaxY = block.Residuals.fMaxResidualY;
  return run;
}

class RandomOrder : public testing::TestWithParam<int> {};
INSTANTIATE_TEST_SUITE_P(Layouts, RandomOrder,
                         testing::Values(LayoutEop, LayoutIop, LayoutMergedEopIop, LayoutEopIop));

TEST_P(RandomOrder, GivesTheEquationsAndTheListingOfTheFile) {
  for (const int threads : {1, 3}) {
    NormalParts block(MadeUpPlatform(1 << 30, threads + 1));
    FillLongBlock(block, GetParam(), true);
    const SlowEquations slow = SlowAssembly(block).Run();
    const Assembled run = Assemble(block, threads);
    EXPECT_EQ(block.Normal.pPointOrders[0].vPoints.empty(), GetParam() == LayoutIop);
    EXPECT_LE(LargestDifference(slow, run.N, run.b), 1e-9);
    EXPECT_EQ(run.Flags, slow.Flags);
    ASSERT_EQ(run.Residuals.size(), slow.Residuals.size());
    for (size_t k = 0; k < run.Residuals.size(); ++k) {
      EXPECT_NEAR(run.Residuals[k], slow.Residuals[k], 1e-6 * std::fabs(slow.Residuals[k]) + 1e-12) << k;
    }
  }
}

TEST_P(RandomOrder, SmallestResidualInYIsThatOfTheListing) {
  for (const double start : {1e308, 0.001, -0.003}) {
    NormalParts block(MadeUpPlatform(1 << 30, 2));
    FillLongBlock(block, GetParam(), true);
    const SlowEquations slow = SlowAssembly(block).Run();
    double expected = start;
    for (size_t k = 0; k < slow.Flags.size(); ++k) {
      if (slow.Flags[k] == 0 && (slow.Residuals[2 * k] != 0 || slow.Residuals[2 * k + 1] != 0) &&
          static_cast<double>(slow.Residuals[2 * k + 1]) < expected) {
        expected = static_cast<double>(slow.Residuals[2 * k]);
      }
    }
    block.Residuals.fMinResidualY = start;
    EXPECT_NEAR(Assemble(block, 1).fMinY, expected, 1e-6 * std::fabs(expected)) << start;
  }
}

TEST_P(RandomOrder, SecondRunIsBitEqualAndUsesTheSameOrder) {
  NormalParts block(MadeUpPlatform(1 << 30, 2));
  FillLongBlock(block, GetParam(), true);
  const Assembled first = Assemble(block, 1);
  const std::vector<int32_t> order = block.Normal.pPointOrders[0].vPoints;
  block.Normal.pThreadBuffers.reset();
  block.ReleaseMatrix();
  const Assembled second = Assemble(block, 1);
  EXPECT_EQ(block.Normal.pPointOrders[0].vPoints, order);
  EXPECT_EQ(first.N, second.N);
  EXPECT_EQ(first.b, second.b);
}

TEST(RandomOrderOfManyCameras, GivesTheSameEquations) {
  // More cameras than have their sums side by side, in every batch.
  for (const int layout : {LayoutIop, LayoutEopIop}) {
    for (const bool shuffled : {false, true}) {
      NormalParts block(MadeUpPlatform(1 << 30, 2));
      FillLongBlock(block, layout, shuffled, 60);
      const SlowEquations slow = SlowAssembly(block).Run();
      const Assembled run = Assemble(block, 1);
      EXPECT_LE(LargestDifference(slow, run.N, run.b), 1e-9) << layout << " " << shuffled;
    }
  }
}

}  // namespace
}  // namespace orvo::test
