// Sound files of every kind give no finding, before a run or in it.
#include <gtest/gtest.h>

#include "check/FindingTable.h"
#include "check/PointLines.h"
#include "run/InputCheck.h"
#include "support/Block.h"

namespace orvo::test {
namespace {

SyntheticOptions Small(int strips, int images, int cameras, int cross) {
  SyntheticOptions options;
  options.nStrips = strips;
  options.nImagesPerStrip = images;
  options.nCameras = cameras;
  options.nCrossStrips = cross;
  options.fMeasurementsPerImage = 30;
  options.nControlPoints = 5;
  options.nCheckPoints = 2;
  return options;
}

RunPaths PathsOf(const SyntheticPaths& paths, bool binary, bool colonForm, const std::string& out) {
  return {binary ? paths.szOvc : paths.szText, paths.szGcp, "", out, colonForm ? paths.szIni : paths.szXml};
}

TEST(GoodFiles, Examples) {
  EXPECT_EQ(Brief(CheckRunInputs({Example("seneca/seneca_start.prj"), Example("seneca/seneca_gcp.txt"), "",
                                  "", Example("seneca/AdjPara.xml")},
                                 false)),
            "");
  EXPECT_EQ(Brief(CheckRunInputs({Example("seneca/seneca_start.prj"), Example("seneca/seneca_gcp.txt"),
                                  Example("seneca/seneca_pos.txt"), "", Example("seneca/AdjPara_gps.xml")},
                                 false)),
            "");
  EXPECT_FALSE(FindFaultOfTextProject(Example("seneca/seneca_start.prj")));
}

TEST(GoodFiles, GeneratedBlocksOfEveryLayout) {
  for (const SyntheticOptions& options :
       {Small(1, 5, 1, 0), Small(2, 4, 2, 0), Small(2, 4, 0, 0), Small(3, 4, 1, 2)}) {
    Block block(options);
    for (const bool binary : {false, true}) {
      for (const bool colonForm : {false, true}) {
        const RunPaths paths = PathsOf(block.Paths(), binary, colonForm, block / "out");
        EXPECT_EQ(Brief(CheckRunInputs(paths, false)), "");
        BlockRun run;
        run.bBinary = binary;
        run.bColonForm = colonForm;
        run.Options.Rules = RunRules::Guarded;
        const RunOutcome outcome = block.Run(run);
        EXPECT_EQ(Brief(outcome.Refusals), "");
        EXPECT_EQ(Brief(outcome.Notes), "");
      }
    }
    block.Set("Apply_GPS_Data", "true");
    RunPaths paths = PathsOf(block.Paths(), false, false, block / "out");
    paths.szPos = block.Paths().szPos;
    EXPECT_EQ(Brief(CheckRunInputs(paths, false)), "");
  }
}

TEST(GoodFiles, EveryModeAndPathAcceptsThem) {
  Block block(Small(2, 4, 1, 0));
  for (const char* mode :
       {"Direct_Intersection", "Absolute_Orientation", "Apply_PCG_Model", "Resampling_Points"}) {
    block.Set(mode, "true");
    for (const bool binary : {false, true}) {
      for (const DeviceChoice at : {DeviceChoice::Cpu, DeviceChoice::Host}) {
        BlockRun run;
        run.bBinary = binary;
        run.Options.Rules = RunRules::Guarded;
        run.Options.At = at;
        const RunOutcome outcome = block.Run(run);
        EXPECT_TRUE(outcome.bDone) << mode;
        EXPECT_EQ(Brief(outcome.Refusals) + Brief(outcome.Notes), "") << mode;
      }
    }
    block.Set(mode, "false");
  }
}

TEST(GoodFiles, PosDataAndItsSwitches) {
  Block block(Small(2, 4, 1, 0));
  const SyntheticPaths& files = block.Paths();
  RunPaths off{files.szText, files.szGcp, files.szPos, "", files.szXml};
  EXPECT_EQ(Brief(CheckRunInputs(off, false)),
            ": error: the POS file is not used, for Apply_GPS_Data and Apply_IMU_Data are off.");
  EXPECT_EQ(Brief(CheckRunInputs(off, true)), "");
  for (const char* name : {"Apply_GPS_Data", "Apply_IMU_Data"}) {
    block.Set(name, "true");
    EXPECT_EQ(Brief(CheckRunInputs(off, false)), "") << name;
    RunPaths missing = off;
    missing.szPos.clear();
    EXPECT_EQ(Brief(CheckRunInputs(missing, false)),
              ": error: Apply_GPS_Data or Apply_IMU_Data is on, and no POS file is named.");
    EXPECT_EQ(Brief(CheckRunInputs(missing, true)), "");
    block.Set(name, "false");
  }
}

TEST(GoodFiles, WhatIsLostIsTold) {
  Block block(Small(1, 4, 1, 0));
  const std::string good = ReadFile(block.Paths().szText);
  // The first image at the origin: its points go with it.
  size_t begin = 0;
  for (int i = 0; i < 5; ++i) begin = good.find('\n', begin) + 1;
  const std::string lost = good.substr(0, begin) + "0 0 0" + good.substr(good.find('\n', begin));
  WriteFile(block.Paths().szText, lost);
  BlockRun run;
  run.Options.Rules = RunRules::Guarded;
  run.Options.Notes = CheckRunInputs(PathsOf(block.Paths(), false, false, ""), false);
  const RunOutcome outcome = block.Run(run);
  const std::string notes = Brief(outcome.Notes);
  EXPECT_NE(notes.find("left out, for the position is 0 0 0."), std::string::npos) << notes;
  EXPECT_NE(notes.find("measurements on images that are left out."), std::string::npos) << notes;
  EXPECT_NE(notes.find("left out whole, for a measurement is on an image that is left out."),
            std::string::npos)
      << notes;
  for (const Finding& note : outcome.Notes)
    EXPECT_NE(block.Log().find(TextOf(note) + "\n"), std::string::npos) << TextOf(note);
}

}  // namespace
}  // namespace orvo::test
