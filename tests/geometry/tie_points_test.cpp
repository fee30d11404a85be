#include "geometry/TiePoints.h"

#include <gtest/gtest.h>

#include <cmath>

#include "geometry/GeometryBuilders.h"

namespace orvo {
namespace {

using test::ExactStrip;
using test::TestBlock;

/// The section of a run on so many processors.
struct TiePointRun : test::BlockParts {
  explicit TiePointRun(int processors) : nProcessors(processors) {}
  void ComputeTiePoints(int32_t section) {
    orvo::ComputeTiePoints(section, {Images, Cameras, nProcessors}, Frame.dCoorScale, Points, Residuals);
  }
  void ComputeTiePointsThreaded(int32_t section) {
    orvo::ComputeTiePointsThreaded(section, {Images, Cameras, nProcessors}, Points, Log);
  }
  int nProcessors;
};

void ExpectSix(const double* actual, const std::vector<double>& expected) {
  for (size_t i = 0; i < 6; ++i) EXPECT_NEAR(actual[i], expected[i], 1e-9) << i;
}

/// One tie point, one control point and one check point, all recorded away from where their rays meet.
TestBlock ThreePoints() {
  TestBlock block = ExactStrip();
  block.AddPoint(0, 64, 0, 0, {0, 1}, 100, 100, 100);
  block.AddPoint(1, 64, 32, 0, {0, 1, 2}, -1, -2, -3);
  block.AddPoint(2, 128, 0, 0, {0, 1, 2}, -4, 0, 8);
  return block;
}

/// `count` tie points at (8 i, -16, 0), recorded at (0, 0, 0).
TestBlock TiePoints(int count) {
  TestBlock block = ExactStrip();
  for (int i = 0; i < count; ++i) block.AddPoint(0, 8 * i, -16, 0, {0, 1, 2}, -8 * i, 16, 0);
  return block;
}

TEST(ComputeTiePoints, IntersectsTheSectionAndTakesStatisticsInObjectUnits) {
  TiePointRun run(3);
  ThreePoints().MoveInto(run);
  run.Frame.dCoorScale = 0.5;
  run.ComputeTiePoints(0);
  EXPECT_NEAR(run.Points.pObjectPoints[0].X, 64, 1e-9);
  EXPECT_EQ(run.Points.pObjectPoints[1].X, 63);
  EXPECT_NEAR(run.Points.pObjectPoints[2].X, 128, 1e-9);
  ExpectSix(run.Residuals.dControlResidual, {2, 4, 6, 2, 4, 6});
  ExpectSix(run.Residuals.dCheckResidual, {8, 0, -16, 8, 0, 16});
}

TEST(ComputeTiePoints, KeepsTheStatisticsOfTheLastSectionOnly) {
  TiePointRun run(1);
  ThreePoints().MoveInto(run);
  run.ComputeTiePoints(0);
  EXPECT_NE(run.Residuals.dControlResidual[0], 0);
  run.Points.Sections.ObjectPoints = {{0, 2}, {3, 4}};
  TestBlock next = TiePoints(2);
  run.Points.pObjectPoints = next.points;
  run.Points.pImagePoints = next.imagePoints;
  run.ComputeTiePoints(1);
  ExpectSix(run.Residuals.dControlResidual, {0, 0, 0, 0, 0, 0});
  ExpectSix(run.Residuals.dCheckResidual, {0, 0, 0, 0, 0, 0});
  EXPECT_NEAR(run.Points.pObjectPoints[1].X, 8, 1e-9);
}

TEST(ComputeTiePoints, OfASectionWithOnePointOverwritesItWithoutStatistics) {
  TiePointRun run(2);
  TestBlock block = ExactStrip();
  block.AddPoint(1, 64, 32, 0, {0, 1, 2}, -1, -2, -3);
  block.MoveInto(run);
  run.ComputeTiePoints(0);
  EXPECT_NEAR(run.Points.pObjectPoints[0].X, 64, 1e-9);
  ExpectSix(run.Residuals.dControlResidual, {0, 0, 0, 0, 0, 0});
}

TEST(ComputeTiePoints, TakesNoMorePointsThanAreInMemory) {
  TiePointRun run(2);
  TiePoints(3).MoveInto(run);
  run.Points.Sections.ObjectPoints = {{0, 1000000}};
  EXPECT_EQ(std::ssize(run.Points.InMemory(0)), 3);
  run.ComputeTiePoints(0);
  run.ComputeTiePointsThreaded(0);
  EXPECT_NEAR(run.Points.pObjectPoints[2].X, 16, 1e-9);
  for (const int32_t noSection : {-1, 1, 7}) {
    EXPECT_EQ(std::ssize(run.Points.InMemory(noSection)), 0);
    run.ComputeTiePoints(noSection);
  }
  run.Points.Sections.ObjectPoints = {{5, 4}};
  EXPECT_EQ(std::ssize(run.Points.InMemory(0)), 0);
}

TEST(ComputeTiePoints, LeavesOutImagesBehindTheKeptOnes) {
  // The tables have a row for each image of the file; those behind nImageNum were deleted.
  TiePointRun run(2);
  TestBlock block = TiePoints(2);
  block.imagePoints[2].x = 1e6F;
  block.MoveInto(run);
  run.Images.nImageNum = 2;
  run.ComputeTiePoints(0);
  EXPECT_NEAR(run.Points.pObjectPoints[0].Y, -16, 1e-9);
}

TEST(ComputeTiePointsThreaded, LogsItsTasksAndJoinsThemInOrder) {
  TiePointRun run(4);
  TiePoints(10).MoveInto(run);
  run.ComputeTiePointsThreaded(0);
  EXPECT_EQ(run.Console.Text(),
            "Sub task 0: 0 2 10\nSub task 1: 3 5 10\nSub task 2: 6 9 10\n"
            "Sub task 0 completed\nSub task 1 completed\nSub task 2 completed\n");
  for (int i = 0; i < 10; ++i) EXPECT_NEAR(run.Points.pObjectPoints[static_cast<size_t>(i)].X, 8 * i, 1e-9);
}

TEST(ComputeTiePointsThreaded, RunsOneTaskOnOneProcessor) {
  for (const int processors : {0, 1, 2}) {
    TiePointRun run(processors);
    TiePoints(3).MoveInto(run);
    run.ComputeTiePointsThreaded(0);
    EXPECT_EQ(run.Console.Text(), "Sub task 0: 0 2 3\nSub task 0 completed\n");
    EXPECT_NEAR(run.Points.pObjectPoints[2].X, 16, 1e-9);
  }
}

TEST(ComputeTiePointsThreaded, HasEmptySharesWhereThreadsOutnumberPoints) {
  TiePointRun run(4);
  TiePoints(2).MoveInto(run);
  run.ComputeTiePointsThreaded(0);
  EXPECT_EQ(run.Console.Text(),
            "Sub task 0: 0 -1 2\nSub task 1: 0 -1 2\nSub task 2: 0 1 2\n"
            "Sub task 0 completed\nSub task 1 completed\nSub task 2 completed\n");
  EXPECT_NEAR(run.Points.pObjectPoints[1].X, 8, 1e-9);
}

TEST(ComputeTiePointsThreaded, OverwritesAControlPointThatIsAloneInItsTask) {
  // Quirk: three points over three tasks are three calls for one point each.
  TiePointRun alone(4), together(2);
  ThreePoints().MoveInto(alone);
  ThreePoints().MoveInto(together);
  alone.ComputeTiePointsThreaded(0);
  together.ComputeTiePointsThreaded(0);
  EXPECT_NEAR(alone.Points.pObjectPoints[1].X, 64, 1e-9);
  EXPECT_EQ(together.Points.pObjectPoints[1].X, 63);
}

TEST(ComputeTiePointsThreaded, GivesTheBitsOfTheSerialForm) {
  TiePointRun serial(1);
  TestBlock block = TiePoints(1000);
  for (size_t i = 0; i < block.imagePoints.size(); ++i) {
    block.imagePoints[i].x += static_cast<float>(i % 7) * 1e-4F;
  }
  TestBlock(block).MoveInto(serial);
  serial.ComputeTiePoints(0);
  for (const int processors : {2, 3, 9}) {
    TiePointRun threaded(processors);
    TestBlock(block).MoveInto(threaded);
    threaded.ComputeTiePointsThreaded(0);
    for (size_t p = 0; p < threaded.Points.pObjectPoints.size(); ++p) {
      ASSERT_EQ(threaded.Points.pObjectPoints[p].X, serial.Points.pObjectPoints[p].X);
      ASSERT_EQ(threaded.Points.pObjectPoints[p].Y, serial.Points.pObjectPoints[p].Y);
      ASSERT_EQ(threaded.Points.pObjectPoints[p].Z, serial.Points.pObjectPoints[p].Z);
    }
  }
}

}  // namespace
}  // namespace orvo
