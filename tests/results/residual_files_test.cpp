#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "results/CorrectionFiles.h"
#include "results/Print.h"
#include "results/ResidualFiles.h"
#include "results/ResidualLines.h"
#include "support/TestFiles.h"

namespace orvo {
namespace {

using test::Print;

struct ResidualRun {
  test::ScratchFolder folder;
  FilePaths Paths;
  OutputLedger Outputs;
  Platform System = NativePlatform();
  ResidualStatistics Residuals;
  double fScale = 0.001;
  std::vector<ResidualPart> Parts;
  ResidualWriter Writer{&Outputs.Folder};
  bool bBeside = false;

  ResidualRun() {
    Paths.szOutputPath = folder.Path();
    Residuals.fMeanResidualX = 0.0001;
    Residuals.fMeanResidualY = -0.0002;
    Residuals.fRmsResidualX = 0.0005;
    Residuals.fRmsResidualY = 0.00075;
    for (int i = 0; i < 6; ++i) {
      Residuals.dControlResidual[i] = 0.125 * i - 0.5;
      Residuals.dCheckResidual[i] = 1.0 / (i + 1);
    }
  }

  void AddThread(ScratchVector<float> residuals, ScratchVector<int32_t> flags) {
    const auto count = std::ssize(flags);
    Parts.push_back({std::move(residuals), std::move(flags), count});
  }

  /// Leaves in Parts what the file leaves of them; nothing beside the run.
  bool Write(int32_t iteration, int32_t section) {
    ResidualListing listing{std::move(Parts), fScale, FiguresOf(Residuals, fScale)};
    Parts.clear();
    const std::string path = ResidualFilePath(Paths, iteration, section);
    if (bBeside) return WriteResidualFileBeside(path, std::move(listing), System, Writer, Outputs);
    const bool created = WriteResidualFile(path, listing, System.ProcessorCount(), Outputs);
    Parts = std::get<std::vector<ResidualPart>>(std::move(listing.Lines));
    return created;
  }

  void Finish() { Outputs.nOutputFailureNum += Writer.Finish(); }

