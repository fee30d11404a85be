#include "rigorous/PointChunks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

namespace orvo::rigorous {
namespace {

Problem ProblemOf(const std::vector<std::vector<int32_t>>& images) {
  Problem problem;
  int32_t most = 0;
  for (const auto& point : images) {
    for (const int32_t image : point) {
      problem.vRays.push_back({image, 0, 0});
      most = std::max(most, image);
    }
    problem.vFirstRay.push_back(std::ssize(problem.vRays));
  }
  problem.vImages.resize(static_cast<size_t>(most) + 1);
  return problem;
}

ScratchVector<int64_t> OrderOf(const std::vector<std::vector<int32_t>>& images) {
  const Problem problem = ProblemOf(images);
  return OrderOfPoints(problem.vFirstRay, problem.vRays);
}

TEST(PointChunks, PointsAreOrderedByLowestSecondAndHighestImage) {
  const struct {
    const char* What;
    std::vector<std::vector<int32_t>> Images;
    ScratchVector<int64_t> Order;
  } table[] = {
      {"no points", {}, {}},
      {"lowest", {{4, 3}, {9, 2}, {5, 7, 1}}, {2, 1, 0}},
      {"second", {{9, 1, 5}, {1, 4, 9}, {3, 9, 1}}, {2, 1, 0}},
      {"highest", {{1, 2, 9}, {8, 2, 1}, {1, 2}}, {2, 1, 0}},
      {"equals stay", {{1, 2, 9}, {0, 1}, {9, 5, 2, 1}, {2, 9, 1}}, {1, 0, 2, 3}},
      {"an image twice", {{1, 1, 5}, {1, 4}, {1, 1}}, {1, 0, 2}},
      {"without rays", {{}, {7, 8}, {}, {3}}, {3, 1, 0, 2}},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.What);
    EXPECT_EQ(OrderOf(row.Images), row.Order);
  }
  EXPECT_TRUE(OrderOfPoints({}, {}).empty());
}

int64_t ImagesOf(const Problem& problem, int64_t first, int64_t end) {
  std::set<int32_t> images;
  for (int64_t p = first; p < end; ++p) {
    for (const Ray& ray : problem.RaysOf(p)) images.insert(ray.nImage);
  }
  return std::ssize(images);
}

/// All points once and in order, no chunk too large, and none that could have taken the next point in.
void ExpectChunks(const Problem& problem) {
  const PointChunks chunks = ChunksOf(problem);
  ASSERT_EQ(chunks.vFirst.front(), 0);
  ASSERT_EQ(chunks.vFirst.back(), problem.PointNum());
  for (int64_t c = 0; c < chunks.Num(); ++c) {
    const int64_t first = chunks.vFirst[c], end = chunks.vFirst[c + 1];
    ASSERT_LT(first, end);
    EXPECT_LE(end - first, kChunkPoints);
    EXPECT_TRUE(end - first == 1 || ImagesOf(problem, first, end) <= kChunkImages);
    if (end == problem.PointNum()) continue;
    EXPECT_TRUE(end - first == kChunkPoints || ImagesOf(problem, first, end + 1) > kChunkImages);
  }
}

TEST(PointChunks, KeepTheirLimits) {
  std::mt19937 random(1);
  std::vector<std::vector<int32_t>> images;
  for (int p = 0; p < 6000; ++p) {
    std::vector<int32_t> point;
    const int rays = p % 500 == 7 ? 70 : static_cast<int>(random() % 8);
    for (int r = 0; r < rays; ++r) point.push_back(static_cast<int32_t>(p / 40 + random() % 90));
    images.push_back(point);
  }
  ExpectChunks(ProblemOf(images));
  ExpectChunks(ProblemOf(std::vector<std::vector<int32_t>>(5000, {1, 2, 3})));
  ExpectChunks(ProblemOf(std::vector<std::vector<int32_t>>(2000)));
  EXPECT_EQ(ChunksOf(ProblemOf({})).Num(), 0);
  EXPECT_EQ(ChunksOf(ProblemOf({{0, 1}})).vFirst, (std::vector<int64_t>{0, 1}));
}

TEST(PointChunks, APointOnManyImagesStandsAlone) {
  std::vector<int32_t> many(kChunkImages + 1);
  for (int32_t i = 0; i <= kChunkImages; ++i) many[static_cast<size_t>(i)] = i;
  EXPECT_EQ(ChunksOf(ProblemOf({{0, 1}, many, {0, 1}})).vFirst, (std::vector<int64_t>{0, 1, 2, 3}));
  many.pop_back();
  EXPECT_EQ(ChunksOf(ProblemOf({{0, 1}, many, {0, 1}})).vFirst, (std::vector<int64_t>{0, 3}));
}

}  // namespace
}  // namespace orvo::rigorous
