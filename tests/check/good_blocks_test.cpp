// Sound blocks of all kinds have no finding above a note.
#include <gtest/gtest.h>

#include <functional>
#include <string>

#include "check/BlockCheck.h"
#include "check/FindingTable.h"
#include "check/SurveyReading.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

std::string AboveNotes(const std::vector<Finding>& findings) {
  std::string text;
  for (const Finding& finding : findings) {
    if (finding.Weight != Severity::Note) text += finding.szCode + " " + TextOf(finding) + "\n";
  }
  return text;
}

/// What is found in files that can be read, with the settings of the run as they are by default.
std::string FoundIn(SurveyFiles files) {
  SurveyBlock block;
  Diagnosis diagnosis;
  if (!ReadSurvey(files, block, diagnosis)) return "can't be read\n" + AboveNotes(diagnosis.Findings());
  CheckBlock({block, files, AdjustmentSettings{}}, diagnosis);
  return AboveNotes(diagnosis.Findings());
}

/// Seneca in its three forms, with and without the raw geotags.
TEST(GoodBlocks, Seneca) {
  const auto pos = SharedData("seneca/seneca_pos.txt"), gcp = SharedData("seneca/seneca_gcp.txt");
  if (!pos) GTEST_SKIP() << "the shared data are not at hand";
  for (const char* name : {"seneca_small.prj", "seneca_small.ovc", "seneca_full.ovc", "seneca_start.prj"}) {
    for (const bool withPos : {false, true}) {
      SurveyFiles files;
      files.szProject = *SharedData(std::string("seneca/") + name);
      files.szGcp = *gcp;
      if (withPos) files.szPos = *pos;
      EXPECT_EQ(FoundIn(files), "") << name;
    }
  }
}

template <typename T, size_t N>
T Pick(const T (&values)[N], int which) {
  return values[static_cast<size_t>(which) % N];
}

/// Blocks that differ in everything: strips, cross strips, cameras, ground, noise, tilts, start and frame.
SyntheticOptions KindOfBlock(int i) {
  SyntheticOptions options;
  options.nSeed = 1000 + i;
  options.nStrips = 1 + i % 4;
  options.nImagesPerStrip = 3 + i / 3 % 5;
  options.nCrossStrips = i % 7 == 0 && options.nStrips > 1 ? 2 : 0;
  options.nCameras = i % 5 == 0 ? 0 : i % 3 == 0 ? options.nStrips : 1;
  options.fForwardOverlap = Pick({60.0, 80.0, 65.0}, i / 2);
  options.fSideOverlap = Pick({30.0, 60.0}, i / 5);
  options.fHeading = Pick({0.0, 20.0, 90.0, 137.0, -45.0}, i / 4);
  options.fTilt = Pick({0.0, 1.5, 0.5, 5.0}, i / 6);
  options.fScatter = Pick({0.0, 2.0}, i / 7);
  options.fNoise = Pick({0.0, 0.5, 2.0}, i / 8);
  options.fOutlierFraction = i % 11 == 0 ? 0.02 : 0;
  options.fOutlierSize = 30;
  options.fRelief = Pick({0.0, 60.0, 100.0}, i / 9);
  options.fMeasurementsPerImage = Pick({60.0, 100.0}, i / 10);
  if (i % 3 == 1) {  // a drone
    options.nImageWidth = 4000;
    options.nImageHeight = 3000;
    options.fFocal = 3600;
    options.fK1 = -2e-9;
    options.fFlyingHeight = 120;
    options.fRelief = std::min(options.fRelief, 20.0);
    options.fScatter = std::min(options.fScatter, 1.0);
    options.fStartPosition = 0.5;
    options.fPosNoise = 0.5;
  }
  if (i % 4 == 3) {
    options.fPrincipalX = 7;
    options.fPrincipalY = -5;
  }
  options.nControlPoints = Pick({6, 0, 4, 1, 8, 3}, i);
  options.nCheckPoints = Pick({3, 0, 6}, i);
  if (i % 10 == 4) {  // nothing is off at all
    options.fScatter = options.fTilt = options.fNoise = options.fOutlierFraction = 0;
    options.fStartPosition = options.fStartAngle = options.fStartFocal = options.fStartPrincipal = 0;
    options.fPosNoise = options.fImuNoise = options.fPosOffset = options.fPosDrift = 0;
  }
  if (options.nControlPoints == 0 || options.nControlPoints > 5) {  // a frame of its own
    if (i % 4 == 0) {
      options.fFrameScale = 0.01;
      options.fFrameKappa = 110;
      options.fFrameShiftX = -300;
    } else if (i % 4 == 1) {
      options.fFrameShiftX = 5000;
      options.fFrameShiftY = -8000;
      options.fFrameShiftZ = 700;
    }
  }
  return options;
}

