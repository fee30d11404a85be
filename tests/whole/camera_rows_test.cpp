// A camera that no image uses, or that has no focal length, changes nothing where cameras stay as read.
#include <gtest/gtest.h>

#include <sstream>

#include "verdict/VerdictText.h"
#include "whole/DeviceRuns.h"

namespace orvo::test {
namespace {

struct Hole {
  const char* szAbout;
  int32_t nCameras;  ///< of the block without the hole
  int32_t nAt;       ///< ordinal of the additional camera
  const char* szFocal;
};

constexpr Hole kHoles[] = {{"first unused", 1, 0, "12000"},
                           {"first without focal length", 1, 0, "0"},
                           {"middle unused", 2, 1, "12000"},
                           {"first of three without focal length", 2, 0, "0"}};

SyntheticOptions Options(const Hole& hole) {
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 4;
  options.fSideOverlap = 50;
  options.nControlPoints = 5;
  options.nCheckPoints = 3;
  options.fMeasurementsPerImage = 60;
  options.nCameras = hole.nCameras;
  return options;
}

/// The project with one more camera, which no image uses.
std::string WithHole(const std::string& project, const Hole& hole) {
  std::istringstream in(project);
  std::string line, out;
  int32_t images = 0, cameras = 0;
  int64_t points = 0;
  in >> images >> cameras >> points;
  std::getline(in, line);
  std::ostringstream text;
  text << images << ' ' << cameras + 1 << ' ' << points << '\n';
  for (int32_t camera = 0; camera <= cameras; ++camera) {
    if (camera == hole.nAt) {
      text << "9 8000 12000 0 " << hole.szFocal << " 0 0 0 0 0\n";
      continue;
    }
    std::getline(in, line);
    text << line << '\n';
  }
  for (int32_t image = 0; image < images; ++image) {
    int32_t id = 0, camera = 0;
    in >> id >> camera;
    std::getline(in, line);
    text << id << ' ' << (camera < hole.nAt ? camera : camera + 1) << '\n';
    for (int i = 0; i < 3 && std::getline(in, line); ++i) text << line << '\n';
  }
  text << in.rdbuf();
  return text.str();
}

struct Mode {
  const char* szAbout;
  std::vector<std::pair<const char*, const char*>> Settings;
  BlockRun Run;
  bool bTieListing = false;
};

std::vector<Mode> Modes() {
  BlockRun text, binary, fast, literal;
  binary.bBinary = fast.bBinary = literal.bBinary = true;
  fast.Options = device::HostOptions();
  literal.Options = device::HostOptions(gpu::KernelForm::Literal);
  using Settings = std::vector<std::pair<const char*, const char*>>;
  const auto images = [](Settings more) {
    more.insert(more.end(), {{"Set_IOP_Unknown", "false"}, {"Max_LM_Iteration_Num", "4"}});
    return more;
  };
  return {{"dense", images({}), text},
          {"sparse", images({{"Apply_PCG_Model", "true"}}), binary},
          {"thinned", images({{"Resampling_Points", "true"}}), text},
          {"device, fast kernels", images({}), fast},
          {"device, literal kernels", images({}), literal},
          {"direct intersection", {{"Direct_Intersection", "true"}}, binary},
          {"absolute orientation", {{"Absolute_Orientation", "true"}}, text, true},
          {"direct intersection with a device", {{"Direct_Intersection", "true"}}, fast}};
}

/// What must not depend on the additional camera.
struct Outcome {
  std::vector<FileImage> Images;
  std::string sReport, sErrors, sPoints, sGcpPoints, sTiePoints;
};

std::string BehindLines(const std::string& text, int64_t lines) {
  size_t at = 0;
  for (int64_t i = 0; i < lines && at < text.size(); ++i) at = text.find('\n', at) + 1;
  return text.substr(at);
}

Outcome RunMode(Block& block, const Mode& mode, const std::string& output, int32_t cameras) {
  for (const auto& [element, value] : mode.Settings) block.Set(element, value);
  BlockRun run = mode.Run;
  run.szOutput = output;
  EXPECT_TRUE(block.Run(run).bDone) << block.Log();
  const int64_t head = 1 + cameras + 4 * block.Truth().Counts.nImages;
  Outcome outcome;
  outcome.Images = block.Result().pImages;
  outcome.sReport = BehindLines(ReadFile(block.Output("OrvoAdjustReport.txt")), 2);
  outcome.sErrors = ReadFile(block.Output("ObjectPointError.xyz"));
  outcome.sPoints = ReadFile(block.Output("OrvoResult.ovt"));
  outcome.sGcpPoints = BehindLines(ReadFile(block.Output("OrvoResult_gcp.rst")), head);
  outcome.sTiePoints = BehindLines(ReadFile(block.Output("OrvoResult.rst")), mode.bTieListing ? head : 0);
  return outcome;
}

TEST(CameraRows, AHoleAmongCamerasThatStayAsReadChangesNothing) {
  for (const Hole& hole : kHoles) {
    for (const Mode& mode : Modes()) {
      SCOPED_TRACE(std::string(hole.szAbout) + ", " + mode.szAbout);
      Block block(Options(hole));
      const Outcome expected = RunMode(block, mode, "plain", hole.nCameras);
      for (const std::string& path : {block.Paths().szText, block.Paths().szOvc}) {
        WriteFile(path, WithHole(ReadFile(path), hole));
      }
      const Outcome found = RunMode(block, mode, "hole", hole.nCameras + 1);
      EXPECT_NE(block.Log().find("Automatically delete camera"), std::string::npos);
      ASSERT_EQ(static_cast<int64_t>(expected.Images.size()), block.Truth().Counts.nImages);
      ASSERT_EQ(found.Images.size(), expected.Images.size());
      for (size_t i = 0; i < found.Images.size(); ++i) {
        EXPECT_EQ(found.Images[i].R, expected.Images[i].R) << i;
        EXPECT_EQ(found.Images[i].Position, expected.Images[i].Position) << i;
      }
      EXPECT_FALSE(expected.sReport.empty());
      EXPECT_EQ(found.sReport, expected.sReport);
      EXPECT_EQ(found.sErrors, expected.sErrors);
      EXPECT_EQ(found.sPoints, expected.sPoints);
      EXPECT_FALSE(expected.sGcpPoints.empty());
      EXPECT_EQ(found.sGcpPoints, expected.sGcpPoints);
      EXPECT_EQ(expected.sTiePoints.empty(), !mode.bTieListing);
      EXPECT_EQ(found.sTiePoints, expected.sTiePoints);
    }
  }
}

TEST(CameraRows, WhereCamerasAreUnknownImagesBehindAHoleAreLostWithAMessage) {
  const Hole hole = kHoles[2];
  Block block(Options(hole));
  WriteFile(block.Paths().szText, WithHole(ReadFile(block.Paths().szText), hole));
  block.Run();
  EXPECT_NE(block.Log().find("Warning!Camera 2 cannot be an unknown behind a deleted camera!\n"
                             "Automatically delete its 4 images!\n"),
            std::string::npos)
      << block.Log();
}

TEST(CameraRows, TheVerdictOfAnIntersectionIsThatWithoutTheHole) {
  for (const Hole& hole : kHoles) {
    SCOPED_TRACE(hole.szAbout);
    Block block(Options(hole));
    block.Set("Direct_Intersection", "true");
    const auto verdict = [&](const std::string& output) {
      BlockRun run;
      run.szOutput = output;
      run.Options.Rules = RunRules::Guarded;
      const RunOutcome outcome = block.Run(run);
      EXPECT_TRUE(outcome.bDone) << block.Log();
      return VerdictText(outcome.Judgement);
    };
    const std::string expected = verdict("plain");
    WriteFile(block.Paths().szText, WithHole(ReadFile(block.Paths().szText), hole));
    EXPECT_FALSE(expected.empty());
    EXPECT_EQ(verdict("hole"), expected);
  }
}

}  // namespace
}  // namespace orvo::test
