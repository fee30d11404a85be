#include <algorithm>
#include <cmath>

#include "base/Threads.h"
#include "geometry/Intersection.h"
#include "geometry/RaySums.h"

namespace orvo {
namespace {

/// Points of one piece of parallel work. Fixed, so that sums over points don't depend on the thread number.
constexpr int64_t kChunk = 4096;

/// Where a point's rays come from. Frames(i) is the frame of kept image i.
template <typename Frames>
struct RaySource {
  std::span<const ImagePointRecord> imagePoints;
  Frames frames;
  std::span<const IopRecord> iop;

  bool IsUsable(const ImagePointRecord& point) const {
    return IsOnKeptImage(point, frames.Count(), iop.size());
  }
  /// The point's measurements, none where they would lie outside of what there is.
  std::span<const ImagePointRecord> Measurements(const ObjectPointRecord& point) const {
    const auto total = static_cast<int64_t>(imagePoints.size());
    if (point.nImagePointNum < 1 || point.nFirstImagePoint < 0 || point.nFirstImagePoint > total ||
        point.nImagePointNum > total - point.nFirstImagePoint) {
      return {};
    }
    return imagePoints.subspan(static_cast<size_t>(point.nFirstImagePoint),
                               static_cast<size_t>(point.nImagePointNum));
  }
};

struct FrameTable {
  std::span<const ImageFrame> frames;
  size_t Count() const { return frames.size(); }
  const ImageFrame& operator()(int32_t image) const { return frames[static_cast<size_t>(image)]; }
};

/// For calls with so few rays that a table of all images would cost more.
struct FramesOnDemand {
  std::span<const EopRecord> eop;
  size_t Count() const { return eop.size(); }
  ImageFrame operator()(int32_t image) const { return MakeImageFrame(eop[static_cast<size_t>(image)]); }
};

/// The sums of a point's usable rays, and how many there are.
template <typename Frames>
RaySums SumRays(const RaySource<Frames>& source, const ObjectPointRecord& point, int32_t& rayCount) {
  RaySums sums;
  int32_t count = 0;
  for (const ImagePointRecord& measurement : source.Measurements(point)) {
    if (!source.IsUsable(measurement)) continue;
    sums.Add(source.frames(measurement.nImage), source.iop[static_cast<size_t>(measurement.nCamera)],
             static_cast<double>(measurement.x), static_cast<double>(measurement.y));
    ++count;
  }
  rayCount = count;
  // A copy goes out, so that nobody has the address of `sums` and they stay in registers.
  const RaySums result = sums;
  return result;
}

/// Intersects the points one by one and calls store(point, P) for each with a solution.
template <typename Frames, typename Store>
void IntersectRange(const RaySource<Frames>& source, std::span<ObjectPointRecord> points, Store&& store) {
  for (ObjectPointRecord& point : points) {
    int32_t rayCount = 0;
    const RaySums sums = SumRays(source, point, rayCount);
    double P[3];
    if (rayCount >= 2 && SolveRaySums(sums, P)) store(point, P);
  }
}

void SetCoordinates(ObjectPointRecord& point, const double* P) {
  point.X = P[0];
  point.Y = P[1];
  point.Z = P[2];
}

/// Of several points together, control points keep their coordinates; alone, any point is overwritten.
template <typename Frames>
void IntersectAndStore(const RaySource<Frames>& source, std::span<ObjectPointRecord> points) {
  const bool keepsControl = points.size() > 1;
  IntersectRange(source, points, [keepsControl](ObjectPointRecord& point, const double* P) {
    if (!keepsControl || point.nType != 1) SetCoordinates(point, P);
  });
}

struct DifferenceSums {
  double sum[3] = {}, squares[3] = {};
  int64_t count = 0;

