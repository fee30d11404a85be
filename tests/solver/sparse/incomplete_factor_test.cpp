#include "solver/sparse/IncompleteFactor.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstring>
#include <limits>
#include <numeric>

#include "solver/sparse/NodeSystems.h"
#include "solver/sparse/Ordering.h"
#include "solver/sparse/PartOrder.h"

namespace orvo::sparse {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();
constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::vector<int32_t> Natural(int32_t count) {
  std::vector<int32_t> order(static_cast<size_t>(count));
  std::iota(order.begin(), order.end(), 0);
  return order;
}

/// K K', from its inverse.
Eigen::MatrixXd Recovered(const IncompleteFactor& factor, int64_t size) {
  Eigen::MatrixXd inverse = Eigen::MatrixXd::Identity(size, size);
  factor.Solve({inverse.data(), static_cast<size_t>(inverse.size())}, static_cast<int32_t>(size));
  return inverse.inverse();
}

double ShiftOf(const NodePattern& pattern, const Eigen::MatrixXd& N) {
  return IncompleteFactor(pattern, pattern.NodeNum(), Natural(pattern.NodeNum())).Factor(Blocks(pattern, N));
}

TEST(IncompleteFactor, IsExactWhereNothingFillsIn) {
  const auto tree = [](int32_t i, int32_t j) { return (j - 1) / 3 == i; };
  const auto all = [](int32_t, int32_t) { return true; };
  const std::vector<int32_t> mixed{7, 6, 22, 1, 6, 6, 9, 64, 6, 3, 6, 12, 6};
  const PatternCase cases[] = {{"Chain", Chain(30, 6), {}},
                               {"Chain7", Chain(12, 7), {}},
                               {"Tree", PatternWhere(std::vector<int32_t>(40, 6), tree), {}},
                               {"MixedTree", PatternWhere(mixed, tree), {}},
                               {"Dense", PatternWhere(std::vector<int32_t>(12, 6), all), {}},
                               {"MixedDense", PatternWhere(mixed, all), {}},
                               {"One", PatternWhere({6}, all), {}}};
  for (const PatternCase& c : cases) {
    const NodeMatrix matrix = RandomMatrix(c.Pattern);
    const Eigen::MatrixXd N = Dense(matrix);
    // From the leaves to the root.
    std::vector<int32_t> order = Natural(c.Pattern.NodeNum());
    std::reverse(order.begin(), order.end());
    IncompleteFactor factor(c.Pattern, c.Pattern.NodeNum(), order);
    ASSERT_EQ(factor.Factor(matrix), 0) << c.szName;
    const Eigen::VectorXd b = Eigen::VectorXd::Random(N.rows()), exact = N.llt().solve(b);
    Eigen::VectorXd x = b;
    factor.Solve({x.data(), static_cast<size_t>(x.size())});
    EXPECT_LT((x - exact).cwiseAbs().maxCoeff(), 1e-11 * exact.cwiseAbs().maxCoeff()) << c.szName;
  }
}

/// True where the matrix has a block, both nodes being inner ones, and on the diagonal.
bool IsKept(const NodePattern& pattern, int32_t firstBorder, int32_t i, int32_t j) {
  if (i == j) return true;
  const auto behind = pattern.NeighboursBehind(i);
  return j < firstBorder && std::binary_search(behind.begin(), behind.end(), j);
}

TEST(IncompleteFactor, AgreesWithTheMatrixWhereThisHasBlocks) {
  std::vector<PatternCase> cases = PatternCases();
  std::erase_if(cases, [](const PatternCase& c) { return c.Pattern.UnknownNum() > 260; });
  cases.push_back({"MixedStrips",
                   PatternWhere({6, 7, 22, 1, 6, 6, 9, 12, 6, 3, 6, 8},
                                [](int32_t i, int32_t j) { return j - i == 1 || j - i == 4; }),
                   {}});
  for (const PatternCase& c : cases) {
    const int32_t nodeNum = c.Pattern.NodeNum();
    const NodeMatrix matrix = RandomMatrix(c.Pattern, 3);
    const Eigen::MatrixXd N = Dense(matrix);
    const std::vector<int64_t> first = c.Pattern.FirstUnknowns();
    for (const int32_t border : {0, 2}) {
      const int32_t inner = std::max(0, nodeNum - border);
      std::vector<int32_t> order = OrderNodes(c.Pattern);
      std::erase_if(order, [&](int32_t node) { return node >= inner; });
      IncompleteFactor factor(c.Pattern, inner, order);
      ASSERT_EQ(factor.Factor(matrix), 0) << c.szName;
      const Eigen::MatrixXd product = Recovered(factor, N.rows());
      for (int32_t i = 0; i < nodeNum; ++i) {
        for (int32_t j = i; j < nodeNum; ++j) {
          const auto of = [&](const Eigen::MatrixXd& from) {
            return from.block(first[i], first[j], c.Pattern.vSizes[i], c.Pattern.vSizes[j]).eval();
          };
          if (IsKept(c.Pattern, inner, i, j)) {
            EXPECT_LT((of(product) - of(N)).cwiseAbs().maxCoeff(), 1e-11 * N.cwiseAbs().maxCoeff())
                << c.szName << " " << i << " " << j;
          } else if (j >= inner) {
            EXPECT_LT(of(product).cwiseAbs().maxCoeff(), 1e-11 * N.cwiseAbs().maxCoeff()) << c.szName;
          }
        }
      }
    }
  }
}

TEST(IncompleteFactor, ManyColumnsAsEachByItself) {
  for (const PatternCase& c : PatternCases()) {
    const NodeMatrix matrix = RandomMatrix(c.Pattern);
    IncompleteFactor factor(c.Pattern, c.Pattern.NodeNum(), OrderNodes(c.Pattern));
    ASSERT_EQ(factor.Factor(matrix), 0) << c.szName;
    const auto size = static_cast<size_t>(c.Pattern.UnknownNum());
    const Eigen::MatrixXd b = Eigen::MatrixXd::Random(static_cast<int64_t>(size), 5);
    std::vector<double> together(b.data(), b.data() + b.size()), alone = together;
    factor.Solve(together, 5);
    for (size_t k = 0; k < 5; ++k) factor.Solve(std::span(alone).subspan(k * size, size));
    EXPECT_TRUE(together.empty() ||
                0 == std::memcmp(together.data(), alone.data(), together.size() * sizeof(double)))
        << c.szName;
  }
}

TEST(IncompleteFactor, ShiftsWhatBreaksDown) {
  for (const int32_t size : {1, 6, 7}) {
    const NodePattern ring = PatternWhere(std::vector<int32_t>(4, size),
                                          [](int32_t i, int32_t j) { return j - i == 1 || j - i == 3; });
    const Eigen::MatrixXd N = KershawMatrix(size);
    ASSERT_GT(N.selfadjointView<Eigen::Upper>().eigenvalues().minCoeff(), 0.1);
    const double shift = ShiftOf(ring, N);
    EXPECT_GT(shift, 0) << size;
    EXPECT_LE(shift, 0.25) << size;
    IncompleteFactor factor(ring, 4, Natural(4));
    ASSERT_EQ(factor.Factor(Blocks(ring, N)), shift);
    // On its own blocks K K' is the raised matrix.
    const Eigen::MatrixXd product = Recovered(factor, N.rows());
    EXPECT_LT((product.diagonal() / (3 * (1 + shift))).array().abs().maxCoeff() - 1, 1e-11) << size;
    EXPECT_NEAR(product(0, size), -2, 1e-11) << size;
    EXPECT_NEAR(product(0, 3 * size), 2, 1e-11) << size;
    // The next matrix needs none.
    EXPECT_EQ(factor.Factor(RandomMatrix(ring)), 0) << size;
  }
}

TEST(IncompleteFactor, NoFactorOfBrokenMatrices) {
  const NodePattern pattern = StripPattern(3, 5);
  const Eigen::MatrixXd N = Dense(RandomMatrix(pattern));
  EXPECT_EQ(ShiftOf(pattern, N), 0);
  for (const double value : {kNan, kInfinity, -kInfinity, 0.0, -1.0}) {
    for (const int64_t at : {0, 31, 89}) {
      Eigen::MatrixXd broken = N;
      broken(at, at) = value;
      EXPECT_LT(ShiftOf(pattern, broken), 0) << value << " " << at;
    }
  }
  for (const double value : {kNan, kInfinity, -kInfinity, 1e300}) {
    Eigen::MatrixXd broken = N;
    broken(8, 3) = broken(3, 8) = value;
    EXPECT_LT(ShiftOf(pattern, broken), 0) << value;
  }
  EXPECT_LT(ShiftOf(pattern, Eigen::MatrixXd::Zero(N.rows(), N.cols())), 0);
  // Below the diagonal nothing is read.
  NodeMatrix matrix = Blocks(pattern, N);
  matrix.Diagonal(4)[6] = kNan;
  EXPECT_EQ(IncompleteFactor(pattern, 15, Natural(15)).Factor(matrix), 0);
}

TEST(IncompleteFactor, SingularMatrixWithAShiftOrNone) {
  // Differences along a chain: exact elimination leaves nothing for the last node.
  const NodePattern pattern = Chain(8, 6);
  const Eigen::MatrixXd N = Dense(WeakNet(pattern, 8, 0));
  const double shift = ShiftOf(pattern, N);
  EXPECT_GT(shift, 0);
  EXPECT_LE(shift, 1.0 / 256);
  EXPECT_EQ(ShiftOf(pattern, N + 1e-6 * Eigen::MatrixXd::Identity(48, 48)), 0);
}

TEST(IncompleteFactor, BorderWithoutInnerNodesAndNothingAtAll) {
  const NodePattern pattern = Chain(3, 6);
  const NodeMatrix matrix = RandomMatrix(pattern);
  IncompleteFactor factor(pattern, 0, {});
  ASSERT_EQ(factor.Factor(matrix), 0);
  const Eigen::MatrixXd N = Dense(matrix);
  Eigen::VectorXd x = Eigen::VectorXd::Ones(18);
  factor.Solve({x.data(), 18});
  for (int k = 0; k < 18; k += 6) {
    EXPECT_LT((N.block<6, 6>(k, k) * x.segment<6>(k) - Eigen::VectorXd::Ones(6)).norm(), 1e-13) << k;
  }
  const NodePattern empty = PatternWhere({}, [](int32_t, int32_t) { return true; });
  IncompleteFactor nothing(empty, 0, {});
  EXPECT_EQ(nothing.Factor(NodeMatrix(empty)), 0);
  nothing.Solve({});
}

TEST(IncompleteFactor, PartsAreThatOfTheWholeOrder) {
  for (const std::vector<int32_t>& border : {std::vector<int32_t>{}, {5, 9}}) {
    const NodePattern pattern = WithBorder(StripPattern(6, 16), border);
    const NodeMatrix matrix = WeakNet(pattern, 96, 1e-3);
    const PartOrder order = OrderByParts(pattern, 96, 24);
    ASSERT_EQ(order.PartNum(), 4);
    IncompleteFactor whole(pattern, 96, order.vOrder), parts(pattern, 96, order.vOrder, order.vFirst);
    ASSERT_EQ(whole.Factor(matrix), 0);
    for (const int32_t threads : {1, 3}) {
      ASSERT_EQ(parts.Factor(matrix, threads), 0);
      Eigen::VectorXd x = Eigen::VectorXd::Random(pattern.UnknownNum()), y = x;
      whole.Solve({x.data(), static_cast<size_t>(x.size())});
      parts.Solve({y.data(), static_cast<size_t>(y.size())}, 1, threads);
      EXPECT_LT((x - y).norm(), 1e-13 * x.norm()) << border.size() << " " << threads;
    }
  }
}

TEST(IncompleteFactor, APartThatFailsFailsAll) {
  const NodePattern pattern = StripPattern(6, 16);
  const PartOrder order = OrderByParts(pattern, 96, 24);
  IncompleteFactor parts(pattern, 96, order.vOrder, order.vFirst);
  // The last node of a part, and the last of all, which is in none.
  for (const int32_t position : {order.vFirst[2] - 1, 95}) {
    NodeMatrix matrix = WeakNet(pattern, 96, 1e-3);
    const int32_t node = order.vOrder[position];
    matrix.Diagonal(node)[0] = -1;
    EXPECT_LT(parts.Factor(matrix, 2), 0) << position;
    matrix.Diagonal(node)[0] = kNan;
    EXPECT_LT(parts.Factor(matrix, 2), 0) << position;
  }
}

}  // namespace
}  // namespace orvo::sparse
