// A block that loses every point ends without touching earlier results.
#include <gtest/gtest.h>

#include <sstream>

#include "whole/DeviceRuns.h"

namespace orvo::test {
namespace {

SyntheticOptions Options() {
  SyntheticOptions options;
  options.nStrips = 1;
  options.nImagesPerStrip = 5;
  options.fMeasurementsPerImage = 30;
  return options;
}

/// The project with the first image at the origin, where images are left out. With `moved`, the first
/// measurement of every point is moved onto it. In front of the points stand `more`, each with its only
/// measurement on that image.
std::string WithoutPoints(const std::string& project, bool moved, int64_t more = 0) {
  std::istringstream in(project);
  std::ostringstream out;
  std::string line;
  int32_t images = 0, cameras = 0;
  int64_t points = 0;
  std::getline(in, line);
  std::istringstream(line) >> images >> cameras >> points;
  out << images << ' ' << cameras << ' ' << points + more << '\n';
  for (int32_t i = 0; i < cameras + 4 * images; ++i) {
    std::getline(in, line);
    out << (i == cameras + 3 ? "0 0 0" : line) << '\n';
  }
  for (int64_t point = 0; point < more; ++point) out << "M" << point << " 1 2 3 0\n1\n0 1 1\n";
  for (int64_t point = 0; point < points; ++point) {
    for (int i = 0; i < 2 && std::getline(in, line); ++i) out << line << '\n';
    const int count = std::stoi(line);
    for (int i = 0; i < count && std::getline(in, line); ++i) {
      out << (moved && i == 0 ? "0" + line.substr(line.find(' ')) : line) << '\n';
    }
  }
  return out.str();
}

struct Case {
  const char* szAbout;
  bool bSparse, bThinned;
  RunOptions Options;
  const char* szMessage;
};

TEST(NoPoints, EndTheRunOverEarlierResults) {
  const char* const message = "There is no image point!\n";
  const Case cases[] = {
      {"dense", false, false, {}, message},
      {"sparse", true, false, {}, message},
      {"thinned", false, true, {}, message},
      {"device", false, false, device::HostOptions(), "Compute GPU section info failed!\n"},
      {"device, literal kernels", false, false, device::HostOptions(gpu::KernelForm::Literal),
       "Compute GPU section info failed!\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.szAbout);
    Block block(Options());
    block.Set("Max_LM_Iteration_Num", "2");
    block.Set("Apply_PCG_Model", c.bSparse ? "true" : "false");
    block.Set("Resampling_Points", c.bThinned ? "true" : "false");
    BlockRun run;
    run.bGcp = false;
    run.Options = c.Options;
    ASSERT_TRUE(block.Run(run).bDone) << block.Log();
    const char* const files[] = {"OrvoResult.ovc", "OrvoAdjustReport.txt", "OrvoResult_gcp.rst",
                                 "Residuals_0_0.res", "Corrections_0.txt"};
    std::vector<std::string> earlier;
    for (const char* name : files) earlier.push_back(ReadFile(block.Output(name)));

    WriteFile(block.Paths().szText, WithoutPoints(ReadFile(block.Paths().szText), true));
    EXPECT_FALSE(block.Run(run).bDone) << block.Log();
    EXPECT_NE(block.Log().find(c.szMessage), std::string::npos) << block.Log();
    for (size_t i = 0; i < earlier.size(); ++i) {
      EXPECT_FALSE(earlier[i].empty()) << files[i];
      EXPECT_EQ(ReadFile(block.Output(files[i])), earlier[i]) << files[i];
    }
  }
}

TEST(NoPoints, InOneOfSeveralSectionsAreNoSuchCase) {
  SyntheticOptions options = Options();
  options.nStrips = 2;
  options.fSideOverlap = 50;
  options.fMeasurementsPerImage = 100;
  Block block(options);
  block.Set("Max_LM_Iteration_Num", "8");
  block.Set("Free_LM_Iteration_Num", "8");
  block.Set("Set_IOP_Unknown", "false");
  block.Set("Damping_Coefficient", "0.001");
  block.Set("Resampling_Points", "false");
  // The first of two sections has none.
  const SyntheticCounts& counts = block.Truth().Counts;
  const int64_t more = counts.nTieMeasurements + 10;
  WriteFile(block.Paths().szText, WithoutPoints(ReadFile(block.Paths().szText), false, more));
  BlockRun run;
  run.bGcp = false;
  const double need = 68.0 * static_cast<double>(counts.nTiePoints + more) +
                      28.0 * static_cast<double>(counts.nTieMeasurements + more);
  run.Machine = MadeUpPlatform(static_cast<int64_t>(need / 1.5 / 0.8), 2);
  EXPECT_TRUE(block.Run(run).bDone) << block.Log();
  EXPECT_NE(block.Log().find("CPU Sections:2\n"), std::string::npos) << block.Log();
  EXPECT_EQ(block.Log().find("There is no image point!\n"), std::string::npos);
  const Report report = block.AdjustReport();
  EXPECT_GT(report.Rmse[0], 0.0);
  EXPECT_LT(report.Rmse[0], 2.0) << block.Log();
}

}  // namespace
}  // namespace orvo::test
