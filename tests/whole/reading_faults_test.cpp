// Runs in which one call to the system fails: none of them may pass for a whole one.
#include <gtest/gtest.h>

#include <array>
#include <filesystem>

#include "run/BundleAdjustment.h"
#include "support/FaultyFiles.h"
#include "whole/DeviceRuns.h"

namespace orvo::test {
namespace {

/// What a fault may not change in silence.
struct Results {
  bool bDone = false;
  std::string szFault;
  std::array<std::string, 4> Files;

  /// The clocks of report and log are no results.
  static Results Of(const std::string& folder, const RunOutcome& outcome) {
    std::string report = ReadFile(folder + "/OrvoAdjustReport.txt");
    if (const size_t at = report.find("Total run time:"); at != std::string::npos) {
      report.erase(at, report.find('\n', at) - at);
    }
    return {outcome.bDone,
            outcome.szFault,
            {ReadFile(folder + "/OrvoResult.ovc"), ReadFile(folder + "/OrvoResult.ovt"),
             ReadFile(folder + "/OrvoResult_gcp.rst"), report}};
  }
};

/// A kind of run over one small block.
struct Kind {
  const char* szName;
  bool bBinary = false, bPos = false, bThinned = false, bThinnedToFile = false, bHost = false;
  int nSections = 1;
  const char* szMode = nullptr;
  const char* szSparse = "false";
  bool bColonForm = false;
  RunRules Rules = RunRules::Classic;
};

void PrintTo(const Kind& kind, std::ostream* out) { *out << kind.szName; }

class ReadingFaults : public ::testing::TestWithParam<Kind> {
 protected:
  static SyntheticOptions Options() {
    SyntheticOptions options;
    options.nStrips = 2;
    options.nImagesPerStrip = 4;
    options.fSideOverlap = 50;
    options.fMeasurementsPerImage = 40;
    options.nControlPoints = 5;
    options.nCheckPoints = 3;
    return options;
  }

  void SetUp() override {
    block.Set("Max_LM_Iteration_Num", "2");
    block.Set("Output_Image_Point_RMSE", "false");
    block.Set("Resampling_Points", kind.bThinned || kind.bThinnedToFile ? "true" : "false");
    block.Set("Apply_GPS_Data", kind.bPos ? "true" : "false");
    block.Set("Apply_PCG_Model", kind.szSparse);
    if (kind.szMode != nullptr) block.Set(kind.szMode, "true");
  }

  Results Run(const FaultyFiles& faulty) {
    const std::string output = block / "out";
    std::filesystem::remove_all(output);
    Platform machine = MadeUpPlatform(device::MemoryForSections(block, kind.nSections), 2);
    if (kind.nSections == 1) machine = MadeUpPlatform(int64_t{1} << 32, 2);
    machine.Files = faulty.Calls();
    if (kind.bThinnedToFile) return RunThinnedToFile(machine, output);
    BlockRun run;
    run.bBinary = kind.bBinary;
    run.bPos = kind.bPos;
    run.bColonForm = kind.bColonForm;
    run.Machine = machine;
    if (kind.bHost) run.Options = device::HostOptions();
    run.Options.Rules = kind.Rules;
    return Results::Of(output, block.Run(run));
  }

  /// As RunAdjustment does it; only the limit of the kept points is another.
  Results RunThinnedToFile(const Platform& machine, std::string output) {
    CBundleAdjustment run(machine, nullptr);
    run.ReadSettings(block.Paths().szXml);
    run.Points.nResampleFileLimit = 0;
    if (run.CheckInputs() == 1) run.RunCpuAdjustment(block.Paths().szOvc, block.Paths().szGcp, "", output);
    const bool failed = run.CheckInputs() == 0;
    return Results::Of(output, {run.Outputs.bOutputsWritten && !failed, 0, output, failed ? "failed" : ""});
  }

