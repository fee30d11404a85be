// The iterative solver where it knows the motions of the whole.
#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "solver/sparse/BorderedSolver.h"
#include "solver/sparse/NodeSystems.h"

namespace orvo::sparse {
namespace {

struct Solved {
  PcgResult Result;
  Eigen::VectorXd x;
};

Solved Solve(const BorderedSolver& solver, const Eigen::VectorXd& b, double tolerance, int32_t threads = 1) {
  Solved solved{{}, Eigen::VectorXd::Zero(b.size())};
  const auto size = static_cast<size_t>(b.size());
  solved.Result = solver.Solve({b.data(), size}, {solved.x.data(), size}, {tolerance, 2000}, threads);
  return solved;
}

/// The same for all nodes below `firstBorder`, one for each of six unknowns.
std::vector<double> Shifts(const NodePattern& pattern, int32_t firstBorder) {
  const std::vector<int64_t> first = pattern.FirstUnknowns();
  std::vector<double> motions(static_cast<size_t>(6 * first.back()));
  for (int32_t node = 0; node < firstBorder; ++node) {
    for (int32_t k = 0; k < std::min(6, pattern.vSizes[node]); ++k)
      motions[k * first.back() + first[node] + k] = 1;
  }
  return motions;
}

TEST(BorderedMotions, AgreeWithDenseSolutions) {
  for (const std::vector<int32_t>& border :
       {std::vector<int32_t>{}, {5}, {5, 11, 3}, {64, 64}, {64, 64, 9}}) {
    const NodePattern pattern = WithBorder(StripPattern(5, 14), border);
    const NodeMatrix matrix = WeakNet(pattern, 70, 1e-5);
    const Eigen::MatrixXd N = Dense(matrix);
    BorderedSolver solver(matrix, 70, 6);
    ASSERT_GE(solver.Prepare(1, Shifts(pattern, 70)), 0);
    ASSERT_TRUE(solver.HasCoarseSpace());
    const Eigen::VectorXd b = Eigen::VectorXd::Random(N.rows()), exact = N.llt().solve(b);
    const Solved solved = Solve(solver, b, 1e-11);
    EXPECT_EQ(solved.Result.End, PcgEnd::Reached) << border.size();
    EXPECT_LE(solved.Result.dResidual, 1e-11) << border.size();
    EXPECT_LT((solved.x - exact).norm(), 1e-7 * exact.norm()) << border.size();
  }
}

TEST(BorderedMotions, StepsDoNotGrowWithTheNet) {
  for (const auto& [strips, perStrip] : {std::pair{4, 16}, {4, 64}, {8, 32}, {1, 200}}) {
    const int32_t inner = strips * perStrip;
    const NodePattern pattern = WithBorder(StripPattern(strips, perStrip), {5});
    const NodeMatrix matrix = WeakNet(pattern, inner, 1e-6);
    const Eigen::VectorXd b = Eigen::VectorXd::Random(pattern.UnknownNum());
    BorderedSolver plain(matrix, inner), solver(matrix, inner, 6);
    ASSERT_GE(plain.Prepare(), 0);
    ASSERT_GE(solver.Prepare(1, Shifts(pattern, inner)), 0);
    const Solved without = Solve(plain, b, 1e-6), with = Solve(solver, b, 1e-6);
    EXPECT_EQ(with.Result.End, PcgEnd::Reached) << strips << " x " << perStrip;
    EXPECT_LE(with.Result.nSteps, 12) << strips << " x " << perStrip;
    // The factor of a single strip is exact.
    EXPECT_LE(strips == 1 ? 1 : 4 * with.Result.nSteps, without.Result.nSteps) << strips << " x " << perStrip;
    RecordProperty("steps_" + std::to_string(inner), with.Result.nSteps);
    RecordProperty("steps_without_" + std::to_string(inner), without.Result.nSteps);
  }
}

TEST(BorderedMotions, AFreeNetThatIsDamped) {
  const NodePattern pattern = WithBorder(StripPattern(5, 14), {5});
  Eigen::MatrixXd N = Dense(WeakNet(pattern, 70, 0));
  ASSERT_LT(N.selfadjointView<Eigen::Upper>().eigenvalues()[0], 1e-3);
  N.diagonal() *= 1 + 1e-6;
  const NodeMatrix matrix = Blocks(pattern, N);
  BorderedSolver solver(matrix, 70, 6);
  ASSERT_GE(solver.Prepare(1, Shifts(pattern, 70)), 0);
  const Eigen::VectorXd b = N * Eigen::VectorXd::Random(N.rows());
  const Solved solved = Solve(solver, b, 1e-10);
  EXPECT_EQ(solved.Result.End, PcgEnd::Reached);
  EXPECT_LT((N * solved.x - b).norm(), 1e-8 * b.norm());
}

TEST(BorderedMotions, WithoutFittingMotionsItSolvesAllTheSame) {
  const NodePattern pattern = WithBorder(StripPattern(5, 14), {5});
  const NodeMatrix matrix = RandomMatrix(pattern);
  const Eigen::MatrixXd N = Dense(matrix);
  const Eigen::VectorXd b = Eigen::VectorXd::Random(N.rows()), exact = N.llt().solve(b);
  std::vector<double> motions = Shifts(pattern, 70);
  motions[11] = std::numeric_limits<double>::quiet_NaN();
  BorderedSolver solver(matrix, 70, 6);
  for (const std::span<const double> given :
       {std::span<const double>(motions), {}, std::span<const double>(motions).first(9)}) {
    ASSERT_EQ(solver.Prepare(1, given), 0);
    EXPECT_FALSE(solver.HasCoarseSpace());
    const Solved solved = Solve(solver, b, 1e-12);
    EXPECT_EQ(solved.Result.End, PcgEnd::Reached);
    EXPECT_LT((solved.x - exact).norm(), 1e-9 * exact.norm());
  }
}

/// Strips of nodes, each coupled with its eight neighbours.
NodePattern WidePattern(int32_t strips, int32_t perStrip) {
  std::vector<int64_t> first{0};
  std::vector<int32_t> nodes;
  for (int32_t s = 0; s + 1 < strips; ++s) {
    for (int32_t k = 0; k + 1 < perStrip; ++k) {
      const int32_t i = s * perStrip + k;
      nodes.insert(nodes.end(), {i, i + 1, i + perStrip, i + perStrip + 1});
      first.push_back(std::ssize(nodes));
    }
  }
  return PatternOfMeetings(std::vector<int32_t>(static_cast<size_t>(strips) * perStrip, 6), first, nodes);
}

/// Differences of neighbours with weights of their own, and a weak datum; made without the dense form.
NodeMatrix WideNet(const NodePattern& pattern, double datum) {
  NodeMatrix matrix(pattern);
  for (int32_t node = 0; node < pattern.NodeNum(); ++node) {
    int64_t place = 0;
    for (int32_t k = 0; k < 6; ++k) matrix.Diagonal(node)[k * 7] += datum;
    for (const int32_t other : pattern.NeighboursBehind(node)) {
      for (int32_t k = 0; k < 6; ++k) {
        const double weight = 0.5 + ((node * 31 + other * 17 + k) % 64) / 64.0;
        matrix.Behind(node, place)[k * 7] = -weight;
        matrix.Diagonal(node)[k * 7] += weight;
        matrix.Diagonal(other)[k * 7] += weight;
      }
      ++place;
    }
  }
  return matrix;
}

TEST(BorderedMotions, SameBitsOnAnyNumberOfThreads) {
  const NodePattern pattern = WidePattern(24, 500);
  const int32_t nodes = pattern.NodeNum();
  const NodeMatrix matrix = WideNet(pattern, 1e-6);
  Eigen::VectorXd b(6 * nodes);
  for (int64_t i = 0; i < b.size(); ++i) b[i] = static_cast<double>(i * 7919 % 1009) - 500;
  BorderedSolver one(matrix, nodes, 6);
  ASSERT_GE(one.Prepare(1, Shifts(pattern, nodes)), 0);
  const Solved once = Solve(one, b, 1e-6, 1);
  EXPECT_EQ(once.Result.End, PcgEnd::Reached);
  EXPECT_LE(once.Result.nSteps, 20);
  RecordProperty("steps", once.Result.nSteps);
  for (const int32_t threads : {2, 4}) {
    BorderedSolver other(matrix, nodes, 6);
    ASSERT_GE(other.Prepare(threads, Shifts(pattern, nodes)), 0);
    const Solved again = Solve(other, b, 1e-6, threads);
    EXPECT_EQ(once.Result.nSteps, again.Result.nSteps) << threads;
    EXPECT_EQ(0, std::memcmp(once.x.data(), again.x.data(), static_cast<size_t>(b.size()) * sizeof(double)))
        << threads;
  }
}

}  // namespace
}  // namespace orvo::sparse
