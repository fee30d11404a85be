#include "rigorous/PointChunks.h"

#include <algorithm>
#include <limits>
#include <numeric>
#include <utility>

namespace orvo::rigorous {
namespace {

/// What points are sorted by; of points without rays behind all others.
struct ImageKey {
  int32_t nLowest = std::numeric_limits<int32_t>::max(), nSecond = nLowest, nHighest = nLowest;

  auto operator<=>(const ImageKey&) const = default;
};

ImageKey KeyOf(std::span<const Ray> rays) {
  ImageKey key;
  if (rays.empty()) return key;
  key.nHighest = rays.front().nImage;
  for (const Ray& ray : rays) {
    key.nHighest = std::max(key.nHighest, ray.nImage);
    if (ray.nImage < key.nLowest) {
      key.nSecond = key.nLowest;
      key.nLowest = ray.nImage;
    } else if (ray.nImage > key.nLowest) {
      key.nSecond = std::min(key.nSecond, ray.nImage);
    }
  }
  return key;
}

}  // namespace

ScratchVector<int64_t> OrderOfPoints(std::span<const int64_t> firstRay, std::span<const Ray> rays) {
  if (firstRay.empty()) return {};
  ScratchVector<ImageKey> keys(firstRay.size() - 1);
  for (size_t p = 0; p < keys.size(); ++p) {
    keys[p] = KeyOf(
        rays.subspan(static_cast<size_t>(firstRay[p]), static_cast<size_t>(firstRay[p + 1] - firstRay[p])));
  }
  ScratchVector<int64_t> order(keys.size());
  std::iota(order.begin(), order.end(), int64_t{0});
  // No stable sort, which would take memory of its own.
  std::sort(order.begin(), order.end(), [&keys](int64_t a, int64_t b) {
    return std::pair(keys[static_cast<size_t>(a)], a) < std::pair(keys[static_cast<size_t>(b)], b);
  });
  return order;
}

PointChunks ChunksOf(const Problem& problem) {
  PointChunks chunks;
  // By image the chunk that it was last met in.
  std::vector<int64_t> metIn(problem.vImages.size(), -1);
  int64_t first = 0, imageNum = 0;
  for (int64_t p = 0; p < problem.PointNum(); ++p) {
    const auto meet = [&] {
      int64_t met = 0;
      for (const Ray& ray : problem.RaysOf(p)) {
        if (ray.nImage < 0) continue;
        int64_t& last = metIn[static_cast<size_t>(ray.nImage)];
        met += last != chunks.Num();
        last = chunks.Num();
      }
      return met;
    };
    imageNum += meet();
    if (p > first && (imageNum > kChunkImages || p - first == kChunkPoints)) {
      chunks.vFirst.push_back(p);
      first = p;
      imageNum = meet();
    }
  }
  if (problem.PointNum() > 0) chunks.vFirst.push_back(problem.PointNum());
  return chunks;
}

}  // namespace orvo::rigorous
