#include "solver/sparse/NodeProduct.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "solver/sparse/NodeSystems.h"

namespace orvo::sparse {
namespace {

TEST(NodeProduct, IsThatOfTheDenseMatrix) {
  for (const PatternCase& c : PatternCases()) {
    const NodeMatrix matrix = RandomMatrix(c.Pattern);
    const Eigen::MatrixXd N = Dense(matrix);
    const NodeProduct product(matrix);
    for (const int32_t columnNum : {0, 1, 3}) {
      const Eigen::MatrixXd x = Eigen::MatrixXd::Random(N.rows(), columnNum);
      // What stood in y before is of no account.
      std::vector<double> y(static_cast<size_t>(x.size()), std::numeric_limits<double>::quiet_NaN());
      product.Multiply({x.data(), static_cast<size_t>(x.size())}, y, 1, columnNum);
      if (y.empty()) continue;
      const Eigen::MatrixXd off = Eigen::Map<Eigen::MatrixXd>(y.data(), N.rows(), columnNum) - N * x;
      EXPECT_LT(off.cwiseAbs().maxCoeff(), 1e-14 * N.cwiseAbs().rowwise().sum().maxCoeff())
          << c.szName << " " << columnNum;
    }
  }
}

TEST(NodeProduct, SameBitsOnAnyNumberOfThreads) {
  // Enough blocks for all threads to take part.
  const NodePattern pattern =
      PatternWhere(std::vector<int32_t>(1100, 2), [](int32_t i, int32_t j) { return j - i < 100; });
  ASSERT_GT(pattern.BlockNum(), 100'000);
  NodeMatrix matrix(pattern);
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    for (int64_t k = 0; k < std::ssize(pattern.NeighboursBehind(i)); ++k) {
      for (double& value : matrix.Behind(i, k)) value = 1.0 / static_cast<double>(i + 3 * k + 7);
    }
    for (double& value : matrix.Diagonal(i)) value = 1.0 / (i + 1.0);
  }
  const NodeProduct product(matrix);
  const Eigen::MatrixXd x = Eigen::MatrixXd::Random(pattern.UnknownNum(), 2);
  const std::span<const double> given(x.data(), static_cast<size_t>(x.size()));
  std::vector<double> once(given.size()), other(given.size());
  product.Multiply(given, once, 1, 2);
  for (const int32_t threads : {2, 4, 7, 0, -1}) {
    std::fill(other.begin(), other.end(), -1.0);
    product.Multiply(given, other, threads, 2);
    EXPECT_EQ(0, std::memcmp(once.data(), other.data(), once.size() * sizeof(double))) << threads;
  }
  // A column among others is as one by itself.
  product.Multiply(given.subspan(given.size() / 2), std::span(other).first(given.size() / 2));
  EXPECT_EQ(0, std::memcmp(once.data() + once.size() / 2, other.data(), once.size() / 2 * sizeof(double)));
}

TEST(NodeProduct, FollowsTheValuesAndReadsNothingBelowTheDiagonal) {
  const NodePattern pattern = Chain(3, 2);
  NodeMatrix matrix(pattern);
  const NodeProduct product(matrix);
  const std::vector<double> x{1, 2, 3, 4, 5, 6};
  std::vector<double> y(6, 9.0);
  product.Multiply(x, y);
  EXPECT_EQ(y, std::vector<double>(6, 0.0));
  const double block[] = {1, 10, std::numeric_limits<double>::quiet_NaN(), 100};
  std::copy(std::begin(block), std::end(block), matrix.Diagonal(1).begin());
  matrix.Behind(0, 0)[1] = 7;  // unknowns 0 and 3
  product.Multiply(x, y);
  EXPECT_EQ(y, (std::vector<double>{28, 0, 43, 437, 0, 0}));
}

}  // namespace
}  // namespace orvo::sparse