  /// Every call of one kind in turn, but not much more than `most` of them.
  void FailEach(FileCall which, int error, int64_t count, int64_t most, const Results& good) {
    const bool harmless = error == EINTR || error == kReadsLittle;
    for (int64_t k = 0; k < count; k += std::max<int64_t>(count / most, 1)) {
      const FaultyFiles faulty(which, k, error);
      const Results results = Run(faulty);
      if (faulty.Fired()) ++nFired;
      const std::string what = std::string(kind.szName) + ": call " + std::to_string(k) + " of kind " +
                               std::to_string(static_cast<int>(which)) + ", error " + std::to_string(error);
      // What is done is as it should be; what is not done says why.
      if (results.bDone) {
        EXPECT_EQ(results.Files, good.Files) << what;
      }
      EXPECT_EQ(results.bDone, results.szFault.empty()) << what << "\n" << block.Log();
      if (harmless || !faulty.Fired()) {
        EXPECT_TRUE(results.bDone) << what << "\n" << results.szFault;
      }
      if (faulty.Fired() && !harmless && error != kEndsEarly) {
        EXPECT_FALSE(results.bDone) << what;
      }
      if (!results.bDone && !kind.bThinnedToFile) {
        EXPECT_NE(block.Log().find("Error!Reading failed: " + results.szFault + "!\n"), std::string::npos)
            << what << "\n"
            << block.Log();
      }
    }
  }

  /// That the run is of its kind.
  void ExpectKind() const {
    EXPECT_EQ(Exists(block / "out/Resampled.ovt"), kind.bThinnedToFile);
    if (kind.bThinnedToFile) return;
    const std::string log = block.Log();
    if (kind.nSections > 1) {
      EXPECT_TRUE(log.find("CPU Sections:" + std::to_string(kind.nSections) + "\n") != std::string::npos)
          << log;
    }
    EXPECT_EQ(log.find("GPU sections:") != std::string::npos, kind.bHost) << log;
    EXPECT_EQ(log.find(">>Reampling image point data...") != std::string::npos, kind.bThinned) << log;
    EXPECT_EQ(log.find("Find image name elapsed time:") != std::string::npos, kind.bPos) << log;
  }

