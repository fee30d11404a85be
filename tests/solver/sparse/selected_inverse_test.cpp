#include "solver/sparse/SelectedInverse.h"

#include <gtest/gtest.h>

#include "solver/sparse/NodeSystems.h"
#include "solver/sparse/Ordering.h"

namespace orvo::sparse {
namespace {

Eigen::MatrixXd Copied(const InverseBlock& block) {
  Eigen::MatrixXd copy(block.nRows, block.nCols);
  for (int32_t r = 0; r < block.nRows; ++r) {
    for (int32_t c = 0; c < block.nCols; ++c) copy(r, c) = block(r, c);
  }
  return copy;
}

/// All columns of the inverse, solved by the factor.
Eigen::MatrixXd SolvedColumns(const SupernodalFactor& factor) {
  const int64_t order = factor.Symbolic().UnknownNum();
  Eigen::MatrixXd inverse = Eigen::MatrixXd::Identity(order, order);
  EXPECT_TRUE(
      factor.Solve({inverse.data(), static_cast<size_t>(inverse.size())}, static_cast<int32_t>(order)));
  return inverse;
}

/// Blocks that are there, compared with those of `expected`; how many.
int64_t CheckBlocks(const PatternCase& c, const SelectedInverse& inverse, const Eigen::MatrixXd& expected) {
  const std::vector<int64_t> first = c.Pattern.FirstUnknowns();
  int64_t count = 0;
  for (int32_t i = 0; i < c.Pattern.NodeNum(); ++i) {
    for (int32_t j = 0; j < c.Pattern.NodeNum(); ++j) {
      const auto block = inverse.Block(i, j), mirrored = inverse.Block(j, i);
      EXPECT_EQ(block.has_value(), mirrored.has_value()) << c.szName;
      if (!block || !mirrored) continue;
      const Eigen::MatrixXd values = Copied(*block);
      EXPECT_EQ(values, Copied(*mirrored).transpose()) << c.szName;
      const Eigen::MatrixXd reference =
          expected.block(first[i], first[j], c.Pattern.vSizes[i], c.Pattern.vSizes[j]);
      EXPECT_EQ(values.rows(), reference.rows()) << c.szName;
      EXPECT_EQ(values.cols(), reference.cols()) << c.szName;
      // What the standard deviations of both nodes allow for.
      const double scale = std::sqrt(expected.diagonal().segment(first[i], c.Pattern.vSizes[i]).maxCoeff() *
                                     expected.diagonal().segment(first[j], c.Pattern.vSizes[j]).maxCoeff());
      EXPECT_LT((values - reference).cwiseAbs().maxCoeff(), 1e-10 * scale)
          << c.szName << " " << i << " " << j;
      ++count;
    }
  }
  return count;
}

TEST(SelectedInverse, AgreesWithSolvedColumnsAndTheDenseInverse) {
  for (const PatternCase& c : PatternCases()) {
    for (const bool relaxed : {false, true}) {
      const auto rules = relaxed ? std::span<const AmalgamationRule>(kAmalgamationRules)
                                 : std::span<const AmalgamationRule>();
      const SymbolicFactor symbolic = AnalyseFactor(c.Pattern, OrderNodes(c.Pattern, c.vBorder), rules);
      const NodeMatrix matrix = RandomMatrix(c.Pattern, 3);
      SupernodalFactor factor(symbolic);
      ASSERT_FALSE(factor.Factor(matrix)) << c.szName;
      const auto inverse = InvertSelected(factor);
      ASSERT_TRUE(inverse) << c.szName;
      if (c.Pattern.NodeNum() == 0) continue;
      const int64_t count = CheckBlocks(c, *inverse, SolvedColumns(factor));
      EXPECT_EQ(CheckBlocks(c, *inverse, Dense(matrix).inverse()), count) << c.szName;
      EXPECT_GE(count, c.Pattern.NodeNum() + 2 * c.Pattern.BlockNum()) << c.szName;
    }
  }
}

TEST(SelectedInverse, HasEveryBlockOfThePattern) {
  for (const PatternCase& c : PatternCases()) {
    const SymbolicFactor symbolic = AnalyseFactor(c.Pattern, OrderNodes(c.Pattern, c.vBorder));
    SupernodalFactor factor(symbolic);
    ASSERT_FALSE(factor.Factor(RandomMatrix(c.Pattern))) << c.szName;
    const auto inverse = InvertSelected(factor);
    ASSERT_TRUE(inverse) << c.szName;
    for (int32_t i = 0; i < c.Pattern.NodeNum(); ++i) {
      EXPECT_TRUE(inverse->Block(i, i)) << c.szName << " " << i;
      for (const int32_t j : c.Pattern.NeighboursBehind(i)) EXPECT_TRUE(inverse->Block(i, j)) << c.szName;
    }
  }
}

TEST(SelectedInverse, NothingOffThePattern) {
  const NodePattern pattern = Chain(5, 2);
  const std::vector<int32_t> order = {0, 1, 2, 3, 4};
  const SymbolicFactor symbolic = AnalyseFactor(pattern, order, {});
  SupernodalFactor factor(symbolic);
  EXPECT_FALSE(InvertSelected(factor));
  ASSERT_FALSE(factor.Factor(RandomMatrix(pattern)));
  const auto inverse = InvertSelected(factor);
  ASSERT_TRUE(inverse);
  for (int32_t i = -1; i <= 5; ++i) {
    for (int32_t j = -1; j <= 5; ++j) {
      const bool isThere = i >= 0 && j >= 0 && i < 5 && j < 5 && std::abs(i - j) <= 1;
      EXPECT_EQ(inverse->Block(i, j).has_value(), isThere) << i << " " << j;
    }
  }
}

TEST(SelectedInverse, OfAKnownMatrix) {
  // Levelling along four points, the first one held: variances grow by one a step.
  const NodePattern pattern = Chain(4, 1);
  Eigen::Matrix4d N;
  N << 2, -1, 0, 0, -1, 2, -1, 0, 0, -1, 2, -1, 0, 0, -1, 1;
  const SymbolicFactor symbolic = AnalyseFactor(pattern, OrderNodes(pattern));
  SupernodalFactor factor(symbolic);
  ASSERT_FALSE(factor.Factor(Blocks(pattern, N)));
  EXPECT_NEAR(*factor.LogDeterminant(), 0, 1e-14);
  const auto inverse = InvertSelected(factor);
  ASSERT_TRUE(inverse);
  for (int32_t i = 0; i < 4; ++i) {
    EXPECT_NEAR((*inverse->Block(i, i))(0, 0), i + 1, 1e-13);
    if (i == 3) break;
    EXPECT_NEAR((*inverse->Block(i + 1, i))(0, 0), i + 1, 1e-13);
  }
}

TEST(SelectedInverse, WeakMatrix) {
  // A net that a single weak value holds: standard deviations of 1000 beside differences of 1.
  const NodePattern pattern = StripPattern(6, 10, 1);
  Eigen::MatrixXd N = Eigen::MatrixXd::Zero(60, 60);
  for (int32_t i = 0; i < 60; ++i) {
    for (const int32_t j : pattern.NeighboursBehind(i)) {
      N(i, i) += 1;
      N(j, j) += 1;
      N(i, j) = N(j, i) = -1;
    }
  }
  N(0, 0) += 1e-6;
  const SymbolicFactor symbolic = AnalyseFactor(pattern, OrderNodes(pattern));
  SupernodalFactor factor(symbolic);
  ASSERT_FALSE(factor.Factor(Blocks(pattern, N)));
  EXPECT_LT(factor.SmallestPivots(1)[0].Ratio(), 1e-5);
  const auto inverse = InvertSelected(factor);
  ASSERT_TRUE(inverse);
  CheckBlocks({"Weak", pattern, {}}, *inverse, SolvedColumns(factor));
  EXPECT_NEAR((*inverse->Block(0, 0))(0, 0), 1e6, 1);
}

}  // namespace
}  // namespace orvo::sparse
