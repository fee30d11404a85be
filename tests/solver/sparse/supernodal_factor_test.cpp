#include "solver/sparse/SupernodalFactor.h"

#include <gtest/gtest.h>

#include <cstring>

#include "solver/sparse/NodeSystems.h"
#include "solver/sparse/Ordering.h"

namespace orvo::sparse {
namespace {

/// All of L, in the order of elimination.
Eigen::MatrixXd DenseFactor(const SupernodalFactor& factor) {
  const SymbolicFactor& symbolic = factor.Symbolic();
  Eigen::MatrixXd L = Eigen::MatrixXd::Zero(symbolic.UnknownNum(), symbolic.UnknownNum());
  for (const Supernode& s : symbolic.vSupernodes) {
    const Eigen::Map<const Eigen::MatrixXd> panel(factor.Panel(s), s.nHeight, s.nWidth);
    const int64_t first = symbolic.vFirstUnknown[s.nFirst];
    L.block(first, first, s.nWidth, s.nWidth) = panel.topRows(s.nWidth).triangularView<Eigen::Lower>();
    for (const int32_t row : symbolic.Rows(s)) {
      L.block(symbolic.vFirstUnknown[row], first, symbolic.vSizes[row], s.nWidth) =
          panel.middleRows(symbolic.PlaceIn(s, row), symbolic.vSizes[row]);
    }
  }
  return L;
}

TEST(SupernodalFactor, IsThatOfTheDenseMatrix) {
  for (const PatternCase& c : PatternCases()) {
    for (const bool relaxed : {false, true}) {
      const auto rules = relaxed ? std::span<const AmalgamationRule>(kAmalgamationRules)
                                 : std::span<const AmalgamationRule>();
      const SymbolicFactor symbolic = AnalyseFactor(c.Pattern, OrderNodes(c.Pattern, c.vBorder), rules);
      const NodeMatrix matrix = RandomMatrix(c.Pattern);
      SupernodalFactor factor(symbolic);
      ASSERT_FALSE(factor.Factor(matrix)) << c.szName;
      const auto unknowns = UnknownsInOrder(c.Pattern, symbolic.vOrder);
      const Eigen::MatrixXd N = Dense(matrix), permuted = N(unknowns, unknowns);
      if (N.rows() == 0) continue;
      const Eigen::MatrixXd expected = permuted.llt().matrixL(), L = DenseFactor(factor);
      EXPECT_LT((L - expected).cwiseAbs().maxCoeff(), 1e-12 * expected.cwiseAbs().maxCoeff()) << c.szName;
      EXPECT_NEAR(*factor.LogDeterminant(), 2 * expected.diagonal().array().log().sum(),
                  1e-11 * static_cast<double>(N.rows()))
          << c.szName;
    }
  }
}

TEST(SupernodalFactor, SolvesOneVectorAndMany) {
  for (const PatternCase& c : PatternCases()) {
    const SymbolicFactor symbolic = AnalyseFactor(c.Pattern, OrderNodes(c.Pattern, c.vBorder));
    const NodeMatrix matrix = RandomMatrix(c.Pattern, 2);
    SupernodalFactor factor(symbolic);
    ASSERT_FALSE(factor.Factor(matrix)) << c.szName;
    const Eigen::MatrixXd N = Dense(matrix);
    for (const int32_t columnNum : {0, 1, 7}) {
      const Eigen::MatrixXd b = Eigen::MatrixXd::Random(N.rows(), columnNum);
      std::vector<double> x(b.data(), b.data() + b.size());
      ASSERT_TRUE(factor.Solve(x, columnNum)) << c.szName;
      if (x.empty()) continue;
      const Eigen::Map<const Eigen::MatrixXd> solved(x.data(), N.rows(), columnNum);
      const double scale = N.cwiseAbs().rowwise().sum().maxCoeff() * solved.cwiseAbs().maxCoeff();
      EXPECT_LT((b - N * solved).cwiseAbs().maxCoeff(), 1e-14 * scale) << c.szName << " " << columnNum;
      EXPECT_LT((solved - N.llt().solve(b)).cwiseAbs().maxCoeff(), 1e-10 * solved.cwiseAbs().maxCoeff())
          << c.szName << " " << columnNum;
    }
  }
}

TEST(SupernodalFactor, AnswersNothingWithoutAFactor) {
  const NodePattern pattern = Chain(3, 2);
  const SymbolicFactor symbolic = AnalyseFactor(pattern, OrderNodes(pattern));
  SupernodalFactor factor(symbolic);
  std::vector<double> x(6, 1.0);
  EXPECT_FALSE(factor.IsThere());
  EXPECT_FALSE(factor.Solve(x));
  EXPECT_FALSE(factor.LogDeterminant());
  EXPECT_TRUE(factor.SmallestPivots(3).empty());
  ASSERT_FALSE(factor.Factor(RandomMatrix(pattern)));
  EXPECT_FALSE(factor.Solve(x, 2));
  EXPECT_FALSE(factor.Solve(x, -1));
  EXPECT_FALSE(factor.Solve(std::span(x).first(5)));
  EXPECT_EQ(x, std::vector<double>(6, 1.0));
  ASSERT_TRUE(factor.Factor(NodeMatrix(pattern)));
  EXPECT_FALSE(factor.IsThere());
  EXPECT_FALSE(factor.Solve(x));
}

TEST(SupernodalFactor, SmallestPivotsWithTheirUnknowns) {
  // Unknown 1 of node 2 hangs together with unknown 0 of it by a correlation of 0.999, that of node 0 by 0.9.
  const NodePattern pattern = Chain(4, 2);
  Eigen::MatrixXd N = Eigen::MatrixXd::Identity(8, 8);
  N(4, 5) = N(5, 4) = 0.999;
  N(0, 1) = N(1, 0) = 0.9;
  const Eigen::VectorXd scale = Eigen::VectorXd::LinSpaced(8, 1, 1000);
  N = scale.asDiagonal() * N * scale.asDiagonal();
  const SymbolicFactor symbolic = AnalyseFactor(pattern, OrderNodes(pattern));
  SupernodalFactor factor(symbolic);
  ASSERT_FALSE(factor.Factor(Blocks(pattern, N)));
  const std::vector<Pivot> pivots = factor.SmallestPivots(3);
  ASSERT_EQ(pivots.size(), 3u);
  EXPECT_EQ(pivots[0].nNode, 2);
  EXPECT_EQ(pivots[0].nUnknown, 1);
  EXPECT_NEAR(pivots[0].Ratio(), 1 - 0.999 * 0.999, 1e-13);
  EXPECT_EQ(pivots[0].dDiagonal, N(5, 5));
  EXPECT_NEAR(pivots[0].dPivot, N(5, 5) * (1 - 0.999 * 0.999), 1e-13 * N(5, 5));
  EXPECT_EQ(pivots[1].nNode, 0);
  EXPECT_EQ(pivots[1].nUnknown, 1);
  EXPECT_NEAR(pivots[1].Ratio(), 1 - 0.9 * 0.9, 1e-13);
  EXPECT_NEAR(pivots[2].Ratio(), 1, 1e-13);
  EXPECT_EQ(factor.SmallestPivots(100).size(), 8u);
  EXPECT_TRUE(factor.SmallestPivots(0).empty());
  EXPECT_TRUE(factor.SmallestPivots(-1).empty());
}

TEST(SupernodalFactor, SameBitsEveryTime) {
  const NodePattern pattern = StripPattern(6, 15);
  const SymbolicFactor symbolic = AnalyseFactor(pattern, OrderNodes(pattern));
  const NodeMatrix matrix = RandomMatrix(pattern);
  SupernodalFactor once(symbolic), again(symbolic);
  ASSERT_FALSE(once.Factor(matrix));
  // The second one has had another matrix before.
  ASSERT_FALSE(again.Factor(RandomMatrix(pattern, 5)));
  ASSERT_FALSE(again.Factor(matrix));
  const Eigen::MatrixXd a = DenseFactor(once), b = DenseFactor(again);
  EXPECT_EQ(0, std::memcmp(a.data(), b.data(), static_cast<size_t>(a.size()) * sizeof(double)));
}

}  // namespace
}  // namespace orvo::sparse
