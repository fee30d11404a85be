#include <gtest/gtest.h>

#include <cmath>
#include <cstdarg>
#include <cstring>
#include <random>
#include <vector>

#include "base/OutputFolder.h"
#include "solver/BlockSystems.h"
#include "solver/PcgReference.h"
#include "solver/SparseSolve.h"
#include "support/CapturedLog.h"

namespace orvo {
namespace {

using test::BlockSystem;
using test::ReferenceRun;
using test::SystemShape;

const SystemShape kShape{"EopIop", LayoutEopIop, 40, 3, 0, 0};

__attribute__((format(printf, 1, 2))) std::string Format(const char* format, ...) {
  char text[600];
  std::va_list values;
  va_start(values, format);
  std::vsnprintf(text, sizeof text, format, values);
  va_end(values);
  return text;
}

struct SparseRun {
  std::vector<double> x;
  std::string szLog;
};

SparseRun Solve(const BlockSystem& system, int32_t maxIterationNum = 300, double forcing = 0.1,
                int processors = 1) {
  test::CapturedLog console;
  OutputFolder folder;
  RunLog log(console.Console(), folder);
  SparseRun run;
  run.x.assign(static_cast<size_t>(system.nOrder), 0.0);
  SolveSparse({system.vBlocks, system.vRowPosition, system.nOrder, processors}, system.vConst,
              {maxIterationNum, forcing}, log, run.x.data());
  run.szLog = console.Text();
  return run;
}

class SparseSolveTest : public testing::TestWithParam<SystemShape> {};
INSTANTIATE_TEST_SUITE_P(Layouts, SparseSolveTest, testing::ValuesIn(test::AllShapes()),
                         [](const auto& test) { return test.param.szName; });

TEST_P(SparseSolveTest, LogsALinePerIterationAndTheirNumber) {
  const BlockSystem system = test::MakeSystem(GetParam(), 1, 2.0);
  const ReferenceRun reference =
      test::ReferencePcg(system, std::vector<double>(system.vConst.size(), 0.0), 300, 0.1);
  const SparseRun run = Solve(test::MakeSystem(GetParam(), 1, 2.0));
  for (size_t i = 0; i < run.x.size(); ++i) EXPECT_NEAR(run.x[i], reference.x[i], 1e-9);

  std::vector<std::string> lines;
  for (size_t begin = 0, end; (end = run.szLog.find('\n', begin)) != std::string::npos; begin = end + 1) {
    lines.push_back(run.szLog.substr(begin, end - begin));
  }
  ASSERT_EQ(lines.size(), reference.vLines.size() + 1);
  for (size_t k = 0; k < reference.vLines.size(); ++k) {
    double values[6] = {};
    ASSERT_EQ(std::sscanf(lines[k].c_str(), ">>Matrix vector R %lf %lf %lf %lf %lf %lf", values, values + 1,
                          values + 2, values + 3, values + 4, values + 5),
              6);
    for (int i = 0; i < 6; ++i) EXPECT_NEAR(values[i], reference.vLines[k].dValues[i], 2e-9) << k << " " << i;
    EXPECT_EQ(lines[k], Format(">>Matrix vector R %.9lf\t %.9lf\t %.9lf\t %.9lf\t %.9lf\t %.9lf", values[0],
                               values[1], values[2], values[3], values[4], values[5]));
  }
  EXPECT_EQ(lines.back(), ">>PCG Iteration times:" + std::to_string(reference.vLines.size()));
}

TEST_P(SparseSolveTest, ExhaustedLimitIsLoggedOnce) {
  const BlockSystem system = test::MakeSystem(GetParam(), 2, 4.0);
  const ReferenceRun reference =
      test::ReferencePcg(system, std::vector<double>(system.vConst.size(), 0.0), 3, 1e-12);
  const SparseRun run = Solve(test::MakeSystem(GetParam(), 2, 4.0), 3, 1e-12);
  const std::string tail = Format(">>Get the smallest forcing sequence coef:%lf\n", reference.fBestEta) +
                           ">>PCG Iteration times:3\n";
  EXPECT_EQ(run.szLog.substr(run.szLog.size() - tail.size()), tail);
  EXPECT_EQ(run.szLog.find("smallest"), run.szLog.rfind("smallest"));
  for (size_t i = 0; i < run.x.size(); ++i) EXPECT_NEAR(run.x[i], reference.x[i], 1e-9);
}

TEST(SparseSolve, LimitsOfOneAndTwoLogNoBestIterate) {
  for (const int32_t limit : {1, 2}) {
    const SparseRun run = Solve(test::MakeSystem(kShape, 3, 4.0), limit, 1e-12);
    EXPECT_EQ(run.szLog.find("smallest"), std::string::npos);
    EXPECT_NE(run.szLog.find(Format(">>PCG Iteration times:%d\n", limit)), std::string::npos);
  }
}

TEST(SparseSolve, LimitOf300IsExhaustedWithoutAReachableForcingTerm) {
  const SparseRun run = Solve(test::MakeSystem(kShape, 4), 300, -1.0);
  EXPECT_NE(run.szLog.find(">>Get the smallest forcing sequence coef:0.000000\n>>PCG Iteration times:300\n"),
            std::string::npos);
  for (const double value : run.x) ASSERT_TRUE(std::isfinite(value));
}

TEST(SparseSolve, ZeroConstantVectorGivesNotANumbers) {
  BlockSystem system = test::MakeSystem(kShape, 5);
  std::fill(system.vConst.begin(), system.vConst.end(), 0.0);
  const SparseRun run = Solve(system);
  EXPECT_NE(run.szLog.find(">>PCG Iteration times:1\n"), std::string::npos);
  EXPECT_EQ(run.szLog.find("smallest"), std::string::npos);
  for (const double value : run.x) EXPECT_TRUE(std::isnan(value));
}

TEST(SparseSolve, ComplainsAtEveryUseOfAnInvalidPreconditioner) {
  BlockSystem system = test::MakeSystem(kShape, 6);
  test::FillBlock(*system.Find(42, 42), 42, 42, 5, 4, std::vector<double>(20, 1.0));
  const SparseRun run = Solve(system, 2, 1e-12);
  const std::string complaint = "Error!Preconditioner invalid!\n";
  EXPECT_EQ(run.szLog.find(complaint + complaint + ">>Matrix vector R "), 0u);
  EXPECT_NE(run.szLog.find("\n" + complaint + ">>Matrix vector R ", complaint.size() * 2), std::string::npos);
}

TEST(SparseSolve, GivesTheSameBytesWithAnyNumberOfProcessors) {
  const SystemShape shape{"Wide", LayoutEopIop, 500, 3, 0, 0};
  // Enough values that several processors are worth their while.
  const auto make = [&] {
    BlockSystem system;
    const std::vector<int32_t> sizes = test::RowSizes(shape);
    system.vRowPosition = test::RowPositions(sizes, system.nOrder);
    std::mt19937 random(7);
    std::normal_distribution<double> normal;
    const auto rows = static_cast<int32_t>(sizes.size());
    for (int32_t row = 0; row < rows; ++row) {
      system.vRows.emplace_back();
      for (int32_t col = row; col < rows; col = col < row + 60 || col >= 499 ? col + 1 : 499) {
        const int32_t r = sizes[static_cast<size_t>(row)], c = sizes[static_cast<size_t>(col)];
        std::vector<double> values(static_cast<size_t>(r * c));
        for (double& value : values) value = row == col ? 0.0 : 0.2 * normal(random);
        for (int32_t i = 0; row == col && i < r; ++i) values[static_cast<size_t>(i * r + i)] = 50.0 + i;
        system.vRows.back().vColumns.push_back(col);
        system.vBlocks.emplace_back();
        test::FillBlock(system.vBlocks.back(), row, col, r, c, values);
      }
    }
    for (int32_t i = 0; i < system.nOrder; ++i) system.vConst.push_back(normal(random));
    return system;
  };
  const SparseRun one = Solve(make(), 300, 1e-8, 1);
  EXPECT_NE(one.szLog.find(">>PCG Iteration times:"), std::string::npos);
  for (const int processors : {2, 5}) {
    const SparseRun many = Solve(make(), 300, 1e-8, processors);
    EXPECT_EQ(many.szLog, one.szLog);
    EXPECT_EQ(std::memcmp(many.x.data(), one.x.data(), one.x.size() * sizeof(double)), 0) << processors;
  }
}

TEST(SparseSolve, OfNothingDoesNoHarm) {
  OutputFolder folder;
  RunLog log(nullptr, folder);
  double x = 3.0;
  for (const int32_t order : {0, 12}) {
    SolveSparse({{}, {}, order, 1}, {}, {300, 0.1}, log, nullptr);
    SolveSparse({{}, {}, order, 1}, {}, {300, 0.1}, log, &x);
    EXPECT_EQ(x, 3.0) << order;
  }
}

TEST_P(SparseSolveTest, MatrixAndPreconditionerByThemselves) {
  const BlockSystem system = test::MakeSystem(GetParam(), 8);
  std::vector<double> out(system.vConst.size(), NAN), expected(out);
  MultiplySparse({system.vBlocks, system.vRowPosition, system.nOrder, 2}, system.vConst.data(), out.data());
  test::MultiplyNormalMatrix(&system, system.vConst.data(), expected.data());
  for (size_t i = 0; i < out.size(); ++i) EXPECT_NEAR(out[i], expected[i], 1e-12);
  EXPECT_TRUE(PreconditionSparse({system.vBlocks, system.vRowPosition, system.nOrder, 2},
                                 system.vConst.data(), out.data()));
  test::ApplyPreconditioner(&system, system.vConst.data(), expected.data());
  for (size_t i = 0; i < out.size(); ++i) EXPECT_NEAR(out[i], expected[i], 1e-13);
}

TEST(MultiplyRowsByVector, ResultsAndRefusals) {
  const double matrix[6] = {1, 2, 3, 4, 5, 6}, vector[3] = {1, 10, 100};
  double out[2] = {-1, -1}, expected[2];
  EXPECT_EQ(MultiplyRowsByVector(matrix, 2, 3, nullptr, 3, out), 0);
  EXPECT_EQ(MultiplyRowsByVector(matrix, 2, 3, vector, 3, nullptr), 0);
  EXPECT_EQ(MultiplyRowsByVector(nullptr, 2, 3, vector, 3, out), 0);
  EXPECT_EQ(MultiplyRowsByVector(matrix, 2, 3, vector, 2, out), 0);
  EXPECT_EQ(out[0], -1);
  EXPECT_EQ(MultiplyRowsByVector(matrix, 2, 3, vector, 3, out), 1);
  EXPECT_EQ(test::MultiplyRowsByVector(matrix, 2, 3, vector, 3, expected), 1);
  EXPECT_EQ(out[0], 321);
  EXPECT_EQ(out[1], 654);
  EXPECT_EQ(out[0], expected[0]);
  EXPECT_EQ(out[1], expected[1]);
  EXPECT_EQ(MultiplyRowsByVector(matrix, 0, 3, vector, 3, out), 1);
  EXPECT_EQ(out[0], 321);
}

}  // namespace
}  // namespace orvo
