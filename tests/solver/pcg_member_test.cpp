#include <gtest/gtest.h>

#include <cmath>
#include <cstdarg>
#include <cstring>
#include <random>
#include <vector>

#include "block/BlockFiles.h"
#include "run/BundleAdjustment.h"
#include "solver/BlockSystems.h"
#include "solver/PcgReference.h"

namespace orvo {
namespace {

using test::BlockSystem;
using LoggedBlock = test::Logged<CBundleAdjustment>;
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

struct MemberRun {
  int nResult = 0;
  std::vector<double> x;
  std::string szLog;
};

MemberRun Solve(const SystemShape& shape, BlockSystem system, int32_t maxIterationNum = 300,
                double forcing = 0.1, int processors = 1) {
  LoggedBlock block;
  block->System = test::MadeUpPlatform(int64_t{1} << 40, processors);
  block->Limits.Max_PCG_Iteration_Num = maxIterationNum;
  block->Limits.PCG_IGN_Converge_Threshold = forcing;
  MemberRun run;
  run.x.assign(static_cast<size_t>(system.nOrder), 0.0);
  test::Install(std::move(system), shape, *block);
  run.nResult = block->SolveByPcg(run.x.data());
  run.szLog = block.Log();
  return run;
}

class SolveByPcgTest : public testing::TestWithParam<SystemShape> {};
INSTANTIATE_TEST_SUITE_P(Layouts, SolveByPcgTest, testing::ValuesIn(test::AllShapes()),
                         [](const auto& test) { return test.param.szName; });

TEST_P(SolveByPcgTest, LogsALinePerIterationAndTheirNumber) {
  const BlockSystem system = test::MakeSystem(GetParam(), 1, 2.0);
  const ReferenceRun reference =
      test::ReferencePcg(system, std::vector<double>(system.vConst.size(), 0.0), 300, 0.1);
  const MemberRun run = Solve(GetParam(), test::MakeSystem(GetParam(), 1, 2.0));
  EXPECT_EQ(run.nResult, 1);
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

TEST_P(SolveByPcgTest, ExhaustedLimitIsLoggedOnce) {
  const BlockSystem system = test::MakeSystem(GetParam(), 2, 4.0);
  const ReferenceRun reference =
      test::ReferencePcg(system, std::vector<double>(system.vConst.size(), 0.0), 3, 1e-12);
  const MemberRun run = Solve(GetParam(), test::MakeSystem(GetParam(), 2, 4.0), 3, 1e-12);
  const std::string tail = Format(">>Get the smallest forcing sequence coef:%lf\n", reference.fBestEta) +
                           ">>PCG Iteration times:3\n";
  EXPECT_EQ(run.szLog.substr(run.szLog.size() - tail.size()), tail);
  EXPECT_EQ(run.szLog.find("smallest"), run.szLog.rfind("smallest"));
  for (size_t i = 0; i < run.x.size(); ++i) EXPECT_NEAR(run.x[i], reference.x[i], 1e-9);
}

TEST(SolveByPcg, LimitsOfOneAndTwoLogNoBestIterate) {
  for (const int32_t limit : {1, 2}) {
    const MemberRun run = Solve(kShape, test::MakeSystem(kShape, 3, 4.0), limit, 1e-12);
    EXPECT_EQ(run.szLog.find("smallest"), std::string::npos);
    EXPECT_NE(run.szLog.find(Format(">>PCG Iteration times:%d\n", limit)), std::string::npos);
  }
}

TEST(SolveByPcg, LimitOf300IsExhaustedWithoutAReachableForcingTerm) {
  const MemberRun run = Solve(kShape, test::MakeSystem(kShape, 4), 300, -1.0);
  EXPECT_NE(run.szLog.find(">>Get the smallest forcing sequence coef:0.000000\n>>PCG Iteration times:300\n"),
            std::string::npos);
  for (const double value : run.x) ASSERT_TRUE(std::isfinite(value));
}

TEST(SolveByPcg, ZeroConstantVectorReturnsOneWithNotANumbers) {
  BlockSystem system = test::MakeSystem(kShape, 5);
  std::fill(system.vConst.begin(), system.vConst.end(), 0.0);
  const MemberRun run = Solve(kShape, std::move(system));
  EXPECT_EQ(run.nResult, 1);
  EXPECT_NE(run.szLog.find(">>PCG Iteration times:1\n"), std::string::npos);
  EXPECT_EQ(run.szLog.find("smallest"), std::string::npos);
  for (const double value : run.x) EXPECT_TRUE(std::isnan(value));
}

TEST(SolveByPcg, ComplainsAtEveryUseOfAnInvalidPreconditioner) {
  BlockSystem system = test::MakeSystem(kShape, 6);
  test::FillBlock(*system.Find(42, 42), 42, 42, 5, 4, std::vector<double>(20, 1.0));
  const MemberRun run = Solve(kShape, std::move(system), 2, 1e-12);
  const std::string complaint = "Error!Preconditioner invalid!\n";
  EXPECT_EQ(run.nResult, 1);
  EXPECT_EQ(run.szLog.find(complaint + complaint + ">>Matrix vector R "), 0u);
  EXPECT_NE(run.szLog.find("\n" + complaint + ">>Matrix vector R ", complaint.size() * 2), std::string::npos);
}

TEST(SolveByPcg, GivesTheSameBytesWithAnyNumberOfProcessors) {
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
  const MemberRun one = Solve(shape, make(), 300, 1e-8, 1);
  EXPECT_NE(one.szLog.find(">>PCG Iteration times:"), std::string::npos);
  for (const int processors : {2, 5}) {
    const MemberRun many = Solve(shape, make(), 300, 1e-8, processors);
    EXPECT_EQ(many.szLog, one.szLog);
    EXPECT_EQ(std::memcmp(many.x.data(), one.x.data(), one.x.size() * sizeof(double)), 0) << processors;
  }
}

TEST(SolveByPcg, OfNothingDoesNoHarm) {
  LoggedBlock block;
  double x = 3.0;
  EXPECT_EQ(block->SolveByPcg(nullptr), 1);
  EXPECT_EQ(block->SolveByPcg(&x), 1);
  EXPECT_EQ(x, 3.0);
  block->Unknowns.nUnknownNum = 12;
  EXPECT_EQ(block->SolveByPcg(&x), 1);
  EXPECT_EQ(x, 3.0);
}

}  // namespace
}  // namespace orvo
