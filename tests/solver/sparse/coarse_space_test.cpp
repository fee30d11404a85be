#include "solver/sparse/CoarseSpace.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "solver/sparse/NodeSystems.h"

namespace orvo::sparse {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

std::span<const double> Values(const Eigen::MatrixXd& columns) {
  return {columns.data(), static_cast<size_t>(columns.size())};
}

/// Columns that span the coarse space: the motions cluster by cluster, and the unknowns of the hubs.
Eigen::MatrixXd DenseColumns(const NodePattern& pattern, int32_t firstBorder,
                             const Eigen::MatrixXd& motions) {
  const NodeClusters clusters = ClustersOf(NeighboursOf(pattern, firstBorder), kClusterNodes);
  const std::vector<int64_t> first = pattern.FirstUnknowns();
  std::vector<Eigen::VectorXd> columns;
  for (int32_t cluster = 0; cluster < clusters.Num(); ++cluster) {
    const bool isHub = cluster >= clusters.nFirstHub;
    const int64_t width = isHub ? pattern.vSizes[clusters.Of(cluster)[0]] : motions.cols();
    for (int64_t k = 0; k < width; ++k) {
      Eigen::VectorXd column = Eigen::VectorXd::Zero(first.back());
      for (const int32_t node : clusters.Of(cluster)) {
        const int32_t size = pattern.vSizes[node];
        if (isHub) {
          column[first[node] + k] = 1;
        } else {
          column.segment(first[node], size) = motions.col(k).segment(first[node], size);
        }
      }
      columns.push_back(column);
    }
  }
  Eigen::MatrixXd Z(first.back(), std::ssize(columns));
  for (size_t k = 0; k < columns.size(); ++k) Z.col(static_cast<int64_t>(k)) = columns[k];
  return Z;
}

struct SpaceCase {
  std::string szName;
  NodePattern Pattern;
  int32_t nFirstBorder;
};

std::vector<SpaceCase> SpaceCases() {
  const NodePattern strips = StripPattern(6, 16);
  const auto hub = [](int32_t i, int32_t j) { return j == 60 || j == i + 1; };
  std::vector<int32_t> mixed(30, 6);
  mixed[4] = 11;
  mixed[22] = 8;
  return {{"Strips", strips, 96},
          {"Border", WithBorder(strips, {5, 11}), 96},
          {"Hub", PatternWhere(std::vector<int32_t>(61, 6), hub), 61},
          {"MixedNodes", PatternWhere(mixed, [](int32_t i, int32_t j) { return j - i < 4; }), 30},
          {"OneCluster", StripPattern(2, 5), 10}};
}

TEST(CoarseSpace, CorrectsAsDenseColumnsDo) {
  for (const SpaceCase& c : SpaceCases()) {
    const NodeMatrix matrix = RandomMatrix(c.Pattern);
    const Eigen::MatrixXd N = Dense(matrix), motions = Eigen::MatrixXd::Random(N.rows(), 3);
    const Eigen::MatrixXd Z = DenseColumns(c.Pattern, c.nFirstBorder, motions);
    const Eigen::LLT<Eigen::MatrixXd> E(Z.transpose() * N * Z);
    CoarseSpace space(matrix, c.nFirstBorder, 3);
    EXPECT_EQ(space.ColumnNum(), Z.cols()) << c.szName;
    ASSERT_TRUE(space.Prepare(Values(motions), 1)) << c.szName;
    const Eigen::VectorXd r = Eigen::VectorXd::Random(N.rows()), y = Eigen::VectorXd::Random(N.rows());
    Eigen::VectorXd got = y;
    space.Correct(Values(r), {got.data(), static_cast<size_t>(got.size())}, 1);
    const Eigen::VectorXd wanted = y + Z * E.solve(Z.transpose() * (r - N * y));
    EXPECT_LT((got - wanted).norm(), 1e-11 * wanted.norm()) << c.szName;
    const double along = space.Start(Values(r), {got.data(), static_cast<size_t>(got.size())}, 1);
    const Eigen::VectorXd start = Z * E.solve(Z.transpose() * r);
    EXPECT_LT((got - start).norm(), 1e-11 * start.norm()) << c.szName;
    EXPECT_NEAR(along, r.dot(start), 1e-11 * along) << c.szName;
  }
}

TEST(CoarseSpace, MotionsThatAreNotIndependentCountOnce) {
  const NodePattern pattern = StripPattern(6, 16);
  const NodeMatrix matrix = RandomMatrix(pattern);
  const Eigen::MatrixXd N = Dense(matrix);
  Eigen::MatrixXd motions = Eigen::MatrixXd::Random(N.rows(), 5);
  motions.col(1) = 1e6 * motions.col(0);
  motions.col(3).setZero();
  CoarseSpace space(matrix, 96, 5), small(matrix, 96, 3);
  ASSERT_TRUE(space.Prepare(Values(motions), 1));
  Eigen::MatrixXd left(N.rows(), 3);
  left << motions.col(0), motions.col(2), motions.col(4);
  ASSERT_TRUE(small.Prepare(Values(left), 1));
  const Eigen::VectorXd r = Eigen::VectorXd::Random(N.rows());
  Eigen::VectorXd x(N.rows()), y(N.rows());
  space.Start(Values(r), {x.data(), static_cast<size_t>(x.size())}, 1);
  small.Start(Values(r), {y.data(), static_cast<size_t>(y.size())}, 1);
  EXPECT_LT((x - y).norm(), 1e-11 * y.norm());
}

TEST(CoarseSpace, FollowsTheValues) {
  const NodePattern pattern = StripPattern(6, 16);
  NodeMatrix matrix = RandomMatrix(pattern);
  const Eigen::MatrixXd motions = Eigen::MatrixXd::Random(pattern.UnknownNum(), 3);
  CoarseSpace space(matrix, 96, 3);
  ASSERT_TRUE(space.Prepare(Values(motions), 1));
  const Eigen::VectorXd r = Eigen::VectorXd::Random(motions.rows());
  Eigen::VectorXd x(r.size());
  const double once = space.Start(Values(r), {x.data(), static_cast<size_t>(x.size())}, 1);
  for (int32_t node = 0; node < 96; ++node) {
    for (double& value : matrix.Diagonal(node)) value *= 4;
    for (int64_t k = 0; k < std::ssize(pattern.NeighboursBehind(node)); ++k) {
      for (double& value : matrix.Behind(node, k)) value *= 4;
    }
  }
  ASSERT_TRUE(space.Prepare(Values(motions), 1));
  EXPECT_NEAR(space.Start(Values(r), {x.data(), static_cast<size_t>(x.size())}, 1), once / 4, 1e-12 * once);
}

TEST(CoarseSpace, RefusesWhatIsNoSpace) {
  const NodePattern pattern = StripPattern(3, 8);
  NodeMatrix matrix = RandomMatrix(pattern);
  Eigen::MatrixXd motions = Eigen::MatrixXd::Random(pattern.UnknownNum(), 3);
  CoarseSpace space(matrix, 24, 3);
  EXPECT_FALSE(space.Prepare({}, 1));
  EXPECT_FALSE(space.Prepare(Values(motions).first(motions.rows()), 1));
  for (const double value : {kNan, std::numeric_limits<double>::infinity()}) {
    Eigen::MatrixXd broken = motions;
    broken(7, 1) = value;
    EXPECT_FALSE(space.Prepare(Values(broken), 1)) << value;
    NodeMatrix other = RandomMatrix(pattern);
    other.Find(2, 3)[4] = value;
    EXPECT_FALSE(CoarseSpace(other, 24, 3).Prepare(Values(motions), 1)) << value;
  }
  EXPECT_TRUE(space.Prepare(Values(motions), 1));
  for (int32_t node = 0; node < 24; ++node) {
    for (double& value : matrix.Diagonal(node)) value = -value;
  }
  EXPECT_FALSE(space.Prepare(Values(motions), 1));
}

}  // namespace
}  // namespace orvo::sparse
