// Misspelt names and what they were meant to be.
#include <gtest/gtest.h>

#include "base/NameDistance.h"
#include "base/NearestName.h"

namespace orvo::test {
namespace {

TEST(NameDistance, CountsChangesAndSwaps) {
  const struct {
    const char *a, *b;
    int64_t nPlain, nWithSwaps;
  } rows[] = {{"", "", 0, 0},
              {"", "abc", 3, 3},
              {"adjust", "adjust", 0, 0},
              {"ajust", "adjust", 1, 1},
              {"adjjust", "adjust", 1, 1},
              {"asjust", "adjust", 1, 1},
              {"adjsut", "adjust", 2, 1},
              {"dajsut", "adjust", 4, 2},
              {"ADJUST", "adjust", 0, 0},
              {"aDJSUT", "adjust", 2, 1},
              {"kitten", "sitting", 3, 3},
              {"ab", "ba", 2, 1},
              {"ca", "abc", 3, 3},
              {"abc", "xyz", 3, 3}};
  for (const auto& row : rows) {
    EXPECT_EQ(NameDistance(row.a, row.b), row.nPlain) << row.a << " " << row.b;
    EXPECT_EQ(NameDistance(row.b, row.a), row.nPlain) << row.b << " " << row.a;
    EXPECT_EQ(NameDistance(row.a, row.b, true), row.nWithSwaps) << row.a << " " << row.b;
    EXPECT_EQ(NameDistance(row.b, row.a, true), row.nWithSwaps) << row.b << " " << row.a;
  }
}

TEST(NearestName, FindsWhatWasMeant) {
  const std::vector<std::string> commands = {"adjust", "check",  "help",   "generate",
                                             "info",   "import", "export", "convert"};
  const struct {
    const char *szWrong, *szMeant;
  } rows[] = {{"ajust", "adjust"},
              {"Adjust", "adjust"},
              {"adujst", "adjust"},
              {"chekc", "check"},
              {"imporr", "import"},
              {"exprt", "export"},
              {"conv", "convert"},
              {"gen", "generate"},
              {"generator", "generate"},
              {"hlep", "help"},
              {"inf", "info"},
              {"", ""},
              {"x", ""},
              {"imp", "import"},
              {"solve", ""},
              {"/some/project.prj", ""}};
  for (const auto& row : rows) EXPECT_EQ(NearestName(row.szWrong, commands), row.szMeant) << row.szWrong;
}

TEST(NearestName, FirstOfEquallyNearOnes) {
  EXPECT_EQ(NearestName("cot", {"cat", "cut"}), "cat");
  EXPECT_EQ(NearestName("cot", {"cut", "cat"}), "cut");
  EXPECT_EQ(NearestName("GCP_Wieght", {"GPS_Weight", "GCP_Weight"}), "GCP_Weight");
}

TEST(NearestName, ABeginningOfSeveralIsNone) {
  EXPECT_EQ(NearestName("apply", {"Apply_GPS_Data", "Apply_IMU_Data"}), "");
  EXPECT_EQ(NearestName("apply", {"Apply_GPS_Data", "Direct_Intersection"}), "Apply_GPS_Data");
  EXPECT_EQ(NearestName("ap", {"Apply_GPS_Data"}), "");
}

TEST(NearestName, LongTextsTakeNoTime) {
  EXPECT_EQ(NearestName(std::string(10'000'000, 'a'), {"adjust", std::string(100, 'a')}), "");
}

}  // namespace
}  // namespace orvo::test