  void Add(const ObjectPointRecord& point, const double* P) {
    const double difference[3] = {P[0] - point.X, P[1] - point.Y, P[2] - point.Z};
    for (int i = 0; i < 3; ++i) {
      sum[i] += difference[i];
      squares[i] += difference[i] * difference[i];
    }
    ++count;
  }
  void Add(const DifferenceSums& other) {
    for (int i = 0; i < 3; ++i) {
      sum[i] += other.sum[i];
      squares[i] += other.squares[i];
    }
    count += other.count;
  }
  void MeanAndRmse(double* residual) const {
    const auto n = static_cast<double>(count);
    for (int i = 0; i < 3; ++i) {
      residual[i] = count > 0 ? sum[i] / n : 0.0;
      residual[3 + i] = count > 0 ? std::sqrt(squares[i] / n) : 0.0;
    }
  }
};

struct Statistics {
  DifferenceSums control, check;
};

/// `points` are part of a call for several points.
template <typename Frames>
Statistics IntersectWithStatistics(const RaySource<Frames>& source, std::span<ObjectPointRecord> points) {
  Statistics statistics;
  IntersectRange(source, points, [&statistics](ObjectPointRecord& point, const double* P) {
    if (point.nType == 1) {
      statistics.control.Add(point, P);
      return;
    }
    // The old coordinates of a check point are those of the previous intersection where it stays in memory,
    // so these figures become its change from iteration to iteration. Deliberate.
    if (point.nType == 2) statistics.check.Add(point, P);
    SetCoordinates(point, P);
  });
  return statistics;
}

std::span<ObjectPointRecord> PointSpan(int64_t pointCount, ObjectPointRecord* objectPoints) {
  return {objectPoints, static_cast<size_t>(std::max<int64_t>(pointCount, 0))};
}

}  // namespace

int IntersectPoints(int64_t pointCount, ObjectPointRecord* objectPoints,
                    std::span<const ImagePointRecord> imagePoints, std::span<const ImageFrame> frames,
                    std::span<const IopRecord> iop) {
  IntersectAndStore(RaySource<FrameTable>{imagePoints, {frames}, iop}, PointSpan(pointCount, objectPoints));
  return 1;
}

int IntersectPoints(int64_t pointCount, ObjectPointRecord* objectPoints,
                    std::span<const ImagePointRecord> imagePoints, std::span<const EopRecord> eop,
                    std::span<const IopRecord> iop) {
  // With two rays and more to a point, the table of all images pays from here on.
  if (2 * pointCount > static_cast<int64_t>(eop.size())) {
    return IntersectPoints(pointCount, objectPoints, imagePoints, MakeImageFrames(eop), iop);
  }
  IntersectAndStore(RaySource<FramesOnDemand>{imagePoints, {eop}, iop}, PointSpan(pointCount, objectPoints));
  return 1;
}

int IntersectPointsWithStatistics(int64_t pointCount, ObjectPointRecord* objectPoints,
                                  std::span<const ImagePointRecord> imagePoints,
                                  std::span<const EopRecord> eop, std::span<const IopRecord> iop,
                                  double* checkResidual, double* controlResidual, int threads) {
  std::fill_n(checkResidual, 6, 0.0);
  std::fill_n(controlResidual, 6, 0.0);
  if (pointCount < 2) return IntersectPoints(pointCount, objectPoints, imagePoints, eop, iop);
  const std::vector<ImageFrame> frames = MakeImageFrames(eop);
  const RaySource<FrameTable> source{imagePoints, {frames}, iop};
  const auto points = PointSpan(pointCount, objectPoints);
  const int64_t chunkCount = (pointCount + kChunk - 1) / kChunk;
  std::vector<Statistics> chunks(static_cast<size_t>(chunkCount));
  ParallelFor(chunkCount, threads, [&](int64_t chunk) {
    const auto first = static_cast<size_t>(chunk * kChunk);
    const size_t count = std::min<size_t>(kChunk, points.size() - first);
    chunks[static_cast<size_t>(chunk)] = IntersectWithStatistics(source, points.subspan(first, count));
  });
  Statistics total;
  for (const Statistics& chunk : chunks) {
    total.control.Add(chunk.control);
    total.check.Add(chunk.check);
  }
  total.check.MeanAndRmse(checkResidual);
  total.control.MeanAndRmse(controlResidual);
  return 1;
}

}  // namespace orvo
