// Runs of points that share images, the pieces of work of a pass over the points.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// Points vFirst[c] to vFirst[c + 1] - 1, together on at most kChunkImages images unless a point alone is on
/// more, and at most kChunkPoints points. Depends on nothing but the problem, so that sums taken chunk by
/// chunk are the same on any number of threads.
struct PointChunks {
  std::vector<int64_t> vFirst = {0};

  int64_t Num() const { return std::ssize(vFirst) - 1; }
};

inline constexpr int32_t kChunkImages = 48, kChunkPoints = 1024;

PointChunks ChunksOf(const Problem& problem);

/// The points by their lowest image, then their second, then their highest; of equals the first stays first.
/// `firstRay` and `rays` as in Problem.
ScratchVector<int64_t> OrderOfPoints(std::span<const int64_t> firstRay, std::span<const Ray> rays);

}  // namespace orvo::rigorous
