#include "solver/sparse/BorderedSolver.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>

#include "solver/sparse/NodeSystems.h"

namespace orvo::sparse {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

struct BorderCase {
  std::string szName;
  NodePattern Pattern;
  int32_t nFirstBorder;
  bool bDeflated;
};

std::vector<BorderCase> BorderCases() {
  const NodePattern strips = StripPattern(4, 7);
  const std::vector<int32_t> mixed{6, 6, 22, 6, 7, 6, 6, 12};
  return {{"NoBorder", strips, 28, false},
          {"Camera", WithBorder(strips, {5}), 28, true},
          {"ThreeCameras", WithBorder(strips, {5, 11, 3}), 28, true},
          {"MixedNodes", WithBorder(PatternWhere(mixed, [](int32_t i, int32_t j) { return j - i < 4; }), {8}),
           8, true},
          {"Widest", WithBorder(strips, {64, 64}), 28, true},
          {"TooWide", WithBorder(strips, {64, 64, 1}), 28, false},
          {"AllBorder", WithBorder(Chain(4, 6), {5}), 0, true},
          {"AllBorderTooWide", WithBorder(Chain(30, 6), {5}), 0, false},
          {"OneNode", Chain(1, 6), 1, false},
          {"OneBorderNode", Chain(1, 6), 0, true},
          {"BeyondTheEnds", strips, 99, false},
          {"Below", Chain(4, 6), -3, true},
          {"Empty", Chain(0, 6), 0, false}};
}

struct Solved {
  PcgResult Result;
  Eigen::VectorXd x;
};

Solved Solve(const BorderedSolver& solver, const Eigen::VectorXd& b, const PcgLimits& limits,
             int32_t threads = 1) {
  Solved solved{{}, Eigen::VectorXd::Constant(b.size(), kNan)};
  const auto size = static_cast<size_t>(b.size());
  solved.Result = solver.Solve({b.data(), size}, {solved.x.data(), size}, limits, threads);
  return solved;
}

TEST(BorderedSolver, AgreesWithDenseSolutions) {
  for (const BorderCase& c : BorderCases()) {
    const NodeMatrix matrix = RandomMatrix(c.Pattern);
    const Eigen::MatrixXd N = Dense(matrix);
    BorderedSolver solver(matrix, c.nFirstBorder);
    EXPECT_EQ(solver.IsDeflated(), c.bDeflated) << c.szName;
    ASSERT_EQ(solver.Prepare(), 0) << c.szName;
    const Eigen::VectorXd b = Eigen::VectorXd::Random(N.rows());
    const Solved solved = Solve(solver, b, {1e-12, 500});
    EXPECT_EQ(solved.Result.End, PcgEnd::Reached) << c.szName;
    EXPECT_LE(solved.Result.dResidual, 1e-12) << c.szName;
    if (b.size() == 0) continue;
    const Eigen::VectorXd exact = N.llt().solve(b);
    EXPECT_LT((solved.x - exact).cwiseAbs().maxCoeff(), 1e-9 * exact.cwiseAbs().maxCoeff()) << c.szName;
  }
}

TEST(BorderedSolver, NoStepsWhereTheSpaceHoldsAll) {
  const NodePattern chain = WithBorder(Chain(12, 6), {5, 9});
  const NodeMatrix matrix = RandomMatrix(chain);
  // The factor of the inner nodes is exact, and a border of all nodes is the whole space.
  for (const auto& [firstBorder, steps] : {std::pair{12, 1}, {0, 0}}) {
    BorderedSolver solver(matrix, firstBorder);
    ASSERT_EQ(solver.Prepare(), 0);
    const Solved solved = Solve(solver, Eigen::VectorXd::Ones(86), {1e-10, 10});
    EXPECT_EQ(solved.Result.End, PcgEnd::Reached) << firstBorder;
    EXPECT_EQ(solved.Result.nSteps, steps) << firstBorder;
  }
}

TEST(BorderedSolver, LongWavesTakeFewSteps) {
  const NodePattern inner = StripPattern(6, 16);
  const NodePattern pattern = WithBorder(inner, {5});
  const NodeMatrix matrix = WeakNet(pattern, 96, 1e-5);
  const Eigen::MatrixXd N = Dense(matrix);
  const Eigen::VectorXd b = Eigen::VectorXd::Random(N.rows()), exact = N.llt().solve(b);
  const NodeProduct product(matrix);
  IncompleteFactor blocks(pattern, 0, {});
  ASSERT_EQ(blocks.Factor(matrix), 0);
  std::vector<double> x(static_cast<size_t>(b.size()));
  const PcgResult byBlocks =
      SolvePcg([&](std::span<const double> v, std::span<double> y) { product.Multiply(v, y); },
               [&](std::span<const double> v, std::span<double> y) {
                 std::copy(v.begin(), v.end(), y.begin());
                 blocks.Solve(y);
               },
               {}, {}, 0, {b.data(), x.size()}, x, {1e-6, 2000});
  ASSERT_EQ(byBlocks.End, PcgEnd::Reached);
  BorderedSolver solver(matrix, 96);
  ASSERT_EQ(solver.Prepare(), 0);
  const Solved solved = Solve(solver, b, {1e-6, 500});
  EXPECT_EQ(solved.Result.End, PcgEnd::Reached);
  EXPECT_LT(2 * solved.Result.nSteps, byBlocks.nSteps);
  EXPECT_LT((solved.x - exact).norm(), 1e-4 * exact.norm());
  RecordProperty("steps_blocks", byBlocks.nSteps);
  RecordProperty("steps_factor", solved.Result.nSteps);
}

TEST(BorderedSolver, SameBitsOnAnyNumberOfThreads) {
  for (const std::vector<int32_t>& border : {std::vector<int32_t>{}, {5, 20}, {64, 64}, {64, 64, 10}}) {
    const NodePattern pattern = WithBorder(StripPattern(5, 12), border);
    const NodeMatrix matrix = WeakNet(pattern, 60, 1e-2);
    const Eigen::VectorXd b = Eigen::VectorXd::Random(pattern.UnknownNum());
    BorderedSolver one(matrix, 60);
    ASSERT_GE(one.Prepare(1), 0);
    const Solved once = Solve(one, b, {1e-6, 500}, 1);
    for (const int32_t threads : {2, 4}) {
      BorderedSolver other(matrix, 60);
      ASSERT_GE(other.Prepare(threads), 0);
      const Solved again = Solve(other, b, {1e-6, 500}, threads);
      EXPECT_EQ(once.Result.nSteps, again.Result.nSteps) << threads;
      EXPECT_EQ(0, std::memcmp(once.x.data(), again.x.data(), static_cast<size_t>(b.size()) * sizeof(double)))
          << border.size() << " " << threads;
    }
  }
}

TEST(BorderedSolver, FollowsTheValuesOnceTheyArePrepared) {
  const NodePattern pattern = WithBorder(StripPattern(3, 6), {5});
  NodeMatrix matrix = RandomMatrix(pattern);
  BorderedSolver solver(matrix, 18);
  ASSERT_EQ(solver.Prepare(), 0);
  for (int32_t node = 0; node < pattern.NodeNum(); ++node) {
    for (double& value : matrix.Diagonal(node)) value *= 3;
  }
  ASSERT_EQ(solver.Prepare(), 0);
  const Eigen::VectorXd b = Eigen::VectorXd::Random(pattern.UnknownNum());
  const Solved solved = Solve(solver, b, {1e-12, 500});
  EXPECT_EQ(solved.Result.End, PcgEnd::Reached);
  EXPECT_LT((Dense(matrix) * solved.x - b).norm(), 1e-10 * b.norm());
}

TEST(BorderedSolver, SingularButDamped) {
  const NodePattern pattern = WithBorder(StripPattern(5, 10), {5});
  Eigen::MatrixXd N = Dense(WeakNet(pattern, 50, 0));
  ASSERT_LT(N.selfadjointView<Eigen::Upper>().eigenvalues()[0], 1e-3);
  N.diagonal() *= 1 + 1e-6;
  const NodeMatrix matrix = Blocks(pattern, N);
  BorderedSolver solver(matrix, 50);
  ASSERT_GE(solver.Prepare(), 0);
  const Eigen::VectorXd b = Eigen::VectorXd::Random(N.rows());
  const Solved solved = Solve(solver, b, {1e-12, 2000});
  EXPECT_EQ(solved.Result.End, PcgEnd::Reached);
  EXPECT_LT((N * solved.x - b).norm(), 1e-9 * b.norm());
}

TEST(BorderedSolver, ShiftedFactorStillSolves) {
  const NodePattern ring =
      PatternWhere(std::vector<int32_t>(4, 6), [](int32_t i, int32_t j) { return j - i == 1 || j - i == 3; });
  const NodeMatrix matrix = Blocks(ring, KershawMatrix(6));
  BorderedSolver solver(matrix, 4);
  EXPECT_GT(solver.Prepare(), 0);
  const Eigen::VectorXd b = Eigen::VectorXd::Random(24);
  const Solved solved = Solve(solver, b, {1e-12, 100});
  EXPECT_EQ(solved.Result.End, PcgEnd::Reached);
  EXPECT_LT((KershawMatrix(6) * solved.x - b).norm(), 1e-10 * b.norm());
}

TEST(BorderedSolver, BrokenValuesEndInABreakdown) {
  const std::vector<std::pair<int32_t, int32_t>> blocks{{0, 0},   {3, 4},   {5, 18},
                                                        {18, 18}, {18, 19}, {17, 19}};
  for (const std::vector<int32_t>& border : {std::vector<int32_t>{5, 5}, {64, 64, 9}}) {
    const NodePattern pattern = WithBorder(StripPattern(3, 6), border);
    for (const auto& [i, j] : blocks) {
      for (const double value : {kNan, std::numeric_limits<double>::infinity()}) {
        NodeMatrix matrix = RandomMatrix(pattern);
        matrix.Find(i, j)[1] = value;
        BorderedSolver solver(matrix, 18);
        solver.Prepare();
        const Solved solved = Solve(solver, Eigen::VectorXd::Ones(pattern.UnknownNum()), {});
        EXPECT_EQ(solved.Result.End, PcgEnd::Breakdown) << i << " " << j << " " << value;
      }
    }
  }
}

TEST(BorderedSolver, LeavesXWhereThereIsNothingToSolveWith) {
  const NodePattern pattern = WithBorder(Chain(4, 6), {5});
  NodeMatrix matrix = RandomMatrix(pattern);
  BorderedSolver solver(matrix, 4);
  const std::vector<double> b(29, 1.0), before(29, 7.0);
  std::vector<double> x = before;
  EXPECT_EQ(solver.Solve(b, x, {}).End, PcgEnd::Breakdown);
  ASSERT_EQ(solver.Prepare(), 0);
  EXPECT_EQ(solver.Solve(std::span(b).first(28), x, {}).End, PcgEnd::Breakdown);
  EXPECT_EQ(solver.Solve(b, std::span(x).first(28), {}).End, PcgEnd::Breakdown);
  matrix.Diagonal(2)[0] = -1;
  EXPECT_LT(solver.Prepare(), 0);
  EXPECT_EQ(solver.Solve(b, x, {}).End, PcgEnd::Breakdown);
  EXPECT_EQ(x, before);
}

}  // namespace
}  // namespace orvo::sparse
