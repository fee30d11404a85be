// How many assembly threads the memory can carry, and which points each of them takes.
#include <algorithm>

#include "normal/ThreadPlan.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

constexpr float kUsableShare = 0.9f;

int64_t FirstImagePointOf(std::span<const ObjectPointRecord> points, int64_t point) {
  if (point < 0 || points.empty()) return 0;
  if (point < std::ssize(points)) return points[static_cast<size_t>(point)].nFirstImagePoint;
  return points.back().nFirstImagePoint + points.back().nImagePointNum;
}

}  // namespace

std::span<const ObjectPointRecord> CBundleAdjustment::PointsOfSection(int32_t section) const {
  const int64_t count = Points.Sections.ObjectPoints[static_cast<size_t>(section)].Count();
  return {Points.pObjectPoints.data(),
          static_cast<size_t>(std::clamp<int64_t>(count, 0, std::ssize(Points.pObjectPoints)))};
}

int CBundleAdjustment::ComputeMultithreadMemory(int32_t section) {
  const std::span<const ObjectPointRecord> points = PointsOfSection(section);
  std::vector<int32_t> lastSlice(static_cast<size_t>(std::max(0, Normal.nSubMatrixNum)), -1);
  int32_t sliceNumber = 0;
  const int32_t planned = Limits.nThreadNum;
  int32_t threads = planned;
  for (; threads > 0; --threads) {
    const std::vector<PointSlice> slices = SlicePoints(points, threads);
    std::vector<int64_t> doubles;
    for (const PointSlice& slice : slices) {
      doubles.push_back(CountTouchedDoubles(
          points.subspan(static_cast<size_t>(slice.nFirst),
                         static_cast<size_t>(slice.nLast - slice.nFirst + 1)),
          Points.pImagePoints, Layout(), Normal.pSubMatrixRows, sliceNumber++, lastSlice));
    }
    const int64_t available = System.FreePhysicalBytes();
    const double usable = static_cast<double>(kUsableShare) * static_cast<double>(available);
    double total = 0;
    for (size_t k = 0; k < doubles.size(); ++k) {
      // Thread 0 adds to the main matrix, which exists from the second section on.
      if (k == 0 && section > 0) continue;
      const double bytes = static_cast<double>((doubles[k] + 2 * int64_t{Normal.nSubMatrixNum}) * 8);
      total += bytes;
      if (bytes >= usable) {
        LogPrintf("Not enough memory for sparse normal matrix!\n");
        return -1;
      }
    }
    LogPrintf("Total memory requirement for sparse normal matrix:%.1fMB\n", total / 1024 / 1024);
    LogPrintf("Cuurent available memory:%.1fMB\n",
              static_cast<double>(static_cast<float>(available) * kUsableShare / 1024 / 1024));
    if (total <= usable) break;
    LogPrintf("Not enough memory for %d threads\n", threads);
  }
  if (threads == 0) {
    LogPrintf("Not enough memory for sparse normal matrix!\n");
    return -1;
  }
  if (threads == planned) return 1;
  LogPrintf("Automatic change thread number from %d to %d\n", planned, threads);
  Limits.nThreadNum = threads;
  return 0;
}

int CBundleAdjustment::SplitSubTasks(int32_t section, std::vector<SubTask>& tasks) {
  const std::span<const ObjectPointRecord> points = PointsOfSection(section);
  const std::vector<PointSums> pieces = SumPieces(points, Points.pImagePoints, System.ProcessorCount());
  const std::vector<PointSlice> slices = SlicePoints(points, pieces, Limits.nThreadNum);
  PointSums whole;
  for (const PointSums& piece : pieces) whole.Add(piece);
  const int64_t firstOfSection = Points.Sections.ObjectPoints[static_cast<size_t>(section)].nFirst;

  tasks.assign(slices.size(), SubTask());
  for (size_t k = 0; k < slices.size(); ++k) {
    const PointSlice& slice = slices[k];
    SubTask& task = tasks[k];
    task.nFirst = slice.nFirst;
    task.nLast = slice.nLast;
    task.nThread = static_cast<int32_t>(k);
    const PointSums sums = SumRange(points, Points.pImagePoints, pieces, slice.nFirst, slice.nLast);
    task.nMeasurementNum = sums.nMeasurementNum;
    task.nLargestPoint = sums.nLargestPoint;
    const int64_t firstImagePoint = FirstImagePointOf(points, slice.nFirst);
    int64_t endOfImagePoints = firstImagePoint;
    if (slice.nLast >= slice.nFirst) {
      const ObjectPointRecord& last = points[static_cast<size_t>(slice.nLast)];
      endOfImagePoints = last.nFirstImagePoint + last.nImagePointNum;
    }
    task.nImagePointNum = static_cast<int32_t>(endOfImagePoints - firstImagePoint);
    // The numbers are 32-bit in this line, whatever the size of the block.
    const auto shown = [](int64_t number) { return static_cast<int32_t>(static_cast<uint32_t>(number)); };
    LogPrintf("Sub task %d: %d/%d %d/%d %d/%d %d/%d\n", task.nThread, shown(firstOfSection + slice.nFirst),
              shown(firstImagePoint), shown(firstOfSection + slice.nLast), shown(endOfImagePoints - 1),
              shown(std::ssize(points)), shown(whole.nImagePointNum), shown(slice.nWork), shown(whole.nWork));
  }
  return 1;
}

}  // namespace orvo
