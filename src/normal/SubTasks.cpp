#include "normal/SubTasks.h"

#include <algorithm>

#include "normal/ThreadPlan.h"

namespace orvo {
namespace {

constexpr float kUsableShare = 0.9f;

int64_t FirstImagePointOf(std::span<const ObjectPointRecord> points, int64_t point) {
  if (point < 0 || points.empty()) return 0;
  if (point < std::ssize(points)) return points[static_cast<size_t>(point)].nFirstImagePoint;
  return points.back().nFirstImagePoint + points.back().nImagePointNum;
}

/// Counts the doubles of the blocks that slices fill.
class SliceCounter {
 public:
  explicit SliceCounter(const SectionPattern& pattern)
      : Pattern(pattern), vLastSlice(static_cast<size_t>(std::max(0, pattern.nSubMatrixNum)), -1) {}

  /// Of each slice where the points are divided among `threads`.
  std::vector<int64_t> Count(int32_t threads) {
    const auto slices = SlicePoints(Pattern.Points, threads);
    std::vector<int64_t> doubles;
    doubles.reserve(slices.size());
    for (const PointSlice& slice : slices) {
      doubles.push_back(CountTouchedDoubles(
          Pattern.Points.subspan(static_cast<size_t>(slice.nFirst),
                                 static_cast<size_t>(int64_t{slice.nLast} - slice.nFirst + 1)),
          Pattern.ImagePoints, Pattern.Layout, Pattern.Rows, nSlice++, vLastSlice));
    }
    return doubles;
  }

 private:
  const SectionPattern& Pattern;
  std::vector<int32_t> vLastSlice;
  int32_t nSlice = 0;
};

enum class Fit { All, TooMany, None };

/// Whether the slices fit in the free memory together; None where a single one does not.
Fit FitSlices(const SectionPattern& pattern, std::span<const int64_t> doubles, const Platform& system,
              RunLog& log) {
  const int64_t available = system.FreePhysicalBytes();
  const double usable = static_cast<double>(kUsableShare) * static_cast<double>(available);
  double total = 0;
  for (size_t k = 0; k < doubles.size(); ++k) {
    // Thread 0 adds to the main matrix, which exists from the second section on.
    if (k == 0 && pattern.nSection > 0) continue;
    const double bytes = static_cast<double>((doubles[k] + 2 * int64_t{pattern.nSubMatrixNum}) * 8);
    total += bytes;
    if (bytes >= usable) return Fit::None;
  }
  log.Print("Total memory requirement for sparse normal matrix:%.1fMB\n", total / 1024 / 1024);
  log.Print("Cuurent available memory:%.1fMB\n",
            static_cast<double>(static_cast<float>(available) * kUsableShare / 1024 / 1024));
  return total <= usable ? Fit::All : Fit::TooMany;
}

/// The measurements of a slice, the last one not included.
struct MeasurementRange {
  int64_t nFirst, nEnd;
};

MeasurementRange MeasurementsOfSlice(std::span<const ObjectPointRecord> points, const PointSlice& slice) {
  const int64_t first = FirstImagePointOf(points, slice.nFirst);
  if (slice.nLast < slice.nFirst) return {first, first};
  const ObjectPointRecord& last = points[static_cast<size_t>(slice.nLast)];
  return {first, last.nFirstImagePoint + last.nImagePointNum};
}

}  // namespace

int32_t AssemblyThreadNum(bool several, int spared, const Platform& system, RunLog& log) {
  const int processors = several ? system.ProcessorCount() : 1;
  if (processors < 2) return 1;
  log.Print("CPU thread number:%d\n", processors - spared);
  return processors - spared;
}

int32_t FitThreadNum(const SectionPattern& pattern, int32_t planned, const Platform& system, RunLog& log) {
  SliceCounter counter(pattern);
  int32_t threads = planned;
  Fit fit = Fit::None;
  for (; threads > 0; --threads) {
    fit = FitSlices(pattern, counter.Count(threads), system, log);
    if (fit != Fit::TooMany) break;
    log.Print("Not enough memory for %d threads\n", threads);
  }
  if (fit != Fit::All) {
    log.Print("Not enough memory for sparse normal matrix!\n");
    return 0;
  }
  if (threads != planned) log.Print("Automatic change thread number from %d to %d\n", planned, threads);
  return threads;
}

std::vector<SubTask> SplitPoints(const PointStore& store, int32_t section, int32_t threadNum, int processors,
                                 RunLog& log) {
  const std::span<const ObjectPointRecord> points = store.InMemory(section);
  const std::vector<PointSums> pieces = SumPieces(points, store.pImagePoints, processors);
  PointSums whole;
  for (const PointSums& piece : pieces) whole.Add(piece);
  const int64_t firstOfSection = store.Sections.ObjectPoints[static_cast<size_t>(section)].nFirst;

  std::vector<SubTask> tasks;
  for (const PointSlice& slice : SlicePoints(points, pieces, threadNum)) {
    const MeasurementRange range = MeasurementsOfSlice(points, slice);
    const PointSums sums = SumRange(points, store.pImagePoints, pieces, slice.nFirst, slice.nLast);
    const SubTask task{slice.nFirst,
                       slice.nLast,
                       static_cast<int32_t>(tasks.size()),
                       static_cast<int32_t>(range.nEnd - range.nFirst),
                       sums.nMeasurementNum,
                       sums.nLargestPoint};
    tasks.push_back(task);
    // The numbers are 32-bit in this line, whatever the size of the block.
    const auto shown = [](int64_t number) { return static_cast<int32_t>(static_cast<uint32_t>(number)); };
    log.Print("Sub task %d: %d/%d %d/%d %d/%d %d/%d\n", task.nThread, shown(firstOfSection + slice.nFirst),
              shown(range.nFirst), shown(firstOfSection + slice.nLast), shown(range.nEnd - 1),
              shown(std::ssize(points)), shown(whole.nImagePointNum), shown(slice.nWork), shown(whole.nWork));
  }
  return tasks;
}

}  // namespace orvo