  const Kind kind = GetParam();
  int nFired = 0;
  Block block{Options()};
};

TEST_P(ReadingFaults, NoneGoesUnnoticed) {
  const FaultyFiles sound;
  const Results good = Run(sound);
  ASSERT_TRUE(good.bDone) << good.szFault;
  ASSERT_FALSE(good.Files[0].empty());
  ExpectKind();
  const int64_t opens = sound.Count(FileCall::Open), reads = sound.Count(FileCall::ReadAt);
  ASSERT_GE(opens, 7);
  EXPECT_EQ(sound.Count(FileCall::Close), opens);
  FailEach(FileCall::Open, EMFILE, opens, 60, good);
  FailEach(FileCall::Open, EINTR, opens, 5, good);
  // What is not there may have been meant so only where nobody asked before.
  if (kind.Rules == RunRules::Guarded) FailEach(FileCall::Open, ENOENT, opens, 60, good);
  FailEach(FileCall::Status, EIO, sound.Count(FileCall::Status), 40, good);
  FailEach(FileCall::ReadAt, EIO, reads, 60, good);
  FailEach(FileCall::ReadAt, kEndsEarly, reads, 60, good);
  FailEach(FileCall::ReadAt, kReadsLittle, reads, 20, good);
  FailEach(FileCall::ReadAt, EINTR, reads, 5, good);
  FailEach(FileCall::Close, EIO, sound.Count(FileCall::Close), 20, good);
  EXPECT_GT(nFired, opens + reads);
  RecordProperty("faults", nFired);
}

INSTANTIATE_TEST_SUITE_P(
    Kinds, ReadingFaults,
    ::testing::Values(Kind{.szName = "text"}, Kind{.szName = "guarded", .Rules = RunRules::Guarded},
                      Kind{.szName = "colons", .bThinned = true, .bColonForm = true},
                      Kind{.szName = "binary", .bBinary = true},
                      Kind{.szName = "sections", .bBinary = true, .nSections = 3},
                      Kind{.szName = "textSections", .nSections = 3},
                      Kind{.szName = "sparse", .bBinary = true, .szSparse = "true"},
                      Kind{.szName = "thinned", .bThinned = true},
                      Kind{.szName = "thinnedToFile", .bBinary = true, .bThinnedToFile = true},
                      Kind{.szName = "pos", .bPos = true},
                      Kind{.szName = "intersection", .bBinary = true, .szMode = "Direct_Intersection"},
                      Kind{.szName = "orientation", .szMode = "Absolute_Orientation"},
                      Kind{.szName = "host", .bBinary = true, .bHost = true},
                      Kind{.szName = "hostSections", .bBinary = true, .bHost = true, .nSections = 2}),
    [](const auto& row) { return std::string(row.param.szName); });

// ---- Files that are not what they were, or not what they should be

TEST(Reading, AFileThatChangesDuringTheRunEndsIt) {
  SyntheticOptions options;
  options.nStrips = 1;
  options.nImagesPerStrip = 3;
  for (const bool binary : {false, true}) {
    Block block(options);
    const std::string path = binary ? block.Paths().szOvt : block.Paths().szText;
    BlockRun run;
    run.bBinary = binary;
    run.Machine = MadeUpPlatform(int64_t{1} << 32, 1);
    // Behind the first reading of the points, and before the second.
    run.Machine.Files.Open = [&, opens = 0, open = run.Machine.Files.Open](const char* name,
                                                                           int flags) mutable {
      if (path == name && ++opens == 2) WriteFile(path, ReadFile(path) + " ");
      return open(name, flags);
    };
    const RunOutcome outcome = block.Run(run);
    EXPECT_FALSE(outcome.bDone);
    EXPECT_EQ(outcome.szFault, "can't read " + path + ": it changed while the run was reading it");
    EXPECT_FALSE(Exists(block.Output("OrvoResult.ovc")));
  }
}

TEST(Reading, AByteOrderMarkChangesNothing) {
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 4;
  options.fSideOverlap = 50;
  for (const Kind& kind : {Kind{.szName = "text"}, Kind{.szName = "binary", .bBinary = true},
                           Kind{.szName = "colons", .bPos = true, .bColonForm = true}}) {
    Block block(options);
    block.Set("Apply_GPS_Data", "true");
    BlockRun run;
    run.bBinary = kind.bBinary;
    run.bPos = kind.bPos;
    run.bColonForm = kind.bColonForm;
    run.Machine = MadeUpPlatform(int64_t{1} << 32, 2);
    const Results without = Results::Of(block / "out", block.Run(run));
    ASSERT_TRUE(without.bDone) << kind.szName;
    const SyntheticPaths& paths = block.Paths();
    for (const std::string& path :
         {paths.szText, paths.szOvc, paths.szGcp, paths.szPos, paths.szXml, paths.szIni}) {
      WriteFile(path, "\xEF\xBB\xBF" + ReadFile(path));
    }
    const Results with = Results::Of(block / "out", block.Run(run));
    EXPECT_TRUE(with.bDone) << kind.szName;
    EXPECT_EQ(with.Files, without.Files) << kind.szName;
  }
}

TEST(Reading, WhatIsNoFileOnADisk) {
  SyntheticOptions options;
  options.nStrips = 1;
  options.nImagesPerStrip = 3;
  const std::string again = "it is no file on a disk, and the run reads it more than once";
  Block block(options);
  block.Set("Apply_GPS_Data", "true");
  const SyntheticPaths& paths = block.Paths();
  const struct {
    std::string path, target, reason;
  } table[] = {
      {paths.szText, "/dev/zero", again},
      {paths.szGcp, "/dev/zero", again},
      {paths.szGcp, block / ".", "it is a folder"},
      {paths.szGcp, paths.szGcp, "Too many levels of symbolic links"},
      {paths.szPos, "/dev/zero", "a line of more than 16 MB begins at byte 0"},
      {paths.szXml, "/dev/zero", "it is larger than 64 MB"},
      {paths.szXml, block / ".", "it is a folder"},
  };
  BlockRun run;
  run.bPos = true;
  for (const auto& row : table) {
    const std::string content = ReadFile(row.path);
    std::filesystem::remove(row.path);
    std::filesystem::create_symlink(row.target, row.path);
    const RunOutcome outcome = block.Run(run);
    EXPECT_FALSE(outcome.bDone) << row.path;
    EXPECT_NE(outcome.szFault.find(row.path + ": " + row.reason), std::string::npos) << outcome.szFault;
    EXPECT_FALSE(Exists(block.Output("OrvoResult.ovc")));
    std::filesystem::remove(row.path);
    WriteFile(row.path, content);
  }
  EXPECT_TRUE(block.Run(run).bDone);
}

}  // namespace
}  // namespace orvo::test