class GeneratedBlocks : public testing::TestWithParam<int> {};

TEST_P(GeneratedBlocks, HaveNoFindingAboveANote) {
  const SyntheticForms forms{true, false, true, true, false, false};
  for (int i = GetParam(); i < GetParam() + 20; ++i) {
    const Block block(KindOfBlock(i), forms);
    SurveyFiles files;
    files.szProject = block.Paths().szText;
    if (i % 3 != 0) files.szPos = block.Paths().szPos;
    files.szGcp = block.Paths().szGcp;
    EXPECT_EQ(FoundIn(files), "") << i;
  }
}

struct StartRow {
  const char* szName;
  int nSeed;
  std::function<void(SyntheticOptions&)> Change;
};

/// Frames that nearly are those of a common error, and starts that are far off.
TEST(GoodBlocks, FramesAndStarts) {
  const StartRow rows[] = {
      {"half a turn", 1, [](SyntheticOptions& o) { o.fFrameKappa = 180; }},
      {"a quarter turn", 2, [](SyntheticOptions& o) { o.fFrameKappa = 90; }},
      {"a quarter turn back", 3, [](SyntheticOptions& o) { o.fFrameKappa = -90; }},
      {"nearly feet", 1, [](SyntheticOptions& o) { o.fFrameScale = 0.3; }},
      {"500 up", 1, [](SyntheticOptions& o) { o.fFrameShiftZ = 500; }},
      {"50 down", 1, [](SyntheticOptions& o) { o.fFrameShiftZ = -50; }},
      {"50 down with much control", 2,
       [](SyntheticOptions& o) { o.fFrameShiftZ = -50, o.nControlPoints = 10; }},
      {"focal length 3.8 % off", 5, [](SyntheticOptions& o) { o.fStartFocal = 250; }},
      {"focal length 5 % off", 2, [](SyntheticOptions& o) { o.fStartFocal = 500; }},
      {"angles 3 degrees off", 1, [](SyntheticOptions& o) { o.fStartAngle = 3; }},
      {"angles 3 degrees off, others", 3, [](SyntheticOptions& o) { o.fStartAngle = 3; }},
      {"a drone with angles 2 degrees off", 1,
       [](SyntheticOptions& o) {
         o.nControlPoints = 3;
         o.nImageWidth = 4000, o.nImageHeight = 3000, o.fFocal = 3000;
         o.fFlyingHeight = 60, o.fRelief = 2, o.fScatter = 1;
         o.fStartPosition = o.fStartAngle = 2;
       }},
  };
  for (const StartRow& row : rows) {
    SyntheticOptions options;
    options.nSeed = row.nSeed;
    row.Change(options);
    const Block block(options, {true, false, true, true, false, false});
    for (const bool withPos : {false, true}) {
      SurveyFiles files;
      files.szProject = block.Paths().szText;
      files.szGcp = block.Paths().szGcp;
      if (withPos) files.szPos = block.Paths().szPos;
      EXPECT_EQ(FoundIn(files), "") << row.szName << (withPos ? " with positions" : "");
    }
  }
}

INSTANTIATE_TEST_SUITE_P(All, GeneratedBlocks, testing::Range(0, 200, 20));

}  // namespace
}  // namespace orvo::test
