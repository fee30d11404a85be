// Which blocks fit into memory.
#include "rigorous/MemoryPlan.h"

#include <gtest/gtest.h>

#include <vector>

namespace orvo::rigorous {
namespace {

constexpr int64_t kMega = 1000000;

struct PlanCase {
  const char* szWhat;
  BlockCounts Counts;
  PrecisionExtent Precision;
  int64_t nFree;
  bool bFits;
};

TEST(MemoryPlan, TakesFourFifthsOfTheFreeMemory) {
  const PlanCase cases[] = {
      {"nothing", {}, PrecisionExtent::None, 0, true},
      {"images alone", {1000, 0, 0}, PrecisionExtent::None, 50 * kMega, true},
      {"images, too little", {1000, 0, 0}, PrecisionExtent::None, 49 * kMega, false},
      {"the factor too", {1000, 0, 0}, PrecisionExtent::Images, 99 * kMega, false},
      {"the factor too, fits", {1000, 0, 0}, PrecisionExtent::Images, 100 * kMega, true},
      {"points", {10, 1 * kMega, 6 * kMega}, PrecisionExtent::None, 400 * kMega, false},
      {"points, fits", {10, 1 * kMega, 6 * kMega}, PrecisionExtent::None, 1000 * kMega, true},
      {"points of the largest block",
       {100000, 100 * kMega, 1000 * kMega},
       PrecisionExtent::All,
       64000 * kMega,
       false},
  };
  for (const PlanCase& each : cases)
    EXPECT_EQ(PlanMemory(each.Counts, each.Precision, each.nFree).bFits, each.bFits) << each.szWhat;
}

TEST(MemoryPlan, LeavesToPointsWhatImagesDoNotTake) {
  const BlockCounts counts = {1000, 1 * kMega, 6 * kMega};
  EXPECT_EQ(PlanMemory(counts, PrecisionExtent::None, 150 * kMega).nResidentBytes, 80 * kMega);
  EXPECT_EQ(PlanMemory(counts, PrecisionExtent::None, 1 * kMega).nResidentBytes, int64_t{32} << 20);
  const MemoryPlan roomy = PlanMemory(counts, PrecisionExtent::None, 10000 * kMega);
  EXPECT_EQ(roomy.nResidentBytes, roomy.nPointBytes);
  // At least the records themselves.
  EXPECT_GT(roomy.nPointBytes, 6 * kMega * 28);
}

}  // namespace
}  // namespace orvo::rigorous
