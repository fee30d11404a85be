#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "solver/sparse/NodeSystems.h"
#include "solver/sparse/Ordering.h"
#include "solver/sparse/SupernodalFactor.h"

namespace orvo::sparse {
namespace {

constexpr double kInfinity = std::numeric_limits<double>::infinity();

std::optional<FactorRefusal> Refusal(const NodeMatrix& matrix, double tolerance = kPivotTolerance) {
  const SymbolicFactor symbolic = AnalyseFactor(matrix.Pattern(), OrderNodes(matrix.Pattern()));
  return SupernodalFactor(symbolic).Factor(matrix, tolerance);
}

/// Makes unknown `to` a copy of unknown `from`.
void Copy(Eigen::MatrixXd& N, int64_t from, int64_t to) {
  N.row(to) = N.row(from).eval();
  N.col(to) = N.col(from).eval();
}

TEST(FactorRefusal, IndefiniteAtAnyUnknown) {
  for (const PatternCase& c : PatternCases()) {
    for (int32_t node = 0; node < c.Pattern.NodeNum(); node += 3) {
      NodeMatrix matrix = RandomMatrix(c.Pattern);
      const int32_t size = c.Pattern.vSizes[node], unknown = size / 2;
      double& diagonal = matrix.Diagonal(node)[unknown * (size + 1)];
      diagonal = -diagonal;
      const auto refusal = Refusal(matrix);
      ASSERT_TRUE(refusal) << c.szName << " " << node;
      EXPECT_EQ(refusal->Fault, FactorFault::NotPositive) << c.szName << " " << node;
      EXPECT_EQ(refusal->At.nNode, node) << c.szName;
      EXPECT_EQ(refusal->At.nUnknown, unknown) << c.szName << " " << node;
      EXPECT_EQ(refusal->At.dDiagonal, diagonal) << c.szName << " " << node;
      EXPECT_LE(refusal->At.dPivot, diagonal) << c.szName << " " << node;
    }
  }
}

TEST(FactorRefusal, UnknownThatRepeatsAnother) {
  const NodePattern pattern = StripPattern(4, 8);
  for (const int32_t node : {0, 7, 13, 31}) {
    Eigen::MatrixXd N = Dense(RandomMatrix(pattern));
    Copy(N, int64_t{6} * node + 1, int64_t{6} * node + 4);
    const auto refusal = Refusal(Blocks(pattern, N));
    ASSERT_TRUE(refusal) << node;
    EXPECT_EQ(refusal->Fault, FactorFault::Dependent) << node;
    EXPECT_EQ(refusal->At.nNode, node);
    EXPECT_EQ(refusal->At.nUnknown, 4) << node;
    EXPECT_LT(std::abs(refusal->At.Ratio()), 1e-13) << node;
  }
}

TEST(FactorRefusal, NetWithoutDatumAtItsLastUnknown) {
  // Differences between neighbours alone: any constant can be added.
  const NodePattern pattern = StripPattern(4, 6, 2);
  Eigen::MatrixXd N = Eigen::MatrixXd::Zero(48, 48);
  for (int32_t i = 0; i < 24; ++i) {
    for (const int32_t j : pattern.NeighboursBehind(i)) {
      for (int32_t k = 0; k < 2; ++k) {
        N(2 * i + k, 2 * i + k) += 1;
        N(2 * j + k, 2 * j + k) += 1;
        N(2 * i + k, 2 * j + k) -= 1;
        N(2 * j + k, 2 * i + k) -= 1;
      }
    }
  }
  const auto refusal = Refusal(Blocks(pattern, N));
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->Fault, FactorFault::Dependent);
  EXPECT_EQ(refusal->At.nNode, AnalyseFactor(pattern, OrderNodes(pattern)).vOrder.back());
  EXPECT_EQ(refusal->At.nUnknown, 0);
  // Both unknowns of one node held: there is a factor.
  N(10, 10) += 1;
  N(11, 11) += 1;
  EXPECT_FALSE(Refusal(Blocks(pattern, N)));
}

TEST(FactorRefusal, ToleranceDecides) {
  const NodePattern pattern = Chain(1, 2);
  const auto refusal = [&](double ratio, double tolerance) {
    Eigen::Matrix2d N;
    N << 100, 100, 100, 100 * (1 + ratio);
    return Refusal(Blocks(pattern, N), tolerance);
  };
  EXPECT_FALSE(refusal(1e-6, 1e-7));
  EXPECT_TRUE(refusal(1e-6, 1e-5));
  EXPECT_EQ(refusal(1e-6, 1e-5)->Fault, FactorFault::Dependent);
  EXPECT_FALSE(refusal(1e-13, 0));
  EXPECT_FALSE(refusal(1e-13, -1));
  EXPECT_TRUE(refusal(1e-13, kPivotTolerance));
  EXPECT_TRUE(refusal(0, 0));
  EXPECT_EQ(refusal(0, 0)->Fault, FactorFault::Dependent);
}

TEST(FactorRefusal, UnknownOfWhichNothingTells) {
  const NodePattern pattern = Chain(3, 2);
  Eigen::MatrixXd N = Eigen::MatrixXd::Identity(6, 6);
  N(3, 3) = 0;
  const auto refusal = Refusal(Blocks(pattern, N));
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->Fault, FactorFault::Dependent);
  EXPECT_EQ(refusal->At.nNode, 1);
  EXPECT_EQ(refusal->At.nUnknown, 1);
}

