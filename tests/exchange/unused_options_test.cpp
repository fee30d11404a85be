#include "exchange/UnusedOptions.h"

#include <gtest/gtest.h>

#include "exchange/Commands.h"
#include "exchange/ModelFixture.h"

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

}  // namespace
}  // namespace orvo::exchange
