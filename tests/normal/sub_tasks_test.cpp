#include <gtest/gtest.h>

#include <random>

#include "NormalBuilders.h"
#include "normal/ThreadPlan.h"

namespace orvo::test {
namespace {

ObjectPointArray PointsWith(const std::vector<int32_t>& measurements) {
  ObjectPointArray points;
  int64_t first = 0;
  for (const int32_t m : measurements) {
    ObjectPointRecord point;
    point.nImagePointNum = m;
    point.nFirstImagePoint = first;
    first += m;
    points.push_back(point);
  }
  return points;
}

std::vector<int32_t> Lasts(const std::vector<PointSlice>& slices) {
  std::vector<int32_t> lasts;
  for (const PointSlice& slice : slices) lasts.push_back(slice.nLast);
  return lasts;
}

TEST(SlicePoints, EndsWhereTheWorkFirstExceedsTheShare) {
  struct Row {
    std::vector<int32_t> Measurements;
    int32_t nThreads;
    std::vector<int32_t> Lasts;
  };
  const Row rows[] = {
      {{2, 2, 2, 2}, 1, {3}},
      // Work 6 each, 24 in all: a share of 12 is exceeded by the third point.
      {{2, 2, 2, 2}, 2, {2, 3}},
      {{2, 2, 2, 2, 2}, 2, {2, 4}},
      {{10, 1, 1, 1}, 2, {0, 3}},
      {{1, 1, 1, 10}, 2, {3, 3}},
      {{1, 1, 1, 10}, 3, {3, 3, 3}},
      {{5}, 4, {0, 0, 0, 0}},
      {{}, 3, {-1, -1, -1}},
  };
  for (const Row& row : rows) {
    EXPECT_EQ(Lasts(SlicePoints(PointsWith(row.Measurements), row.nThreads)), row.Lasts);
  }
}

TEST(SlicePoints, EveryPointStandsInExactlyOneSlice) {
  std::mt19937 random(9);
  for (int run = 0; run < 300; ++run) {
    std::vector<int32_t> measurements(random() % 40);
    // A few points with most of the work make slices run out of points.
    for (int32_t& m : measurements)
      m = static_cast<int32_t>(random() % 8 == 0 ? random() % 200 : random() % 6);
    const auto threads = static_cast<int32_t>(1 + random() % 9);
    const std::vector<PointSlice> slices = SlicePoints(PointsWith(measurements), threads);
    ASSERT_EQ(std::ssize(slices), threads);
    int32_t next = 0;
    for (const PointSlice& slice : slices) {
      EXPECT_EQ(slice.nFirst, next);
      EXPECT_GE(slice.nLast, slice.nFirst - 1);
      next = slice.nLast + 1;
    }
    EXPECT_EQ(next, std::ssize(measurements));
  }
}

TEST(SlicePoints, WorkDoesNotOverflow) {
  // 4.3 thousand million each.
  const auto points = PointsWith({65536, 65536, 65536, 65536});
  EXPECT_EQ(WorkMeasure(points), int64_t{4} * 65536 * 65537);
  EXPECT_EQ(Lasts(SlicePoints(points, 2)), (std::vector<int32_t>{2, 3}));
}

TEST(SplitPoints, RecordsAndLine) {
  CapturedLog console;
  NormalParts block(NativePlatform(), console.Console());
  block.Points.pObjectPoints = PointsWith({2, 2, 2, 3});
  block.Points.Sections.ObjectPoints = {{0, 99}, {100, 103}};
  const std::vector<SubTask> tasks = SplitPoints(block.Points, 1, 2, 2, block.Log);
  ASSERT_EQ(tasks.size(), 2u);
  EXPECT_EQ(tasks[0].nFirst, 0);
  EXPECT_EQ(tasks[0].nLast, 2);
  EXPECT_EQ(tasks[0].nThread, 0);
  EXPECT_EQ(tasks[0].nImagePointNum, 6);
  EXPECT_EQ(tasks[1].nFirst, 3);
  EXPECT_EQ(tasks[1].nLast, 3);
  EXPECT_EQ(tasks[1].nThread, 1);
  EXPECT_EQ(tasks[1].nImagePointNum, 3);
  EXPECT_EQ(console.Text(), "Sub task 0: 100/0 102/5 4/9 18/30\nSub task 1: 103/6 103/8 4/9 12/30\n");
}

TEST(SplitPoints, TaskWithoutPointsHasNoImagePoints) {
  NormalParts block;
  block.Points.pObjectPoints = PointsWith({1, 9});
  block.Points.Sections.ObjectPoints = {{0, 1}};
  const std::vector<SubTask> tasks = SplitPoints(block.Points, 0, 3, 2, block.Log);
  ASSERT_EQ(tasks.size(), 3u);
  EXPECT_EQ(tasks[0].nImagePointNum, 10);
  for (size_t k = 1; k < 3; ++k) {
    EXPECT_LT(tasks[k].nLast, tasks[k].nFirst);
    EXPECT_EQ(tasks[k].nImagePointNum, 0);
  }
}

TEST(SplitPoints, LineShowsTheWorkInThirtyTwoBits) {
  CapturedLog console;
  NormalParts block(NativePlatform(), console.Console());
  block.Points.pObjectPoints = PointsWith({65536});
  block.Points.Sections.ObjectPoints = {{0, 0}};
  SplitPoints(block.Points, 0, 1, 2, block.Log);
  EXPECT_EQ(console.Text(), "Sub task 0: 0/0 0/65535 1/65536 65536/65536\n");
}

/// Doubles of the blocks that a slice touches, counted pair by pair.
int64_t LiteralCount(const NormalParts& block, const PointSlice& slice) {
  std::vector<int> flags(static_cast<size_t>(block.Normal.nSubMatrixNum), 0);
  const int32_t off = block.Unknowns.nLayoutMode == LayoutEopIop ? block.Images.nUnknownImageNum : 0;
  const auto flag = [&](int32_t row, int32_t column, int value) {
    const int32_t id = block.Id(row, column);
    if (id >= 0) flags[static_cast<size_t>(id)] = value;
  };
  for (int32_t p = slice.nFirst; p <= slice.nLast; ++p) {
    const ObjectPointRecord& point = block.Points.pObjectPoints[static_cast<size_t>(p)];
    const auto* first = block.Points.pImagePoints.data() + point.nFirstImagePoint;
    for (const auto* a = first; a < first + point.nImagePointNum; ++a) {
      for (const auto* b = first; b < first + point.nImagePointNum; ++b) {
        if (!block.Layout().Holds(*a) || !block.Layout().Holds(*b)) continue;
        if (block.Unknowns.nLayoutMode != LayoutIop && a->nImage <= b->nImage) flag(a->nImage, b->nImage, 1);
        if ((block.Unknowns.nLayoutMode == LayoutIop || block.Unknowns.nLayoutMode == LayoutEopIop) &&
            a->nCamera <= b->nCamera) {
          flag(off + a->nCamera, off + b->nCamera, 3);
        }
        if (block.Unknowns.nLayoutMode == LayoutEopIop) flag(a->nImage, off + b->nCamera, 2);
      }
    }
  }
  int64_t count = 0;
  for (const int value : flags) {
    count += value == 0   ? 0
             : value == 1 ? (block.Unknowns.nLayoutMode == LayoutMergedEopIop ? 121 : 36)
             : value == 2 ? 30
                          : 25;
  }
  return count;
}

std::string Megabytes(const char* text, double bytes) {
  char line[128];
  std::snprintf(line, sizeof line, "%s:%.1fMB\n", text, bytes / 1024 / 1024);
  return line;
}

class MemoryPlan : public testing::TestWithParam<int> {
 protected:
  /// Bytes of each slice that the plan counts.
  static std::vector<double> SliceBytes(const NormalParts& block, int32_t threads) {
    std::vector<double> bytes;
    for (const PointSlice& slice : SlicePoints(block.Points.pObjectPoints, threads)) {
      bytes.push_back(static_cast<double>((LiteralCount(block, slice) + 2 * block.Normal.nSubMatrixNum) * 8));
    }
    return bytes;
  }
  static double Sum(const std::vector<double>& values, size_t from) {
    double sum = 0;
    for (size_t k = from; k < values.size(); ++k) sum += values[k];
    return sum;
  }
  /// Of three planned threads; 0 when none fits.
  static int32_t FitOfThree(NormalParts& block, int32_t section) {
    return FitThreadNum({section, block.Points.InMemory(section), block.Points.pImagePoints, block.Layout(),
                         block.Normal.pSubMatrixRows, block.Normal.nSubMatrixNum},
                        3, block.System, block.Log);
  }
  static int64_t FreeFor(double bytes) { return static_cast<int64_t>(bytes / 0.8999999761581421) + 1; }
};
INSTANTIATE_TEST_SUITE_P(Layouts, MemoryPlan,
                         testing::Values(LayoutEop, LayoutIop, LayoutMergedEopIop, LayoutEopIop));

TEST_P(MemoryPlan, ThreadNumberStandsWhereEverySliceFits) {
  for (const bool sparse : {true, false}) {
    CapturedLog console;
    NormalParts block(NativePlatform(), console.Console());
    FillBlock(block, {.nLayoutMode = GetParam(), .nImages = 20, .nCameras = 4});
    block.FindPattern();
    block.Limits.Apply_PCG_Model = sparse;  // The plan counts blocks in both forms.
    const double total = Sum(SliceBytes(block, 3), 0);
    const int64_t free = FreeFor(total);
    block.System = MadeUpPlatform(free, 4);
    EXPECT_EQ(FitOfThree(block, 0), 3);
    EXPECT_EQ(console.Text(), Megabytes("Total memory requirement for sparse normal matrix", total) +
                                  Megabytes("Cuurent available memory",
                                            static_cast<double>(static_cast<float>(free) * 0.9f)));
  }
}

TEST_P(MemoryPlan, FewerThreadsWhereTheMemoryIsShort) {
  CapturedLog console;
  NormalParts block(NativePlatform(), console.Console());
  FillBlock(block, {.nLayoutMode = GetParam(), .nImages = 20, .nCameras = 4});
  block.FindPattern();
  const double two = Sum(SliceBytes(block, 2), 0), three = Sum(SliceBytes(block, 3), 0);
  ASSERT_LT(two, three);
  block.System = MadeUpPlatform(FreeFor(two), 4);
  EXPECT_EQ(FitOfThree(block, 0), 2);
  const std::string available =
      Megabytes("Cuurent available memory", static_cast<double>(static_cast<float>(FreeFor(two)) * 0.9f));
  EXPECT_EQ(console.Text(), Megabytes("Total memory requirement for sparse normal matrix", three) +
                                available + "Not enough memory for 3 threads\n" +
                                Megabytes("Total memory requirement for sparse normal matrix", two) +
                                available + "Automatic change thread number from 3 to 2\n");
}

TEST_P(MemoryPlan, LaterSectionsDoNotCountThreadZero) {
  NormalParts block;
  FillBlock(block, {.nLayoutMode = GetParam(), .nImages = 20, .nCameras = 4});
  block.FindPattern();
  block.Points.Sections.ObjectPoints.push_back(block.Points.Sections.ObjectPoints[0]);
  const std::vector<double> bytes = SliceBytes(block, 3);
  block.System = MadeUpPlatform(FreeFor(Sum(bytes, 1)), 4);
  EXPECT_EQ(FitOfThree(block, 1), 3);
  EXPECT_LT(FitOfThree(block, 0), 3);
}

TEST_P(MemoryPlan, NoThreadNumberFits) {
  CapturedLog console;
  NormalParts block(NativePlatform(), console.Console());
  FillBlock(block, {.nLayoutMode = GetParam(), .nImages = 20, .nCameras = 4});
  block.FindPattern();
  block.System = MadeUpPlatform(1000, 4);
  EXPECT_EQ(FitOfThree(block, 0), 0);
  EXPECT_EQ(console.Text(), "Not enough memory for sparse normal matrix!\n");
}

}  // namespace
}  // namespace orvo::test
