// The residual file of the device path.
#include <gtest/gtest.h>

#include <cmath>

#include "results/Print.h"
#include "results/ResidualFiles.h"
#include "support/TestFiles.h"

namespace orvo::test {
namespace {

/// The obvious form.
std::string SlowLine(const gpu::GpuResidualLine& line, double s) {
  return Print("%-8d %-4d %-10d %12.6lf\t%12.6lf\t%12.6lf\t%12.6lf", line.nImage, line.nCamera,
               line.nObjectPoint, static_cast<double>(line.x) / s, static_cast<double>(line.y) / s,
               static_cast<double>(line.vx) / s, static_cast<double>(line.vy) / s) +
         Print(" %d", -line.nFlag) + "\n";
}

gpu::GpuResidualTable TableOf(const std::vector<gpu::GpuResidualLine>& lines) {
  gpu::GpuResidualTable table;
  table.nPointNum = std::ssize(lines);
  table.Fill = [&lines](int64_t first, int64_t count, gpu::GpuResidualLine* out) {
    std::copy_n(lines.begin() + first, count, out);
  };
  return table;
}

struct ResidualRun {
  ScratchFolder folder;
  FilePaths Paths;
  OutputLedger Outputs;
  ResidualStatistics Residuals;
  double fScale = 0.001;
  ResidualRun() {
    Paths.szOutputPath = folder.Path();
    Residuals.fMeanResidualX = 0.0001;
    Residuals.fMeanResidualY = -0.0002;
    Residuals.fRmsResidualX = 0.0005;
    Residuals.fRmsResidualY = 0.00075;
  }
  bool Write(const std::vector<gpu::GpuResidualLine>& lines) {
    ResidualListing listing{TableOf(lines), fScale, FiguresOf(Residuals, fScale)};
    return WriteResidualFile(ResidualFilePath(Paths, 3, 5), listing, 3, Outputs);
  }
  std::string File(const std::vector<gpu::GpuResidualLine>& lines) {
    EXPECT_TRUE(Write(lines));
    return ReadFile(folder / "Residuals_3_5.res");
  }
};

TEST(ResidualsGpu, LinesAndTail) {
  ResidualRun r;
  const std::vector<gpu::GpuResidualLine> lines{
      {12, 0, 345, 1.25f, -2.5f, 0.001f, -0.002f, 0},
      {1234567, 12345, 12345678, 10000.0f, 0.0f, 5.0f, 7.0f, 1},
      {-1, -1, 2, 0.5f, 0.25f, 0, 0, 0},
      {0, 1, 0, -0.0f, 1e-9f, -0.003f, 0.0015f, 0},
  };
  std::string expected;
  for (const auto& line : lines) expected += SlowLine(line, 0.001);
  EXPECT_EQ(expected.substr(0, expected.find('\n') + 1),
            "12       0    345         1250.000000\t-2500.000000\t    1.000000\t   -2.000000 0\n");
  EXPECT_EQ(r.File(lines), expected +
                               "\nMEAN:0.100000\t-0.200000\nRMSE:0.500000\t0.750000\n"
                               "MAX:1.000000\t1.500000\nMIN:-3.000000\t-3.000000\n"
                               "Number of detected gross points:1/4\n"
                               "Control point residuals:\nMEAN:    0.000000\t    0.000000\t    0.000000\n"
                               "RMSE:    0.000000\t    0.000000\t    0.000000\n"
                               "Check point residuals:\nMEAN:    0.000000\t    0.000000\t    0.000000\n"
                               "RMSE:    0.000000\t    0.000000\t    0.000000\n");
  EXPECT_EQ(r.Outputs.nOutputFailureNum, 0);
}

TEST(ResidualsGpu, WithoutValidPointsTheStartValuesAreDividedAndPrinted) {
  ResidualRun r;
  r.fScale = 1.0;
  const std::string text = r.File({{0, 0, 0, 0, 0, 1, 1, 1}});
  EXPECT_NE(text.find(Print("MAX:%lf\t%lf\nMIN:%lf\t%lf\n", -1e308, -1e308, 1e308, 1e308)),
            std::string::npos);
  ResidualRun scaled;
  EXPECT_NE(scaled.File({}).find("MAX:-inf\t-inf\nMIN:inf\tinf\nNumber of detected gross points:0/0\n"),
            std::string::npos);
}

TEST(ResidualsGpu, ExtremesAreThoseOfTheListedNumbersWhateverTheSignOfTheScale) {
  ResidualRun r;
  r.fScale = -0.001;
  EXPECT_NE(r.File({{0, 0, 0, 0, 0, 0.001f, -0.002f, 0}, {0, 0, 1, 0, 0, -0.003f, 0.004f, 0}})
                .find("MAX:3.000000\t2.000000\nMIN:-1.000000\t-1.000000\n"),
            std::string::npos);
}

TEST(ResidualsGpu, ManyLinesEqualTheObviousFormOnAnyNumberOfThreads) {
  std::vector<gpu::GpuResidualLine> lines;
  for (int32_t i = 0; i < 30000; ++i) {
    const float t = static_cast<float>(i);
    lines.push_back({i % 977, i % 3, i / 4, std::sin(t) * 6, std::cos(t) * 4, std::sin(3 * t) * 0.004f,
                     i % 500 == 0 ? NAN : std::cos(5 * t) * 0.03f, i % 91 == 0 ? 1 : 0});
  }
  std::string expected;
  for (const auto& line : lines) expected += SlowLine(line, 0.001);
  for (const int threads : {1, 2, 7}) {
    ScratchFolder folder;
    TextWriter file;
    ASSERT_TRUE(file.Open(folder / "a"));
    const auto summary = gpu::WriteGpuResidualLines(file, TableOf(lines), 0.001, threads);
    ASSERT_TRUE(file.Close());
    EXPECT_EQ(ReadFile(folder / "a"), expected) << threads;
    EXPECT_EQ(summary.nGrossNum, 330);
    EXPECT_NEAR(summary.fMaxX, 4.0, 0.01);
  }
}

TEST(ResidualsGpu, AFileThatCantBeMadeIsCounted) {
  ResidualRun r;
  r.Paths.szOutputPath = r.folder / "none";
  EXPECT_FALSE(r.Write({}));
  EXPECT_EQ(r.Outputs.nOutputFailureNum, 1);
}

}  // namespace
}  // namespace orvo::test
