#include "normal/PointOrder.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace orvo {
namespace {

constexpr int32_t kSamples = 4096;

bool ShareAnImage(std::span<const ImagePointRecord> a, std::span<const ImagePointRecord> b) {
  return std::ranges::any_of(a, [b](const ImagePointRecord& point) {
    return std::ranges::any_of(b,
                               [&](const ImagePointRecord& other) { return other.nImage == point.nImage; });
  });
}

/// The kept images that a point is sorted by.
struct ImageKey {
  int32_t nLowest = std::numeric_limits<int32_t>::max(), nSecond = nLowest, nHighest = -1;
  int32_t nPoint = 0;

  void Add(int32_t image) {
    if (image < nLowest) {
      nSecond = nLowest;
      nLowest = image;
    } else if (image > nLowest && image < nSecond) {
      nSecond = image;
    }
    nHighest = std::max(nHighest, image);
  }
};

}  // namespace

bool IsScattered(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints,
                 int32_t first, int32_t last) {
  const int64_t count = int64_t{last} - first;
  const int64_t samples = std::min<int64_t>(count, kSamples);
  // The blocks that a few points touch stay close whatever their order is.
  if (samples < 64) return false;
  int64_t apart = 0;
  for (int64_t k = 0; k < samples; ++k) {
    const auto place = static_cast<size_t>(first + k * count / samples);
    apart += !ShareAnImage(MeasurementsOf(points[place], imagePoints),
                           MeasurementsOf(points[place + 1], imagePoints));
  }
  return 4 * apart > samples;
}

bool FollowEachOther(std::span<const ObjectPointRecord> points, int64_t imagePointNum, int32_t first,
                     int32_t last) {
  if (last < first) return true;
  int64_t next = points[static_cast<size_t>(first)].nFirstImagePoint;
  if (next < 0) return false;
  for (int32_t p = first; p <= last; ++p) {
    const ObjectPointRecord& point = points[static_cast<size_t>(p)];
    if (point.nFirstImagePoint != next || point.nImagePointNum < 0 ||
        point.nImagePointNum > imagePointNum - next) {
      return false;
    }
    next += point.nImagePointNum;
  }
  return true;
}

std::vector<int32_t> OrderByImages(std::span<const ObjectPointRecord> points,
                                   std::span<const ImagePointRecord> imagePoints, const UnknownLayout& layout,
                                   int32_t first, int32_t last) {
  const auto total = static_cast<int64_t>(imagePoints.size());
  if (last < first) return {};
  std::vector<ImageKey> keys;
  keys.reserve(static_cast<size_t>(int64_t{last} - first + 1));
  std::vector<size_t> starts(static_cast<size_t>(std::max(0, layout.nImageNum)) + 2, 0);
  const size_t none = starts.size() - 2;
  const auto bucketOf = [none](const ImageKey& key) {
    return key.nHighest < 0 ? none : static_cast<size_t>(key.nLowest);
  };
  if (!FollowEachOther(points, total, first, last)) return {};
  for (int32_t p = first; p <= last; ++p) {
    const ObjectPointRecord& point = points[static_cast<size_t>(p)];
    ImageKey key;
    key.nPoint = p;
    for (const ImagePointRecord& measurement : MeasurementsOf(point, imagePoints)) {
      if (layout.Holds(measurement)) key.Add(measurement.nImage);
    }
    ++starts[bucketOf(key) + 1];
    keys.push_back(key);
  }
  for (size_t k = 1; k < starts.size(); ++k) starts[k] += starts[k - 1];
  std::vector<ImageKey> sorted(keys.size());
  std::vector<size_t> place(starts.begin(), starts.end() - 1);
  for (const ImageKey& key : keys) sorted[place[bucketOf(key)]++] = key;
  for (size_t k = 0; k + 1 < starts.size(); ++k) {
    std::sort(sorted.begin() + static_cast<ptrdiff_t>(starts[k]),
              sorted.begin() + static_cast<ptrdiff_t>(starts[k + 1]),
              [](const ImageKey& a, const ImageKey& b) {
                if (a.nSecond != b.nSecond) return a.nSecond < b.nSecond;
                if (a.nHighest != b.nHighest) return a.nHighest < b.nHighest;
                return a.nPoint < b.nPoint;
              });
  }
  std::vector<int32_t> order(sorted.size());
  std::ranges::transform(sorted, order.begin(), [](const ImageKey& key) { return key.nPoint; });
  return order;
}

double SmallestResidualY(const AssemblyInput& in, int32_t first, int32_t last, const float* residuals,
                         const int32_t* flags, double start) {
  if (last < first) return start;
  const ObjectPointRecord* const begin = in.pObjectPoints + first;
  const ObjectPointRecord* const end = in.pObjectPoints + last + 1;
  const int64_t base = begin->nFirstImagePoint,
                count = (end - 1)->nFirstImagePoint + (end - 1)->nImagePointNum - base;
  double smallest = start;
  for (int64_t k = 0; k < count; ++k) {
    // What is listed has lost some digits: where they could matter it is computed again.
    const auto listed = static_cast<double>(residuals[2 * k + 1]);
    if (listed - 1e-6 * std::fabs(listed) > smallest || flags[k] != 0) continue;
    const ImagePointRecord& measurement = in.pImagePoints[base + k];
    if (!in.Layout.Holds(measurement)) continue;
    const ObjectPointRecord& point = *(std::upper_bound(begin, end, base + k,
                                                        [](int64_t place, const ObjectPointRecord& record) {
                                                          return place < record.nFirstImagePoint;
                                                        }) -
                                       1);
    PartialRows<double> rows;
    LinearizeImagePoint<double>(static_cast<double>(measurement.x), static_cast<double>(measurement.y),
                                point.X, point.Y, point.Z, in.pImages[measurement.nImage],
                                in.pCameras[measurement.nCamera], rows);
    if (IsBoundedRow(rows) && rows.L[1] < smallest) smallest = rows.L[0];
  }
  return smallest;
}

}  // namespace orvo
