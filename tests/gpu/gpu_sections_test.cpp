// The cut of a point section into GPU sections.
#include "gpu/GpuSections.h"

#include <gtest/gtest.h>

#include "DeviceParts.h"
#include "RecordingDevice.h"
#include "gpu/SectionTable.h"

namespace orvo::test {
namespace {

ObjectPointArray Points(const std::vector<int32_t>& counts) {
  ObjectPointArray points(counts.size());
  int64_t next = 0;
  for (size_t i = 0; i < counts.size(); ++i) {
    points[i].nImagePointNum = counts[i];
    points[i].nFirstImagePoint = next;
    next += counts[i];
  }
  return points;
}

int64_t Sum(const std::vector<int32_t>& counts) {
  int64_t sum = 0;
  for (const int32_t count : counts) sum += count;
  return sum;
}

/// One device with room for a `cuts`th of the points and a little more.
gpu::EnabledDevices Room(const std::vector<int32_t>& counts, double cuts) {
  return {{0}, gpu::PointDeviceBytes(std::ssize(counts), Sum(counts)) / (cuts - 0.5)};
}

gpu::GpuSectionPlan Plan(const std::vector<int32_t>& counts, const gpu::EnabledDevices& devices) {
  return gpu::PlanGpuSections(Points(counts), Sum(counts), devices);
}

TEST(FixedDeviceBytes, SumsAndCuts) {
  EXPECT_EQ(gpu::FixedDeviceBytes({100, 50, 7, 3}), 524 * 100 + 260 * 50 + 24 * 7 + 20 * 3);
  // One unknown more takes the sum over 2^31.
  EXPECT_EQ(gpu::FixedDeviceBytes({4098251, 0, 0, 0}), 2147483524.0);
  EXPECT_EQ(gpu::FixedDeviceBytes({4098252, 0, 0, 0}), 2147484048.0 - 4294967296.0);
  EXPECT_EQ(gpu::FixedDeviceBytes({0, 0, 100000000, 0}), 2400000000.0 - 4294967296.0);
  EXPECT_EQ(gpu::FixedDeviceBytes({4000000, 0, 80000000, 0}), 2096000000.0 + 1920000000.0);
}

TEST(PointDeviceBytes, CountsStartedSweeps) {
  EXPECT_EQ(gpu::PointDeviceBytes(10, 100), 64 * 10 + 32 * 100 + 5120);
  EXPECT_EQ(gpu::PointDeviceBytes(10, 16383), 64 * 10 + 32 * 16383 + 5120);
  EXPECT_EQ(gpu::PointDeviceBytes(10, 16384), 64 * 10 + 32 * 16384 + 2 * 5120);
}

TEST(EnableDevices, TakesThoseWithRoom) {
  std::vector<gpu::DeviceProperties> devices(5, GoodDevice());
  const gpu::FixedSizes sizes{1000, 1000, 100, 10};
  const double fixed = gpu::FixedDeviceBytes(sizes);
  devices[1].totalGlobalMem = static_cast<uint64_t>(fixed / 0.64) - 2;
  devices[2].sharedMemPerBlock = 49151;
  devices[3].regsPerBlock = 49151;
  devices[4].totalGlobalMem = static_cast<uint64_t>(fixed / 0.64) + 2;
  const gpu::EnabledDevices enabled = gpu::EnableDevices(devices, sizes);
  EXPECT_EQ(enabled.vNumbers, (std::vector<int32_t>{0, 4}));
  EXPECT_NEAR(enabled.fFreeBytes, 0.64 * static_cast<double>(uint64_t{4} << 30) - fixed, 2);
  EXPECT_EQ(gpu::EnableDevices(std::vector<gpu::DeviceProperties>(70, GoodDevice()), sizes).vNumbers.size(),
            64u);
}

TEST(PlanGpuSections, OneSectionForWhatFits) {
  const gpu::GpuSectionPlan plan = Plan({3, 2, 5}, {{0}, 1e9});
  ASSERT_TRUE(plan.bDone);
  EXPECT_EQ(plan.nCut, 1);
  EXPECT_EQ(plan.Table.nGpuSectionNum, 1);
  EXPECT_EQ(plan.Table.pGpuObjRanges, (std::vector<int64_t>{0, 2}));
  EXPECT_EQ(plan.Table.pGpuImgRanges, (std::vector<int64_t>{0, 9}));
}

TEST(PlanGpuSections, CutsGoOnToTheEndOfTheirPoint) {
  // Shares of 10 / 3 = 3 image points: 0 to 2 ends within point 1, 5 to 7 at the end of point 3.
  const std::vector<int32_t> counts{2, 3, 1, 2, 2};
  const gpu::GpuSectionPlan plan = Plan(counts, Room(counts, 3));
  ASSERT_TRUE(plan.bDone);
  EXPECT_EQ(plan.nCut, 3);
  EXPECT_EQ(plan.Table.pGpuObjRanges, (std::vector<int64_t>{0, 1, 2, 3, 4, 4}));
  EXPECT_EQ(plan.Table.pGpuImgRanges, (std::vector<int64_t>{0, 4, 5, 7, 8, 9}));
}

TEST(PlanGpuSections, NoMoreSectionsThanTheirNumbersHold) {
  const std::vector<int32_t> counts(3, INT32_MAX);
  EXPECT_FALSE(Plan(counts, Room(counts, 3e9)).bDone);
  EXPECT_TRUE(Plan(counts, Room(counts, 1)).bDone);
}

TEST(PlanGpuSections, PointsWithoutImagePoints) {
  const std::vector<int32_t> counts{0, 3, 0, 0, 3, 0};
  const gpu::GpuSectionPlan plan = Plan(counts, Room(counts, 2));
  ASSERT_TRUE(plan.bDone);
  EXPECT_EQ(plan.Table.pGpuObjRanges, (std::vector<int64_t>{0, 1, 2, 4}));
  EXPECT_EQ(plan.Table.pGpuImgRanges, (std::vector<int64_t>{0, 2, 3, 5}));
}

TEST(PlanGpuSections, EveryCutOfManyPoints) {
  std::vector<int32_t> counts;
  for (int i = 0; i < 2000; ++i) counts.push_back(2 + (i * 7919) % 9);
  for (const int cuts : {1, 2, 3, 7, 20}) {
    const gpu::GpuSectionPlan plan = Plan(counts, Room(counts, cuts));
    ASSERT_TRUE(plan.bDone) << cuts;
    EXPECT_EQ(plan.nCut, cuts);
    const auto& images = plan.Table.pGpuImgRanges;
    const auto& objects = plan.Table.pGpuObjRanges;
    const auto points = Points(counts);
    ASSERT_EQ(images.size(), static_cast<size_t>(2 * cuts));
    for (size_t s = 0; s < images.size(); s += 2) {
      EXPECT_EQ(images[s], s == 0 ? 0 : images[s - 1] + 1);
      EXPECT_EQ(objects[s], s == 0 ? 0 : objects[s - 1] + 1);
      EXPECT_EQ(points[static_cast<size_t>(objects[s])].nFirstImagePoint, images[s]);
      const ObjectPointRecord& last = points[static_cast<size_t>(objects[s + 1])];
      EXPECT_EQ(last.nFirstImagePoint + last.nImagePointNum - 1, images[s + 1]);
    }
    EXPECT_EQ(images.back(), Sum(counts) - 1);
    EXPECT_EQ(objects.back(), 1999);
  }
}

TEST(PlanGpuSections, Refusals) {
  const struct {
    const char* what;
    std::vector<int32_t> counts;
    gpu::EnabledDevices devices;
  } rows[] = {
      {"no points", {}, {{0}, 1e9}},
      {"no image points", {0, 0}, {{0}, 1e9}},
      {"two devices", {3, 2, 5}, {{0, 1}, 1e9}},
      {"two devices and cuts", {3, 3, 3, 3}, {{0, 1}, 2 * gpu::PointDeviceBytes(4, 12) / 3}},
      {"three devices", {3, 3, 3, 3}, {{0, 1, 2}, 1e9}},
      {"more cuts than image points", {1, 1, 1}, {{0}, 1}},
      {"no room at all", {1, 1, 1}, {{0}, 0}},
      {"a long point at the cut", {1, 1, 10}, Room({1, 1, 10}, 3)},
  };
  for (const auto& row : rows) {
    const gpu::GpuSectionPlan plan = Plan(row.counts, row.devices);
    EXPECT_FALSE(plan.bDone) << row.what;
    EXPECT_EQ(plan.Table.nGpuSectionNum, 0) << row.what;
  }
  ObjectPointArray gap = Points({2, 2});
  gap[1].nFirstImagePoint = 3;
  EXPECT_FALSE(gpu::PlanGpuSections(gap, 5, {{0}, 1e9}).bDone);
  gap[1].nFirstImagePoint = -1;
  EXPECT_FALSE(gpu::PlanGpuSections(gap, 4, {{0}, 1e9}).bDone);
}

struct PlannedBlock : DeviceParts {
  explicit PlannedBlock(const std::vector<int32_t>& counts) {
    Points.pObjectPoints = test::Points(counts);
    Points.pImagePoints.resize(static_cast<size_t>(Sum(counts)));
    State.pDeviceProps = {GoodDevice()};
  }
  bool Compute() {
    return gpu::ComputeGpuSections(Points.pObjectPoints, std::ssize(Points.pImagePoints), {60, 210, 10, 1},
                                   State, Log);
  }
};

TEST(ComputeGpuSections, LogsTheirNumberAndKeepsTheListOfDevices) {
  PlannedBlock p({3, 2, 5});
  EXPECT_TRUE(p.Compute());
  EXPECT_TRUE(p.Compute());
  EXPECT_EQ(p.console.Text(), "GPU sections:1\nGPU sections:1\n");
  EXPECT_EQ(p.State.nEnabledDeviceNum, 1);
  EXPECT_EQ(p.State.vEnabledDevices, (std::vector<int32_t>{0, 0}));
  EXPECT_EQ(p.State.Sections.nGpuSectionNum, 1);
}

TEST(ComputeGpuSections, DeviceMemoryBoundsThePlan) {
  PlannedBlock p(std::vector<int32_t>(4000, 5));
  // The arrays of the run take 86,300 bytes; the points need 906,240.
  p.State.nDeviceMemory = 800000;
  EXPECT_TRUE(p.Compute());
  EXPECT_EQ(p.console.Text(), "GPU sections:3\n");
  p.State.nDeviceMemory = int64_t{1} << 40;
  EXPECT_TRUE(p.Compute());
  EXPECT_EQ(p.console.Text(), "GPU sections:3\nGPU sections:1\n");
}

TEST(ComputeGpuSections, Failures) {
  PlannedBlock p({3, 2, 5});
  p.State.nDeviceMemory = 1000;
  EXPECT_FALSE(p.Compute());
  p.State.pDeviceProps.clear();
  EXPECT_FALSE(p.Compute());
  EXPECT_EQ(p.console.Text(), "Available GPU device is none!\nAvailable GPU device is none!\n");
  EXPECT_EQ(p.State.nEnabledDeviceNum, 0);

  PlannedBlock two({3, 2, 5});
  two.State.pDeviceProps = {GoodDevice(), GoodDevice()};
  EXPECT_FALSE(two.Compute());
  EXPECT_EQ(two.console.Text(), "Error!Unexpected image point number!\n");
  PlannedBlock lost({3, 2, 5});
  lost.Points.pImagePoints.resize(7);
  EXPECT_FALSE(lost.Compute());
  EXPECT_EQ(lost.console.Text(), "Error!Unexpected image point number!\n");
  PlannedBlock none({});
  EXPECT_FALSE(none.Compute());
}

}  // namespace
}  // namespace orvo::test