  std::string File(const std::string& name) const { return test::ReadFile(folder / name); }
};

/// The tail, with the extremes and counts that a test expects.
std::string Tail(const ResidualRun& run, double maxX, double maxY, double minX, int gross, int all) {
  const double s = run.fScale;
  const double* c = run.Residuals.dControlResidual;
  const double* k = run.Residuals.dCheckResidual;
  std::string text = "\n";
  text += Print("MEAN:%lf\t%lf\n", run.Residuals.fMeanResidualX / s, run.Residuals.fMeanResidualY / s);
  text += Print("RMSE:%lf\t%lf\n", run.Residuals.fRmsResidualX / s, run.Residuals.fRmsResidualY / s);
  text += Print("MAX:%lf\t%lf\n", maxX, maxY);
  text += Print("MIN:%lf\t%lf\n", minX, minX);
  text += Print("Number of detected gross points:%d/%d\n", gross, all);
  text += "Control point residuals:\n";
  text += Print("MEAN:%12.6lf\t%12.6lf\t%12.6lf\n", c[0], c[1], c[2]);
  text += Print("RMSE:%12.6lf\t%12.6lf\t%12.6lf\n", c[3], c[4], c[5]);
  text += "Check point residuals:\n";
  text += Print("MEAN:%12.6lf\t%12.6lf\t%12.6lf\n", k[0], k[1], k[2]);
  text += Print("RMSE:%12.6lf\t%12.6lf\t%12.6lf\n", k[3], k[4], k[5]);
  return text;
}

std::string Line(double vx, double vy, double s, int flag) {
  return Print("%12.6lf\t%12.6lf\t %d\n", double{static_cast<float>(vx / s)},
               double{static_cast<float>(vy / s)}, flag);
}

TEST(ResidualsCpu, ListsThreadByThread) {
  ResidualRun r;
  r.AddThread({0.0003f, -0.0004f, 0.9f, -0.8f}, {0, -1});
  r.AddThread({}, {});
  r.AddThread({-0.0007f, 0.0001f}, {0});
  EXPECT_TRUE(r.Write(2, 7));
  const double s = 0.001;
  EXPECT_EQ(r.File("Residuals_2_7.res"),
            Line(0.0003f, -0.0004f, s, 0) + Line(0.9f, -0.8f, s, -1) + Line(-0.0007f, 0.0001f, s, 0) +
                Tail(r, static_cast<float>(0.0003f / s), static_cast<float>(0.0001f / s),
                     static_cast<float>(-0.0007f / s), 1, 3));
  EXPECT_EQ(r.Outputs.nOutputFailureNum, 0);
}

TEST(ResidualsCpu, GoldenText) {
  ResidualRun r;
  r.fScale = 0.5;
  r.AddThread({1.0f, -2.0f, 100.0f, 100.0f}, {0, -1});
  EXPECT_TRUE(r.Write(0, 0));
  EXPECT_EQ(r.File("Residuals_0_0.res"),
            "    2.000000\t   -4.000000\t 0\n"
            "  200.000000\t  200.000000\t -1\n"
            "\n"
            "MEAN:0.000200\t-0.000400\n"
            "RMSE:0.001000\t0.001500\n"
            "MAX:2.000000\t-4.000000\n"
            "MIN:2.000000\t2.000000\n"
            "Number of detected gross points:1/2\n"
            "Control point residuals:\n"
            "MEAN:   -0.500000\t   -0.375000\t   -0.250000\n"
            "RMSE:   -0.125000\t    0.000000\t    0.125000\n"
            "Check point residuals:\n"
            "MEAN:    1.000000\t    0.500000\t    0.333333\n"
            "RMSE:    0.250000\t    0.200000\t    0.166667\n");
}

TEST(ResidualsCpu, DividedValuesReplaceTheStoredOnes) {
  ResidualRun r;
  r.AddThread({0.0003f, -0.0004f}, {0});
  r.Write(0, 0);
  EXPECT_EQ(r.Parts[0].Residuals[0], static_cast<float>(double{0.0003f} / 0.001));
  EXPECT_EQ(r.Parts[0].Residuals[1], static_cast<float>(double{-0.0004f} / 0.001));
}

TEST(ResidualsCpu, ExtremesStartWhereNothingIsLeftToReplaceThem) {
  const std::vector<ScratchVector<int32_t>> flagSets = {{}, {-1}};
  for (const auto& flags : flagSets) {
    ResidualRun r;
    r.AddThread(ScratchVector<float>(2 * flags.size(), 0.25f), flags);
    r.Write(0, 0);
    const std::string text = r.File("Residuals_0_0.res");
    EXPECT_NE(text.find(Tail(r, -1e30f, -1e30f, 1e30f, static_cast<int>(flags.size()),
                             static_cast<int>(flags.size()))),
              std::string::npos);
    EXPECT_NE(text.find("MAX:-1000000015047466219876688855040.000000\t"), std::string::npos);
  }
}

TEST(ResidualsCpu, MinimumOfXStandsTwice) {
  ResidualRun r;
  r.AddThread({0.001f, -0.009f, 0.002f, 0.005f}, {0, 0});
  r.Write(0, 0);
  EXPECT_NE(r.File("Residuals_0_0.res").find("\nMIN:1.000000\t1.000000\n"), std::string::npos);
}

TEST(ResidualsCpu, MeansAreThoseOfTheObjectWhateverTheFileHolds) {
  // The running figures cover the sections before; lines and gross count are those of the section.
  ResidualRun r;
  r.AddThread({0.001f, 0.002f}, {-1});
  r.Write(3, 0);
  r.Parts.clear();
  r.AddThread({0.001f, 0.002f, 0.003f, 0.004f}, {0, 0});
  r.Residuals.fMeanResidualX = 0.5;
  r.Write(3, 1);
  const std::string first = r.File("Residuals_3_0.res"), second = r.File("Residuals_3_1.res");
  EXPECT_NE(first.find("\nMEAN:0.100000\t-0.200000\n"), std::string::npos);
  EXPECT_NE(second.find("\nMEAN:500.000000\t-0.200000\n"), std::string::npos);
  EXPECT_NE(first.find("gross points:1/1\n"), std::string::npos);
  EXPECT_NE(second.find("gross points:0/2\n"), std::string::npos);
}

TEST(ResidualsCpu, NumbersThatAreNone) {
  ResidualRun r;
  const float nan = std::numeric_limits<float>::quiet_NaN(), inf = std::numeric_limits<float>::infinity();
  r.AddThread({nan, -inf, -nan, 0.001f}, {0, 0});
  r.Residuals.fMeanResidualX = nan;
  r.Write(0, 0);
  const std::string text = r.File("Residuals_0_0.res");
  EXPECT_TRUE(
      text.starts_with("         nan\t        -inf\t 0\n        -nan\t    1.000000\t 0\n\nMEAN:nan\t"));
  EXPECT_NE(text.find("MAX:-1000000015047466219876688855040.000000\t1.000000\n"), std::string::npos);
}

TEST(ResidualsCpu, CountsBeyondTheBuffersAreCut) {
  ResidualRun r;
  r.AddThread({0.001f, 0.002f}, {0, 0});
  r.Parts[0].nPointNum = 50;
  r.AddThread({}, {});
  r.Parts[1].nPointNum = -3;
  EXPECT_TRUE(r.Write(0, 0));
  EXPECT_NE(r.File("Residuals_0_0.res").find("gross points:0/1\n"), std::string::npos);
  r.Parts.clear();
  EXPECT_TRUE(r.Write(0, 1));
  EXPECT_NE(r.File("Residuals_0_1.res").find("gross points:0/0\n"), std::string::npos);
}

TEST(ResidualsCpu, ManyLinesAreTheLinesOfTheSlowForm) {
  // More than one output block.
  ResidualRun r;
  ScratchVector<float> residuals;
  ScratchVector<int32_t> flags;
  std::string expected;
  for (int i = 0; i < 30000; ++i) {
    residuals.push_back(static_cast<float>(std::sin(i) * std::pow(10.0, i % 9 - 5)));
    residuals.push_back(static_cast<float>(std::cos(i) * 1e-3));
    flags.push_back(i % 17 == 0 ? -1 : 0);
    expected += Line(residuals[residuals.size() - 2], residuals.back(), 0.001, flags.back());
  }
  r.AddThread(residuals, flags);
  r.Write(0, 0);
  EXPECT_TRUE(r.File("Residuals_0_0.res").starts_with(expected + "\nMEAN:"));
}

TEST(ResidualsCpu, UnwritableFolderAndFullDisk) {
  ResidualRun r;
  r.AddThread({0.001f, 0.002f}, {0});
  if (test::Exists("/dev/full")) {
    std::filesystem::create_symlink("/dev/full", r.folder / "Residuals_0_0.res");
    EXPECT_TRUE(r.Write(0, 0));
    EXPECT_EQ(r.Outputs.nOutputFailureNum, 1);
  }
  r.Outputs.nOutputFailureNum = 0;
  r.Paths.szOutputPath = r.folder / "absent";
  EXPECT_FALSE(r.Write(0, 0));
  EXPECT_EQ(r.Outputs.nOutputFailureNum, 1);
}

/// Several pieces of work in two parts, with extremes that only their sign tells apart.
void AddManyLines(ResidualRun& r) {
  ScratchVector<float> residuals;
  ScratchVector<int32_t> flags;
  for (int i = 0; i < 50000; ++i) {
    residuals.push_back(i % 3 == 0 ? -0.0f : 0.0f);
    residuals.push_back(static_cast<float>(std::sin(i)));
    flags.push_back(i % 1000 == 0 ? -1 : 0);
    if (i == 20000 || i == 49999) {
      r.AddThread(residuals, flags);
      residuals.clear();
      flags.clear();
    }
  }
}

TEST(ResidualsCpu, BesideTheRunTheFileIsTheSame) {
  std::string expected;
  for (const int processors : {1, 2, 16}) {
    ResidualRun beside, waiting;
    beside.System.ProcessorCount = waiting.System.ProcessorCount = [=] { return processors; };
    AddManyLines(beside);
    AddManyLines(waiting);
    beside.bBeside = true;
    EXPECT_TRUE(beside.Write(0, 0));
    // What the run does next must not reach the file.
    beside.Residuals.fMeanResidualX = 77;
    beside.Residuals.dCheckResidual[0] = 77;
    beside.Parts.clear();
    beside.Finish();
    EXPECT_TRUE(waiting.Write(0, 0));
    const std::string text = waiting.File("Residuals_0_0.res");
    EXPECT_TRUE(beside.File("Residuals_0_0.res") == text);
    EXPECT_NE(text.find("\nMAX:0.000000\t1000.000000\nMIN:0.000000\t0.000000\n"), std::string::npos)
        << text.substr(text.size() - 600);
    if (expected.empty()) expected = text;
    EXPECT_TRUE(text == expected);
    EXPECT_EQ(beside.Outputs.nOutputFailureNum + waiting.Outputs.nOutputFailureNum, 0);
  }
}

TEST(ResidualsCpu, BesideTheRunEveryFileIsFinishedInTurn) {
  ResidualRun r;
  r.bBeside = true;
  for (int iteration = 0; iteration < 5; ++iteration) {
    r.Parts.clear();
    r.AddThread(ScratchVector<float>(40000, 0.001f * static_cast<float>(iteration)),
                ScratchVector<int32_t>(20000, 0));
    EXPECT_TRUE(r.Write(iteration, 0));
  }
  r.Finish();
  for (int iteration = 0; iteration < 5; ++iteration) {
    const std::string text = r.File("Residuals_" + std::to_string(iteration) + "_0.res");
    EXPECT_TRUE(text.starts_with(Print("%12.6lf\t", 1.0 * iteration))) << iteration;
    EXPECT_TRUE(text.ends_with(Tail(r, iteration, iteration, iteration, 0, 20000))) << iteration;
  }
}

TEST(ResidualsCpu, WithLittleMemoryTheFileIsWholeOnReturn) {
  ResidualRun r;
  int asked = 0;
  r.System.FreePhysicalBytes = [&asked] {
    ++asked;
    return int64_t{1} << 25;
  };
  r.bBeside = true;
  r.AddThread(ScratchVector<float>(1000000, 0.001f), ScratchVector<int32_t>(500000, 0));
  EXPECT_TRUE(r.Write(0, 0));
  EXPECT_EQ(asked, 1);
  EXPECT_TRUE(r.File("Residuals_0_0.res").ends_with(Tail(r, 1, 1, 1, 0, 500000)));
}

TEST(ResidualsCpu, BesideTheRunFailuresAreCountedAtTheEnd) {
  ResidualRun r;
  r.bBeside = true;
  int expected = 0;
  if (test::Exists("/dev/full")) {
    std::filesystem::create_symlink("/dev/full", r.folder / "Residuals_0_0.res");
    r.AddThread({0.001f, 0.002f}, {0});
    EXPECT_TRUE(r.Write(0, 0));
    ++expected;
  }
  r.Paths.szOutputPath = r.folder / "absent";
  EXPECT_FALSE(r.Write(0, 0));
  ++expected;
  r.Finish();
  EXPECT_EQ(r.Outputs.nOutputFailureNum, expected);
  r.Finish();
  EXPECT_EQ(r.Outputs.nOutputFailureNum, expected);
}

TEST(ResidualLines, OtherFlagsAreGrossAndPrintedAsTheyAre) {
  test::ScratchFolder folder;
  TextWriter file;
  ASSERT_TRUE(file.Open(folder / "x"));
  ScratchVector<float> residuals{1, 2, 3, 4};
  const ScratchVector<int32_t> flags{-2147483647 - 1, 12};
  const ResidualSlice slice{residuals, flags};
  const ResidualSummary summary = WriteResidualLines(file, {&slice, 1}, 1.0, 1);
  ASSERT_TRUE(file.Close());
  EXPECT_EQ(test::ReadFile(folder / "x"),
            "    1.000000\t    2.000000\t -2147483648\n    3.000000\t    4.000000\t 12\n");
  EXPECT_EQ(summary.nGrossNum, 2);
  EXPECT_EQ(summary.nPointNum, 2);
}

TEST(Corrections, OneLineForEachUnknown) {
  ResidualRun r;
  std::vector<double> x{0, -0.0, 1.5e-7, -123456.789, 1e300, std::nan(""), -INFINITY};
  for (int i = 0; i < 5000; ++i) x.push_back(std::sin(i) * std::pow(10.0, i % 40 - 20));
  EXPECT_TRUE(WriteCorrectionFile(11, x, r.Paths, r.Outputs));
  std::string expected;
  for (const double value : x) expected += Print("%20.9e\n", value);
  EXPECT_TRUE(r.File("Corrections_11.txt") == expected);
}

TEST(Corrections, UnwritableFolderAndFullDisk) {
  ResidualRun r;
  const double x[1] = {1};
  if (test::Exists("/dev/full")) {
    std::filesystem::create_symlink("/dev/full", r.folder / "Corrections_0.txt");
    EXPECT_TRUE(WriteCorrectionFile(0, x, r.Paths, r.Outputs));
    EXPECT_EQ(r.Outputs.nOutputFailureNum, 1);
  }
  r.Paths.szOutputPath = r.folder / "absent";
  r.Outputs.nOutputFailureNum = 0;
  EXPECT_FALSE(WriteCorrectionFile(0, x, r.Paths, r.Outputs));
  EXPECT_EQ(r.Outputs.nOutputFailureNum, 1);
}

TEST(Remainder, OneLineForEachUnknown) {
  ResidualRun r;
  const double remainder[] = {0, -1.25, 123456789.0004, std::nan("")};
  EXPECT_TRUE(WriteRemainderFile(3, remainder, r.Paths, r.Outputs));
  std::string expected;
  for (const double value : remainder) expected += Print("%12.3lf\t\n", value);
  EXPECT_EQ(r.File("LM_R_Vector_3.txt"), expected);
  EXPECT_EQ(r.Outputs.nOutputFailureNum, 0);
  r.Paths.szOutputPath = r.folder / "absent";
  EXPECT_FALSE(WriteRemainderFile(3, remainder, r.Paths, r.Outputs));
  EXPECT_EQ(r.Outputs.nOutputFailureNum, 1);
}

}  // namespace
}  // namespace orvo