TEST(FactorRefusal, ValuesThatAreNotFinite) {
  const NodePattern pattern = StripPattern(3, 4);
  for (const double bad : {std::nan(""), kInfinity, -kInfinity}) {
    NodeMatrix diagonal = RandomMatrix(pattern), behind = RandomMatrix(pattern),
               unread = RandomMatrix(pattern);
    diagonal.Diagonal(5)[2 * 6 + 3] = bad;
    behind.Behind(7, 1)[4 * 6 + 5] = bad;
    unread.Diagonal(5)[3 * 6 + 2] = bad;
    for (const auto& [matrix, node, unknown] : {std::tuple{&diagonal, 5, 2}, {&behind, 7, 4}}) {
      const auto refusal = Refusal(*matrix);
      ASSERT_TRUE(refusal) << bad;
      EXPECT_EQ(refusal->Fault, FactorFault::NotFinite) << bad;
      EXPECT_EQ(refusal->At.nNode, node) << bad;
      EXPECT_EQ(refusal->At.nUnknown, unknown) << bad;
    }
    EXPECT_FALSE(Refusal(unread)) << bad;
  }
}

TEST(FactorRefusal, PivotThatOverflows) {
  const NodePattern pattern = Chain(2, 1);
  Eigen::Matrix2d N;
  N << 1, 1e200, 1e200, 1;
  const auto refusal = Refusal(Blocks(pattern, N));
  ASSERT_TRUE(refusal);
  EXPECT_EQ(refusal->Fault, FactorFault::NotFinite);
}

TEST(FactorRefusal, MatrixOfAnotherPattern) {
  const NodePattern chain = Chain(6, 3), shorter = Chain(5, 3), wider = Chain(6, 4);
  const NodePattern strips = StripPattern(1, 6, 3);
  const SymbolicFactor symbolic = AnalyseFactor(chain, OrderNodes(chain), {});
  SupernodalFactor factor(symbolic);
  for (const NodePattern* pattern : {&shorter, &wider, &strips}) {
    const auto refusal = factor.Factor(RandomMatrix(*pattern));
    ASSERT_TRUE(refusal);
    EXPECT_EQ(refusal->Fault, FactorFault::OtherMatrix);
    EXPECT_EQ(refusal->At.nNode, -1);
  }
  EXPECT_FALSE(factor.Factor(RandomMatrix(chain)));
}

}  // namespace
}  // namespace orvo::sparse
