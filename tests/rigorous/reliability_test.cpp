#include "rigorous/Reliability.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <cmath>
#include <limits>

#include "rigorous/RigorousBuilders.h"

namespace orvo::rigorous::test {
namespace {

struct ReliabilityCase {
  double fNormalised, fRedundancy, fSigma0;
  double fTest, fSmallest, fEffect;
};

constexpr double kNaN = std::numeric_limits<double>::quiet_NaN();

constexpr ReliabilityCase kCases[] = {{2, 1, 1, 2, 4.13, 0},
                                      {1, 0.25, 1, 2, 8.26, 4.13 * 1.7320508075688772},
                                      {-1, 0.25, 0.5, -4, 4.13, 4.13 * 1.7320508075688772},
                                      {3, 0.5, 1, 4.242640687119285, 4.13 * 1.4142135623730951, 4.13},
                                      {1, 1 + 1e-12, 1, 1, 4.13, 0},
                                      {1, 0.019, 1, 0, kNotObserved, kNotObserved},
                                      {1, -1e-9, 1, 0, kNotObserved, kNotObserved},
                                      {1, kNaN, 1, 0, kNotObserved, kNotObserved},
                                      {kNaN, 0.5, 1, 0, kNotObserved, kNotObserved},
                                      {1, 0.5, 0, 0, kNotObserved, kNotObserved}};

TEST(Reliability, IsThatOfTheRedundancy) {
  for (const ReliabilityCase& one : kCases) {
    const Reliability made = ReliabilityOf(one.fNormalised, one.fRedundancy, one.fSigma0);
    EXPECT_NEAR(one.fTest, made.fTest, 1e-9);
    if (std::isinf(one.fSmallest)) {
      EXPECT_EQ(one.fSmallest, made.fSmallest);
      EXPECT_EQ(one.fEffect, made.fEffect);
    } else {
      EXPECT_NEAR(one.fSmallest, made.fSmallest, 1e-9);
      EXPECT_NEAR(one.fEffect, made.fEffect, 1e-9);
    }
  }
}

/// A linear adjustment of numbers drawn at random, with standard deviations of 1.
struct Linear {
  Eigen::MatrixXd J;
  Eigen::VectorXd l;

  Eigen::MatrixXd Cofactors() const { return (J.transpose() * J).inverse(); }
  Eigen::VectorXd Unknowns() const { return Cofactors() * (J.transpose() * l); }
};

Linear AnyLinear(Random& random) {
  Linear made{Eigen::MatrixXd(12, 4), Eigen::VectorXd(12)};
  for (double& value : made.J.reshaped()) value = random.Within(-1, 1);
  for (double& value : made.l) value = random.Within(-3, 3);
  return made;
}

TEST(Reliability, TestsALeftOutObservationAsWithinTheAdjustment) {
  Random random(5);
  for (int run = 0; run < 20; ++run) {
    const Linear all = AnyLinear(random);
    Linear others = all;
    const Eigen::RowVectorXd row = all.J.row(3);
    others.J.row(3).setZero();
    others.l[3] = 0;
    const double within = all.l[3] - row * all.Unknowns(), against = all.l[3] - row * others.Unknowns();
    const double redundancy = 1 - row * all.Cofactors() * row.transpose();
    const double predicted = row * others.Cofactors() * row.transpose();
    ASSERT_GT(redundancy, kLeastRedundancy);
    EXPECT_NEAR(ReliabilityOf(within, redundancy, 0.7).fTest, TestOfLeftOut(against, predicted, 0.7), 1e-9);
  }
}

TEST(Reliability, BoundsWhatAnErrorMoves) {
  Random random(7);
  for (int run = 0; run < 20; ++run) {
    const Linear all = AnyLinear(random);
    const Eigen::RowVectorXd row = all.J.row(3);
    const Eigen::MatrixXd Q = all.Cofactors();
    const Reliability made = ReliabilityOf(0, 1 - row * Q * row.transpose(), 1);
    const Eigen::VectorXd moved = made.fSmallest * Q * row.transpose();
    // The adjusted observation itself moves most, of all functions.
    EXPECT_NEAR(made.fEffect, std::sqrt(moved.dot(Q.inverse() * moved)), 1e-9);
    for (Eigen::Index k = 0; k < 4; ++k) EXPECT_LE(std::abs(moved[k]) / std::sqrt(Q(k, k)), made.fEffect);
  }
}

}  // namespace
}  // namespace orvo::rigorous::test
