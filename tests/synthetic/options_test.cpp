#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <set>

#include "support/TestFiles.h"
#include "synthetic/GenerateBlock.h"

namespace orvo {
namespace {

TEST(SyntheticOptions, DefaultsMakeABlock) { EXPECT_EQ(CheckSyntheticOptions({}), ""); }

TEST(SyntheticOptions, EveryOptionRefusesWhatLiesOutsideItsRange) {
  std::set<std::string> names;
  for (const SyntheticOption& option : SyntheticOptionTable()) {
    EXPECT_TRUE(names.insert(option.szName).second) << option.szName;
    SyntheticOptions options;
    std::visit(
        [&](auto field) {
          auto& value = options.*field;
          using Value = std::remove_reference_t<decltype(value)>;
          if constexpr (!std::is_same_v<Value, bool>) {
            for (const double wrong : {option.fMin - 1, option.fMax + 1}) {
              value = static_cast<Value>(wrong);
              EXPECT_NE(CheckSyntheticOptions(options).find(std::string("--") + option.szName),
                        std::string::npos)
                  << option.szName << " " << wrong;
            }
          }
          if constexpr (std::is_same_v<Value, double>) {
            for (const double wrong : {std::nan(""), HUGE_VAL, -HUGE_VAL}) {
              value = wrong;
              EXPECT_NE(CheckSyntheticOptions(options), "") << option.szName << " " << wrong;
            }
          }
        },
        option.field);
  }
  EXPECT_EQ(names.size(), SyntheticOptionTable().size());
}

TEST(SyntheticOptions, WhatCannotWorkTogetherIsRefusedByName) {
  const auto refusal = [](auto change) {
    SyntheticOptions options;
    change(options);
    return CheckSyntheticOptions(options);
  };
  const struct {
    const char* szName;
    std::string szRefusal;
  } rows[] = {
      {"--strips", refusal([](auto& o) { o.nStrips = o.nImagesPerStrip = 1; })},
      {"--strips", refusal([](auto& o) { o.nStrips = o.nImagesPerStrip = 100000; })},
      {"--cameras", refusal([](auto& o) { o.nCameras = o.nStrips + 1; })},
      {"--measurements", refusal([](auto& o) { o.nStrips = 1000, o.fMeasurementsPerImage = 1e6; })},
      {"--relief", refusal([](auto& o) { o.fRelief = 0.5 * o.fFlyingHeight; })},
      {"--scatter", refusal([](auto& o) { o.fScatter = 0.1 * o.fFlyingHeight; })},
      {"--outlier-size", refusal([](auto& o) { o.fOutlierFraction = 0.1, o.fOutlierSize = 5000; })},
      {"--start-focal", refusal([](auto& o) { o.fStartFocal = 5000; })},
      {"--k1", refusal([](auto& o) { o.fK1 = 1e-8; })},
      {"--k2", refusal([](auto& o) { o.fK2 = 1e-15; })},
      {"--tilt", refusal([](auto& o) { o.fTilt = 10, o.fFocal = 3000; })},
  };
  for (const auto& row : rows) {
    EXPECT_NE(row.szRefusal.find(row.szName), std::string::npos) << row.szName << ": " << row.szRefusal;
  }
}

TEST(GenerateBlock, RefusesWithoutWritingAnything) {
  test::ScratchFolder folder;
  SyntheticOptions options;
  options.nStrips = 0;
  const SyntheticBlock block = GenerateBlock(options, folder.Path(), "block");
  EXPECT_FALSE(block.bDone);
  EXPECT_NE(block.szError.find("--strips"), std::string::npos);
  EXPECT_TRUE(std::filesystem::is_empty(folder.Path()));
}

TEST(GenerateBlock, SaysWhenNoGroundIsSeenTwice) {
  test::ScratchFolder folder;
  SyntheticOptions options;
  options.nStrips = 2;
  options.nImagesPerStrip = 1;
  options.fSideOverlap = 0;
  options.fScatter = options.fTilt = options.fRelief = options.fK1 = 0;
  options.fHeading = 0;
  options.nImageHeight = 100;  // strips touch each other on a line without width
  const SyntheticBlock block = GenerateBlock(options, folder.Path(), "block");
  EXPECT_FALSE(block.bDone);
  EXPECT_NE(block.szError.find("--side-overlap"), std::string::npos) << block.szError;
}

TEST(GenerateBlock, TellsTheFolderThatCannotBeWrittenTo) {
  test::ScratchFolder folder;
  const SyntheticBlock block = GenerateBlock({}, folder / "missing", "block");
  EXPECT_FALSE(block.bDone);
  EXPECT_NE(block.szError.find(folder / "missing"), std::string::npos) << block.szError;
}

TEST(GenerateBlock, NoticesAFullDisk) {
  for (const char* name : {"block.prj", "block.ovt", "block.ovc", "block_gcp.txt", "block_pos.txt",
                           "AdjPara.xml", "AdjPara.ini", "truth.json"}) {
    test::ScratchFolder folder;
    std::filesystem::create_symlink("/dev/full", folder / name);
    const SyntheticBlock block = GenerateBlock({}, folder.Path(), "block");
    EXPECT_FALSE(block.bDone) << name;
    EXPECT_NE(block.szError.find(name), std::string::npos) << block.szError;
  }
}

TEST(GenerateBlock, WritesTheFormsAskedFor) {
  SyntheticForms none{false, false, false, false, false, false};
  const struct {
    bool SyntheticForms::*form;
    std::set<std::string> files;
  } rows[] = {{&SyntheticForms::bText, {"b.prj"}},
              {&SyntheticForms::bBinary, {"b.ovc", "b.ovt"}},
              {&SyntheticForms::bGcp, {"b_gcp.txt"}},
              {&SyntheticForms::bPos, {"b_pos.txt"}},
              {&SyntheticForms::bSettings, {"AdjPara.ini", "AdjPara.xml"}},
              {&SyntheticForms::bTruth, {"truth.json"}}};
  for (const auto& row : rows) {
    test::ScratchFolder folder;
    SyntheticForms forms = none;
    forms.*row.form = true;
    ASSERT_TRUE(GenerateBlock({}, folder.Path(), "b", forms).bDone);
    std::set<std::string> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder.Path())) {
      files.insert(entry.path().filename().string());
    }
    EXPECT_EQ(files, row.files);
  }
}

}  // namespace
}  // namespace orvo
