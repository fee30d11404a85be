// How near names are to each other.
#include "check/reading/NameDistance.h"

#include <gtest/gtest.h>

namespace orvo::test {
namespace {

TEST(NameDistance, CountsWhatIsToBeChanged) {
  const struct {
    const char *a, *b;
    int64_t distance;
  } rows[] = {{"", "", 0},
              {"abc", "abc", 0},
              {"abc", "ABC", 0},
              {"abc", "", 3},
              {"IMG_1", "IMG1", 1},
              {"abc", "axc", 1},
              {"kitten", "sitting", 3},
              {"ab", "ba", 2},
              {"IMG_0447.JPG", "IMG_0447", 4}};
  for (const auto& row : rows) {
    EXPECT_EQ(NameDistance(row.a, row.b), row.distance) << row.a << " " << row.b;
    EXPECT_EQ(NameDistance(row.b, row.a), row.distance) << row.b << " " << row.a;
  }
}

TEST(NameDistance, NearestPlace) {
  const std::string_view names[] = {"IMG_0447", "IMG_0448", "Damping", "x"};
  EXPECT_EQ(NearestPlace("img_0448.JPG", names), 1);
  EXPECT_EQ(NearestPlace("Dumping", names), 2);
  EXPECT_EQ(NearestPlace("IMG_0449", names), 0);
  EXPECT_EQ(NearestPlace("entirely other", names), -1);
  EXPECT_EQ(NearestPlace("y", names), 3);
  EXPECT_EQ(NearestPlace("abc", {}), -1);
}

TEST(NameDistance, NumbersTellPhotographsApart) {
  EXPECT_TRUE(HaveSameNumbers("IMG_0447", "img0447.jpg"));
  EXPECT_TRUE(HaveSameNumbers("IMG_447", "IMG_0447"));
  EXPECT_TRUE(HaveSameNumbers("left", "LEFT"));
  EXPECT_TRUE(HaveSameNumbers("a_0", "a_000"));
  EXPECT_FALSE(HaveSameNumbers("IMG_0447", "IMG_0448"));
  EXPECT_FALSE(HaveSameNumbers("1_2", "12"));
  EXPECT_FALSE(HaveSameNumbers("a1", "a"));
}

}  // namespace
}  // namespace orvo::test
