#include "exchange/UnusedOptions.h"

#include <gtest/gtest.h>

#include "exchange/Commands.h"
#include "exchange/ModelFixture.h"
#include "support/TestFiles.h"

namespace orvo::exchange {
namespace {

TEST(UnusedOptions, AreRefusedByName) {
  const struct {
    const char* szName;
    void (*Give)(ImportOptions& options);
  } rows[] = {
      {"images", [](ImportOptions& options) { options.szImages = "x"; }},
      {"tracks", [](ImportOptions& options) { options.szTracks = "x"; }},
      {"project", [](ImportOptions& options) { options.szProject = "x"; }},
      {"crs", [](ImportOptions& options) { options.szCrs = "x"; }},
      {"frame", [](ImportOptions& options) { options.Frame = FrameKind::Topocentric; }},
      {"height", [](ImportOptions& options) { options.szHeight = "x"; }},
      {"origin", [](ImportOptions& options) { options.szOrigin = "x"; }},
      {"check", [](ImportOptions& options) { options.CheckPoints = {"x"}; }},
      {"check-prefix", [](ImportOptions& options) { options.szCheckPrefix = "x"; }},
      {"angles", [](ImportOptions& options) { options.szAngles = "x"; }},
      {"distortion", [](ImportOptions& options) { options.Distortion = DistortionMode::Drop; }},
  };
  for (const auto& row : rows) {
    ImportOptions options;
    options.szForm = "form";
    options.Frame = FrameKind::AsIs;
    EXPECT_EQ(FaultOf([&] { RefuseUnused(options, {}); }).szWhat, "");
    row.Give(options);
    EXPECT_EQ(FaultOf([&] { RefuseUnused(options, {}); }).szWhat,
              "--" + std::string(row.szName) + " has no use with form");
    EXPECT_EQ(FaultOf([&] { RefuseUnused(options, {row.szName}); }).szWhat, "");
  }
}

TEST(UnusedOptions, OfModelsThroughTheCommands) {
  for (const char* form : {"colmap", "bundler", "bal"}) {
    const test::CommandRun run =
        test::RunOrvo({"import", form, "source", "--out", "block", "--crs", "EPSG:25832"});
    EXPECT_EQ(run.nCode, ExitFailed);
    EXPECT_NE(run.szErr.find("--crs has no use with " + std::string(form)), std::string::npos) << run.szErr;
  }
}

TEST(UnusedOptions, OfExportsThroughTheCommands) {
  const test::ScratchFolder scratch;
  test::WriteFile(scratch / "b.prj",
                  "2 1 1\n0 4000 3000 0 5000 0 0 0 0 0\n"
                  "1 0\na/left.jpg\n1 0 0 0 1 0 0 0 1\n0 0 1000\n"
                  "2 0\na/right.jpg\n1 0 0 0 1 0 0 0 1\n200 0 1000\n"
                  "T1 90 3 3 0\n2\n0 500 0\n1 -500 0\n");
  const struct {
    const char* szForm;
    std::vector<std::string> Given;
  } rows[] = {
      {"csv", {"--to-crs", "EPSG:25832"}},
      {"csv", {"--text"}},
      {"csv", {"--camera", "pinhole"}},
      {"csv", {"--pixel-size", "3"}},
      {"csv", {"--block-crs", "EPSG:25832"}},
      {"cameras", {"--to-crs", "EPSG:25832"}},
      {"cameras", {"--camera", "refit"}},
      {"las", {"--text"}},
      {"las", {"--camera", "refit"}},
      {"las", {"--pixel-size", "3"}},
      {"opensfm", {"--text"}},
      {"opensfm", {"--pixel-size", "3"}},
      {"opensfm", {"--to-crs", "EPSG:25832"}},
      {"ply", {"--block-crs", "EPSG:25832"}},
      {"ply", {"--text"}},
      {"geojson", {"--pixel-size", "3"}},
      {"colmap", {"--block-crs", "EPSG:25832"}},
      {"colmap", {"--pixel-size", "3"}},
      {"bal", {"--block-crs", "EPSG:25832"}},
  };
  for (const auto& row : rows) {
    std::vector<std::string> arguments = {"export", row.szForm, scratch / "b.prj", "--out", scratch / "out"};
    arguments.insert(arguments.end(), row.Given.begin(), row.Given.end());
    const test::CommandRun run = test::RunOrvo(arguments);
    EXPECT_EQ(run.nCode, ExitFailed) << row.szForm << row.Given[0];
    EXPECT_NE(run.szErr.find(row.Given[0] + " has no use with " + row.szForm), std::string::npos)
        << run.szErr;
    EXPECT_FALSE(test::Exists(scratch / "out"));
  }
}

TEST(UnusedOptions, WhatNoFormHasIsNoOption) {
  const test::CommandRun run =
      test::RunOrvo({"export", "las", "result", "--out", "never", "--form-version", "1"});
  EXPECT_EQ(run.nCode, ExitUsage);
  EXPECT_NE(run.szErr.find("--form-version"), std::string::npos) << run.szErr;
}

TEST(UnusedOptions, OfSurveysAndConversions) {
  const std::vector<std::string> rows[] = {
      {"--check", "import", "pos", "s", "--check", "A"},
      {"--angles", "import", "gcp", "s", "--angles", "orvo"},
      {"--distortion", "import", "gcp", "s", "--distortion", "fit"},
      {"--distortion", "import", "pos", "s", "--distortion", "fit"},
      {"--crs", "import", "opensfm", "s", "--crs", "EPSG:25832"},
  };
  for (const std::vector<std::string>& row : rows) {
    std::vector<std::string> arguments(row.begin() + 1, row.end());
    arguments.insert(arguments.end(), {"--out", "never"});
    const test::CommandRun run = test::RunOrvo(arguments);
    EXPECT_EQ(run.nCode, ExitFailed);
    EXPECT_NE(run.szErr.find(row[0] + " has no use with"), std::string::npos) << run.szErr;
  }
}

TEST(UnusedOptions, ValuesThatCanBeNoneAreUsage) {
  const struct {
    const char *szOption, *szValue;
    int nCode;
  } rows[] = {
      {"--origin", "34.41", ExitUsage},        {"--origin", "a,b", ExitUsage},
      {"--origin", "1,2,3,4", ExitUsage},      {"--origin", "1,2", ExitFailed},
      {"--angles", "banana", ExitUsage},       {"--angles", "body", ExitFailed},
      {"--height", "banana", ExitUsage},       {"--height", "none", ExitFailed},
      {"--height", "ellipsoidal", ExitFailed}, {"--height", "EPSG:5773", ExitFailed},
  };
  for (const auto& row : rows) {
    const test::CommandRun run =
        test::RunOrvo({"import", "pos", "/no/such/source", "--out", "never", row.szOption, row.szValue});
    EXPECT_EQ(run.nCode, row.nCode) << row.szOption << " " << row.szValue << "\n" << run.szErr;
  }
}

}  // namespace
}  // namespace orvo::exchange
