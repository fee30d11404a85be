#include "solver/PcgLoop.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "solver/BlockSystems.h"
#include "solver/PcgReference.h"

namespace orvo {
namespace {

using test::BlockSystem;
using test::ReferenceRun;
using test::SystemShape;

struct Solution {
  PcgOutcome Outcome;
  std::vector<double> x;
  std::vector<PcgIteration> vIterations;
};

Solution Solve(const BlockSystem& system, const PcgLimits& limits, std::vector<double> start = {}) {
  Solution run;
  run.x = std::move(start);
  run.x.resize(static_cast<size_t>(system.nOrder), 0.0);
  WorkerPool pool(1);
  BlockOperator matrix(system.vBlocks, system.vRowPosition, system.nOrder);
  const BlockPreconditioner preconditioner(matrix, pool);
  run.Outcome = SolvePcg(matrix, preconditioner, system.vConst.data(), run.x.data(), limits, pool,
                         [&](const PcgIteration& iteration) { run.vIterations.push_back(iteration); });
  return run;
}

/// Relative to the size of the figure; the loss of conjugacy is rounding noise on the scale of |p| |q|.
void ExpectSameFigures(const std::vector<PcgIteration>& run, const ReferenceRun& reference) {
  ASSERT_EQ(run.size(), reference.vLines.size());
  for (size_t k = 0; k < run.size(); ++k) {
    const double* expected = reference.vLines[k].dValues;
    const double values[] = {run[k].fResidualNorm, run[k].fDirectionNorm, run[k].fConjugacyLoss,
                             run[k].fAlpha,        run[k].fBeta,          run[k].fEta};
    for (const int i : {0, 1, 3, 4, 5})
      EXPECT_NEAR(values[i], expected[i], 1e-9 * std::fabs(expected[i])) << k;
    EXPECT_NEAR(values[2], expected[2], 1e-9 * expected[0] * expected[1] + 1e-12) << k;
  }
}

class PcgLoopTest : public testing::TestWithParam<SystemShape> {};
INSTANTIATE_TEST_SUITE_P(Layouts, PcgLoopTest, testing::ValuesIn(test::AllShapes()),
                         [](const auto& test) { return test.param.szName; });

TEST_P(PcgLoopTest, TakesTheStepsOfTheObviousForm) {
  for (const double weight : {0.3, 1.0, 3.0}) {
    const BlockSystem system = test::MakeSystem(GetParam(), 1, weight);
    for (const double forcing : {0.1, 1e-4}) {
      const ReferenceRun reference =
          test::ReferencePcg(system, std::vector<double>(system.vConst.size(), 0.0), 300, forcing);
      const Solution run = Solve(system, {300, forcing});
      ASSERT_GE(run.Outcome.nIterationNum, 1);
      ExpectSameFigures(run.vIterations, reference);
      for (size_t i = 0; i < run.x.size(); ++i) EXPECT_NEAR(run.x[i], reference.x[i], 1e-9);
    }
  }
}

TEST_P(PcgLoopTest, StartsFromWhatXHolds) {
  const BlockSystem system = test::MakeSystem(GetParam(), 2);
  std::vector<double> start;
  for (int32_t i = 0; i < system.nOrder; ++i) start.push_back(0.01 * i);
  const ReferenceRun reference = test::ReferencePcg(system, start, 300, 0.01);
  const Solution run = Solve(system, {300, 0.01}, start);
  ExpectSameFigures(run.vIterations, reference);
}

TEST_P(PcgLoopTest, ComesToTheDenseSolutionAsFarAsItIsAsked) {
  const BlockSystem system = test::MakeSystem(GetParam(), 3, 2.0);
  const std::vector<double> dense = system.Dense();
  const std::vector<double> expected = test::SolveDense(dense, system.vConst);
  double largest = 0.0, bNorm = 0.0;
  for (const double value : expected) largest = std::max(largest, std::fabs(value));
  for (const double value : system.vConst) bNorm += value * value;

  const Solution exact = Solve(system, {3000, 1e-12});
  EXPECT_LE(exact.vIterations.back().fEta, 1e-12);
  for (size_t i = 0; i < expected.size(); ++i) EXPECT_NEAR(exact.x[i], expected[i], 1e-9 * largest);

  const Solution rough = Solve(system, {300, 0.1});
  double remainder = 0.0;
  const size_t n = expected.size();
  for (size_t i = 0; i < n; ++i) {
    double r = system.vConst[i];
    for (size_t j = 0; j < n; ++j) r -= dense[i * n + j] * rough.x[j];
    remainder += r * r;
  }
  EXPECT_LE(std::sqrt(remainder / bNorm), 0.1);
  EXPECT_NEAR(std::sqrt(remainder / bNorm), rough.vIterations.back().fEta, 1e-9);
}

const SystemShape kShape{"EopIop", LayoutEopIop, 40, 3, 0, 0};

TEST(PcgLoop, EndsWhenTheForcingTermEqualsTheLimit) {
  const BlockSystem system = test::MakeSystem(kShape, 4);
  const double first = Solve(system, {1, 0.0}).vIterations[0].fEta;
  EXPECT_EQ(Solve(system, {300, first}).Outcome.nIterationNum, 1);
  EXPECT_GT(Solve(system, {300, std::nextafter(first, 0.0)}).Outcome.nIterationNum, 1);
}

TEST(PcgLoop, OneStepSolvesABlockDiagonalMatrix) {
  BlockSystem system = test::MakeSystem(kShape, 5);
  for (SubMatrix& block : system.vBlocks) {
    if (block.nRow != block.nCol) test::EmptyBlock(block);
  }
  const Solution run = Solve(system, {300, 0.1});
  EXPECT_EQ(run.Outcome.nIterationNum, 1);
  EXPECT_FALSE(run.Outcome.bExhausted);
  EXPECT_LT(run.vIterations[0].fEta, 1e-12);
}

TEST(PcgLoop, ZeroConstantVectorEndsAfterOneIterationWithNotANumbers) {
  BlockSystem system = test::MakeSystem(kShape, 6);
  std::fill(system.vConst.begin(), system.vConst.end(), 0.0);
  const Solution run = Solve(system, {300, 0.1});
  EXPECT_EQ(run.Outcome.nIterationNum, 1);
  EXPECT_FALSE(run.Outcome.bExhausted);
  EXPECT_TRUE(std::isnan(run.vIterations[0].fAlpha));
  EXPECT_TRUE(std::isnan(run.vIterations[0].fEta));
  for (const double value : run.x) EXPECT_TRUE(std::isnan(value));
}

TEST(PcgLoop, ZeroMatrixEndsAfterOneIteration) {
  BlockSystem system = test::MakeSystem(kShape, 7);
  for (SubMatrix& block : system.vBlocks) std::fill_n(block.pData, block.nRows * block.nCols, 0.0);
  const Solution run = Solve(system, {300, 0.1});
  EXPECT_EQ(run.Outcome.nIterationNum, 1);
  EXPECT_TRUE(std::isnan(run.vIterations[0].fEta));
}

TEST(PcgLoop, NotANumberInTheMatrixEndsTheLoop) {
  BlockSystem system = test::MakeSystem(kShape, 8);
  system.vBlocks[3].pData[1] = std::nan("");
  const Solution run = Solve(system, {300, 0.1});
  EXPECT_EQ(run.Outcome.nIterationNum, 1);
  EXPECT_FALSE(run.Outcome.bExhausted);
}

TEST(PcgLoop, ExhaustedLimitOfThreeReturnsTheBestIterate) {
  const BlockSystem system = test::MakeSystem(kShape, 9, 10.0);
  // The residual does not fall in every step: look for a limit at one where it grew.
  const Solution all = Solve(system, {200, -1.0});
  std::vector<double> etas;
  for (const PcgIteration& iteration : all.vIterations) etas.push_back(iteration.fEta);
  int32_t limit = 0;
  for (int32_t k = 3; k <= static_cast<int32_t>(etas.size()) && limit == 0; ++k) {
    const auto end = etas.begin() + k;
    if (std::min_element(etas.begin(), end) != end - 1) limit = k;
  }
  ASSERT_GE(limit, 3) << "the residual fell in every step";
  const auto best = static_cast<int32_t>(std::min_element(etas.begin(), etas.begin() + limit) - etas.begin());

  const Solution exhausted = Solve(system, {limit, -1.0});
  EXPECT_TRUE(exhausted.Outcome.bExhausted);
  EXPECT_EQ(exhausted.Outcome.fBestEta, etas[static_cast<size_t>(best)]);
  const ReferenceRun reference =
      test::ReferencePcg(system, std::vector<double>(system.vConst.size(), 0.0), limit, -1.0);
  EXPECT_TRUE(reference.bExhausted);
  for (size_t i = 0; i < reference.x.size(); ++i) EXPECT_NEAR(exhausted.x[i], reference.x[i], 1e-9);
  // The iterate itself, not the one of the last step.
  const Solution stopped = Solve(system, {300, etas[static_cast<size_t>(best)]});
  EXPECT_EQ(exhausted.x, stopped.x);
}

TEST(PcgLoop, LimitsBelowThreeKeepTheLastIterate) {
  const BlockSystem system = test::MakeSystem(kShape, 10, 10.0);
  for (const int32_t limit : {1, 2}) {
    const Solution run = Solve(system, {limit, 1e-14});
    EXPECT_EQ(run.Outcome.nIterationNum, limit);
    EXPECT_FALSE(run.Outcome.bExhausted);
    const ReferenceRun reference =
        test::ReferencePcg(system, std::vector<double>(system.vConst.size(), 0.0), limit, 1e-14);
    for (size_t i = 0; i < reference.x.size(); ++i) EXPECT_NEAR(run.x[i], reference.x[i], 1e-9);
  }
}

TEST(PcgLoop, LimitOfZeroLeavesTheStart) {
  const BlockSystem system = test::MakeSystem(kShape, 11);
  for (const int32_t limit : {0, -5}) {
    const Solution run = Solve(system, {limit, 0.1}, std::vector<double>(system.vConst.size(), 0.5));
    EXPECT_EQ(run.Outcome.nIterationNum, 0);
    EXPECT_FALSE(run.Outcome.bExhausted);
    for (const double value : run.x) EXPECT_EQ(value, 0.5);
  }
}

TEST(PcgLoop, ForcingTermsThatNeverFallBelowTheStartGiveZeros) {
  BlockSystem system = test::MakeSystem(kShape, 12);
  // A start so far off that three steps don't bring it near.
  const std::vector<double> start(system.vConst.size(), 1e12);
  const Solution run = Solve(system, {3, 0.1}, start);
  ASSERT_GT(run.vIterations.back().fEta, 100.0);
  EXPECT_TRUE(run.Outcome.bExhausted);
  EXPECT_EQ(run.Outcome.fBestEta, 100.0);
  for (const double value : run.x) EXPECT_EQ(value, 0.0);
}

TEST(PcgLoop, SingularDiagonalBlockLeavesItsUnknownsAlone) {
  BlockSystem system = test::MakeSystem(kShape, 13);
  for (SubMatrix& block : system.vBlocks) {
    if (block.nRow == 4 || block.nCol == 4) std::fill_n(block.pData, block.nRows * block.nCols, 0.0);
  }
  for (int32_t i = 0; i < 6; ++i) system.vConst[static_cast<size_t>(24 + i)] = 0.0;
  const Solution run = Solve(system, {300, 1e-6});
  EXPECT_LE(run.vIterations.back().fEta, 1e-6);
  for (int32_t i = 0; i < 6; ++i) EXPECT_EQ(run.x[static_cast<size_t>(24 + i)], 0.0);
}

}  // namespace
}  // namespace orvo
