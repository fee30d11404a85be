#include "rigorous/PointFactor.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <limits>

#include "rigorous/RigorousBuilders.h"

namespace orvo::rigorous {
namespace {

using test::Random;

constexpr std::array<bool, 3> kFree = {false, false, false};

/// sum of w a a' over the rows.
PointMatrix MatrixOf(const std::vector<Vector3>& rows) {
  PointMatrix M{};
  for (const Vector3& a : rows) {
    const PointMatrix square = {a[0] * a[0], a[0] * a[1], a[0] * a[2], a[1] * a[1], a[1] * a[2], a[2] * a[2]};
    for (int k = 0; k < 6; ++k) M[k] += square[k];
  }
  return M;
}

Eigen::Matrix3d Full(const PointMatrix& M) {
  Eigen::Matrix3d full;
  full << M[0], M[1], M[2], M[1], M[3], M[4], M[2], M[4], M[5];
  return full;
}

Eigen::Matrix3d InverseOf(const PointFactor& factor) {
  const Eigen::Matrix3d Q = Eigen::Map<const Eigen::Matrix<double, 3, 3, Eigen::RowMajor>>(factor.Q.data());
  return Q * Q.transpose();
}

TEST(PointFactor, IsTheRootOfTheInverse) {
  Random random(1);
  for (int i = 0; i < 300; ++i) {
    std::vector<Vector3> rows;
    for (int k = 0; k < 4; ++k) rows.push_back(std::pow(10.0, i % 7 - 3) * random.Direction());
    const PointMatrix M = MatrixOf(rows);
    const PointFactor factor = FactorOf(M, kFree);
    ASSERT_EQ(factor.RankNum(), 3);
    const Eigen::Matrix3d product = InverseOf(factor) * Full(M);
    EXPECT_LE((product - Eigen::Matrix3d::Identity()).cwiseAbs().maxCoeff(), 1e-9);
  }
}

TEST(PointFactor, LeavesHeldCoordinatesOut) {
  Random random(2);
  const PointMatrix M = MatrixOf({random.Direction(), random.Direction(), random.Direction()});
  for (int bits = 0; bits < 8; ++bits) {
    SCOPED_TRACE(bits);
    const std::array<bool, 3> isHeld = {(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0};
    const PointFactor factor = FactorOf(M, isHeld);
    const Eigen::Matrix3d inverse = InverseOf(factor), product = inverse * Full(M);
    for (int i = 0; i < 3; ++i) {
      EXPECT_EQ(factor.IsDetermined[i], !isHeld[i]);
      for (int k = 0; k < 3; ++k) {
        if (isHeld[i] || isHeld[k]) {
          EXPECT_EQ(inverse(i, k), 0);
        } else {
          EXPECT_NEAR(product(i, k), i == k, 1e-12);
        }
      }
    }
  }
}

TEST(PointFactor, SolvesWhatIsSingularInWhatIsDetermined) {
  Random random(3);
  for (int i = 0; i < 200; ++i) {
    // Two directions, or one: with b in their span M x = b has solutions.
    const Vector3 a = random.Direction(), b = random.Direction();
    const bool isLine = i % 2 == 0;
    const PointMatrix M = isLine ? MatrixOf({a, 2 * a}) : MatrixOf({a, b, a + b});
    const PointFactor factor = FactorOf(M, kFree);
    EXPECT_EQ(factor.RankNum(), isLine ? 1 : 2);
    const Eigen::Vector3d right =
        Full(M) * Eigen::Vector3d(random.Within(-1, 1), random.Within(-1, 1), random.Within(-1, 1));
    EXPECT_LE((Full(M) * (InverseOf(factor) * right) - right).cwiseAbs().maxCoeff(), 1e-6);
  }
}

TEST(PointFactor, DeterminesNothingByWhatIsNoNumber) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  const struct {
    PointMatrix M;
    std::array<bool, 3> Expected;
  } table[] = {{{}, {false, false, false}},
               {{0, 0, 0, 0, 0, 4}, {false, false, true}},
               {{1, 0, 0, nan, 0, 4}, {true, false, true}},
               {{1, 0, 0, inf, 0, 4}, {true, false, true}},
               {{1, 0, nan, 2, 0, 4}, {true, true, false}},
               {{-1, 0, 0, 2, 0, 4}, {false, true, true}},
               {{1e-300, 0, 0, 1e300, 0, 1}, {true, true, true}},
               {{1, 1, 0, 1, 0, 1}, {true, false, true}},
               {{1, 1, 0, 1 + 1e-11, 0, 1}, {true, false, true}},
               {{1, 1, 0, 1 + 1e-9, 0, 1}, {true, true, true}}};
  for (const auto& row : table) {
    SCOPED_TRACE(testing::PrintToString(row.M));
    const PointFactor factor = FactorOf(row.M, kFree);
    EXPECT_EQ(factor.IsDetermined, row.Expected);
    for (int k = 0; k < 3; ++k) {
      for (int i = 0; i < 3; ++i) EXPECT_TRUE(std::isfinite(factor.Q[3 * i + k]));
      EXPECT_EQ(test::ColumnOf(factor.Q, k) == Vector3{}, !factor.IsDetermined[k]);
    }
  }
}

}  // namespace
}  // namespace orvo::rigorous
