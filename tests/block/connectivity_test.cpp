// Images that hang together.
#include "block/Connectivity.h"

#include <gtest/gtest.h>

namespace orvo::test {
namespace {

using Points = std::vector<std::vector<int32_t>>;

std::vector<std::vector<int32_t>> PartsOf(int32_t images, const Points& points) {
  ImageSets sets(images), half(images);
  for (size_t i = 0; i < points.size(); ++i) {
    (i % 2 == 0 ? sets : half).Join(static_cast<int64_t>(i), points[i]);
  }
  sets.Join(half);
  CellJoiner joiner(sets.Cells());
  for (const auto& point : points) joiner.Count(point);
  return joiner.Parts(3);
}

TEST(Connectivity, ThreeSharedPointsJoin) {
  const Points three = {{0, 1}, {0, 1}, {0, 1}};
  EXPECT_EQ(PartsOf(2, three), (Points{{0, 1}}));
  EXPECT_EQ(PartsOf(2, {{0, 1}, {0, 1}}), (Points{{0}, {1}}));
}

TEST(Connectivity, TwoHalvesOverTwoPointsAreTwoParts) {
  Points points;
  for (int i = 0; i < 5; ++i) {
    points.push_back({0, 1, 2});
    points.push_back({3, 4});
  }
  points.push_back({2, 3});
  points.push_back({1, 4});
  EXPECT_EQ(PartsOf(5, points), (Points{{0, 1, 2}, {3, 4}}));
  points.push_back({0, 3});
  EXPECT_EQ(PartsOf(5, points), (Points{{0, 1, 2, 3, 4}}));
}

TEST(Connectivity, ImageOverSeveralOthersCounts) {
  // One point with each of three images that hang together.
  Points points;
  for (int i = 0; i < 4; ++i) points.push_back({0, 1, 2});
  points.push_back({0, 3});
  points.push_back({1, 3});
  EXPECT_EQ(PartsOf(4, points).size(), 2u);
  points.push_back({2, 3});
  EXPECT_EQ(PartsOf(4, points), (Points{{0, 1, 2, 3}}));
}

TEST(Connectivity, NothingAtAll) {
  EXPECT_TRUE(PartsOf(0, {}).empty());
  EXPECT_EQ(PartsOf(2, {{1, 1}}), (Points{{0}, {1}}));
}

}  // namespace
}  // namespace orvo::test
