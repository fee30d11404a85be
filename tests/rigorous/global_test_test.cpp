#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "rigorous/GlobalTest.h"

namespace orvo::rigorous {
namespace {

struct Quantile {
  double fProbability, fFreedom, fValue;
};

// Values of tables: Abramowitz and Stegun, table 26.8, and exact ones (freedom 2: -2 ln(1 - p)).
constexpr Quantile kQuantiles[] = {{0.95, 1, 3.841458820694124},   {0.95, 10, 18.307038053275146},
                                   {0.05, 10, 3.940299136119061},  {0.995, 30, 53.67196193024057},
                                   {0.9, 100, 118.49800381106211}, {0.975, 2, 7.377758908227871},
                                   {0.025, 2, 0.05063561596857975}};

TEST(ChiSquare, HasTheValuesOfTheTables) {
  for (const Quantile& q : kQuantiles) {
    EXPECT_NEAR(q.fValue, ChiSquareQuantile(q.fProbability, q.fFreedom), 1e-8 * q.fValue) << q.fFreedom;
    EXPECT_NEAR(q.fProbability, ChiSquareProbability(q.fValue, q.fFreedom), 1e-11) << q.fFreedom;
  }
}

TEST(ChiSquare, OfManyDegreesIsNearlyNormal) {
  for (const double freedom : {1e3, 1e5, 1e7, 1e9}) {
    // Wilson and Hilferty: the cube root is normal, nearly.
    const double z = 1.959963984540054, a = 2 / (9 * freedom);
    const double expected = freedom * std::pow(1 - a + z * std::sqrt(a), 3);
    EXPECT_NEAR(expected, ChiSquareQuantile(0.975, freedom), 2e-3 * std::sqrt(2 * freedom)) << freedom;
    EXPECT_NEAR(0.975, ChiSquareProbability(ChiSquareQuantile(0.975, freedom), freedom), 1e-9) << freedom;
  }
}

TEST(ChiSquare, JoinsItsTwoFormsWithoutStep) {
  for (const double freedom : {1.0, 4.0, 100.0, 1999.0, 2001.0, 1e6}) {
    const double at = freedom + 2;
    EXPECT_NEAR(ChiSquareProbability(at * (1 - 1e-14), freedom),
                ChiSquareProbability(at * (1 + 1e-14), freedom), 1e-10)
        << freedom;
  }
}

TEST(ChiSquare, TakesWhatIsNoValue) {
  EXPECT_EQ(0, ChiSquareProbability(-1, 5));
  EXPECT_EQ(0, ChiSquareProbability(std::numeric_limits<double>::quiet_NaN(), 5));
  EXPECT_EQ(0, ChiSquareProbability(1, 0));
  EXPECT_EQ(1, ChiSquareProbability(std::numeric_limits<double>::infinity(), 5));
  EXPECT_EQ(0, ChiSquareQuantile(0, 5));
  EXPECT_TRUE(std::isinf(ChiSquareQuantile(1, 5)));
}

struct Sums {
  double fSquares;
  int64_t nRedundancy;
  TestOutcome Expected;
};

// 100 degrees: 74.2 to 129.6 at 5 %.
constexpr Sums kTests[] = {{100, 100, TestOutcome::Passed},
                           {74.3, 100, TestOutcome::Passed},
                           {74.1, 100, TestOutcome::TooSmall},
                           {129.5, 100, TestOutcome::Passed},
                           {129.7, 100, TestOutcome::TooLarge},
                           {1, 0, TestOutcome::NotPossible},
                           {-1, 10, TestOutcome::NotPossible},
                           {std::numeric_limits<double>::infinity(), 10, TestOutcome::NotPossible}};

TEST(GlobalTest, SaysWhetherResidualsAreAsLargeAsTheyMay) {
  for (const Sums& test : kTests) {
    EXPECT_EQ(test.Expected, TestGlobally(test.fSquares, test.nRedundancy).Outcome)
        << test.fSquares << " of " << test.nRedundancy;
  }
}

}  // namespace
}  // namespace orvo::rigorous
