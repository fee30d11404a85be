// POS files matched to images.
#include <gtest/gtest.h>

#include <cmath>
#include <cstring>

#include "block/BlockParts.h"
#include "block/PosData.h"
#include "support/CapturedLog.h"
#include "support/TestFiles.h"

namespace orvo {
namespace {

using test::BlockParts;
using test::CapturedLog;
using test::ScratchFolder;
using test::WriteFile;

bool Match(BlockParts& block, const std::string& pos) {
  return MatchPosData(pos,
                      {block.Settings, block.Limits, block.Images, block.Inputs, block.System, block.Log});
}

/// Images a, b, c, ... at X = 0, 100, 200, ...; an upper case name is a deleted image.
class PosData : public ::testing::Test {
 protected:
  void MakeImages(const std::string& names) {
    block.Images.nImageFileNum = static_cast<int32_t>(names.size());
    block.Images.nImageNum = 0;
    block.Images.pEop.resize(names.size());
    block.Images.pImageNames.resize(names.size());
    for (size_t ordinal = 0; ordinal < names.size(); ++ordinal) {
      block.Images.pImageNames[ordinal].sz[0] = static_cast<char>(std::tolower(names[ordinal]));
      const bool kept = std::islower(names[ordinal]) != 0;
      block.Images.pImageIndex.push_back(kept ? block.Images.nImageNum : -1);
      if (kept)
        block.Images.pEop[static_cast<size_t>(block.Images.nImageNum++)].X =
            100.0 * static_cast<double>(ordinal);
    }
    block.Images.nUnknownImageNum = block.Images.nImageNum;
  }

  bool Read(const std::string& text) {
    WriteFile(folder / "pos.txt", text);
    return Match(block, folder / "pos.txt");
  }

  std::vector<double> Times() const {
    std::vector<double> times;
    for (const EopRecord& image : block.Images.Kept()) times.push_back(image.fTime);
    return times;
  }

  PosData() { block.Limits.Apply_GPS_Data = block.Limits.Apply_IMU_Data = true; }

  ScratchFolder folder;
  CapturedLog log;
  BlockParts block{NativePlatform(), log.Console()};
};

using Groups = std::vector<int32_t>;

TEST_F(PosData, WithoutAFileBothSwitchesAreCleared) {
  const struct {
    std::string path, message;
  } rows[] = {{"", "POS file is NULL!\n"},
              {folder / "absent.txt", "Open POS file failed!\n"},
              {folder.Path(), "Open POS file failed!\n"}};
  MakeImages("ab");
  for (const auto& row : rows) {
    block.Limits.Apply_GPS_Data = block.Limits.Apply_IMU_Data = true;
    EXPECT_EQ(Match(block, row.path), 0);
    EXPECT_FALSE(block.Limits.Apply_GPS_Data);
    EXPECT_FALSE(block.Limits.Apply_IMU_Data);
    EXPECT_EQ(log.Text().substr(log.Text().size() - row.message.size()), row.message);
  }
  EXPECT_TRUE(block.Images.pPos.empty());
}

TEST_F(PosData, ARecordStandsAtItsKeptImageInRadians) {
  MakeImages("aBc");
  EXPECT_EQ(Read("c 1 2 3 10 20 30 0\r\nb 9 9 9 9 9 9 0\r\n"), 1);
  ASSERT_EQ(block.Images.pPos.size(), 3u);
  EXPECT_EQ(block.Images.pPos[1].nStatus, 0);
  EXPECT_EQ(block.Images.pPos[1].X, 1);
  EXPECT_EQ(block.Images.pPos[1].Y, 2);
  EXPECT_EQ(block.Images.pPos[1].Z, 3);
  EXPECT_EQ(block.Images.pPos[1].fOmega, 10 / 57.29577951471995);
  EXPECT_EQ(block.Images.pPos[1].fPhi, 20 / 57.29577951471995);
  EXPECT_EQ(block.Images.pPos[1].fKappa, 30 / 57.29577951471995);
  for (const size_t without : {0, 2}) {
    EXPECT_EQ(block.Images.pPos[without].nStatus, kPosNotObserved);
    EXPECT_EQ(block.Images.pPos[without].X, 0);
    EXPECT_EQ(block.Images.pPos[without].fKappa, 0);
  }
  EXPECT_EQ(log.Count("Can not find"), 0);  // the deleted image has a name too
  EXPECT_EQ(log.Count("Find image name elapsed time:"), 1);
}

TEST_F(PosData, AllStripsZeroAreOneGroupWithoutTimes) {
  MakeImages("abc");
  EXPECT_EQ(Read("a 1 1 1 0 0 0 0\nb 1 1 1 0 0 0 0\nc 1 1 1 0 0 0 0\n"), 1);
  EXPECT_EQ(block.Images.nGroupNum, 1);
  EXPECT_EQ(block.Images.pImageGroup, (Groups{0, 0, 0}));
  EXPECT_EQ(Times(), (std::vector<double>{0, 0, 0}));
  EXPECT_EQ(log.Count("group number"), 0);
  EXPECT_EQ(log.Count("Strip ID"), 0);
  EXPECT_EQ(log.Count("Warning"), 0);
}

TEST_F(PosData, AFileWithoutUsableLinesIsOneGroup) {
  MakeImages("ab");
  EXPECT_EQ(Read(""), 1);
  EXPECT_EQ(block.Images.nGroupNum, 1);
  EXPECT_EQ(block.Images.pImageGroup, (Groups{0, 0}));
  EXPECT_EQ(block.Images.pPos[0].nStatus, kPosNotObserved);
}

TEST_F(PosData, StripsOfOneImageHaveNoGroup) {
  MakeImages("ab");
  EXPECT_EQ(Read("a 1 1 1 0 0 0 1\nb 1 1 1 0 0 0 2\n"), 1);
  EXPECT_EQ(block.Images.nGroupNum, 0);
  EXPECT_EQ(block.Images.pImageGroup, (Groups{-1, -1}));
  const std::string text = log.Text();
  EXPECT_EQ(text.substr(text.find("Total")),
            "Total group number:3\n"
            "Strip ID and image number:0 0\n"
            "Strip ID and image number:1 1\n"
            "Strip ID and image number:2 1\n"
            "New group number:0\n"
            "Warning!Part of images have no strip ID!\n"
            "Warning!Image 0 have no strip ID!\n"
            "Warning!Image 1 have no strip ID!\n");
}

TEST_F(PosData, GroupNumbersAreCompactInOrderOfId) {
  MakeImages("abcdef");
  block.Settings.Aircraft_Speed = 50;
  EXPECT_EQ(Read("a 1 1 1 0 0 0 7\nb 1 1 1 0 0 0 5\nc 1 1 1 0 0 0 0\n"
                 "d 1 1 1 0 0 0 7\ne 1 1 1 0 0 0 5\nf 1 1 1 0 0 0 0\n"),
            1);
  EXPECT_EQ(block.Images.nGroupNum, 3);
  EXPECT_EQ(block.Images.pImageGroup, (Groups{2, 1, 0, 2, 1, 0}));
  EXPECT_EQ(log.Count("Total group number:8\n"), 1);
  EXPECT_EQ(log.Count("New group number:3\n"), 1);
  EXPECT_EQ(log.Count("Strip ID and image number:"), 8);
  EXPECT_EQ(log.Count("Strip ID and image number:5 2\n"), 1);
  EXPECT_EQ(log.Count("Strip ID and image number:6 0\n"), 1);
  EXPECT_EQ(log.Count("Warning"), 0);
  EXPECT_EQ(Times(), (std::vector<double>{0, 0, 0, 6, 6, 6}));
}

TEST_F(PosData, TimesAlongYAreSignedByTheChangeOfY) {
  MakeImages("abc");
  block.Settings.Aircraft_Speed = 2;
  block.Images.pEop[0].X = block.Images.pEop[1].X = block.Images.pEop[2].X = 0;
  block.Images.pEop[1].Y = -10;
  block.Images.pEop[2].Y = 30;
  EXPECT_EQ(Read("a 0 0 0 0 0 0 1\nb 0 0 0 0 0 0 1\nc 0 0 0 0 0 0 1\n"), 1);
  EXPECT_EQ(Times(), (std::vector<double>{0, -5, 15}));
}

TEST_F(PosData, ADeletedImageHoldsAStripIdAndIsNotCounted) {
  MakeImages("aBcd");
  EXPECT_EQ(Read("a 1 1 1 0 0 0 1\nb 1 1 1 0 0 0 9\nc 1 1 1 0 0 0 1\nd 1 1 1 0 0 0 2\n"), 1);
  EXPECT_EQ(block.Images.nGroupNum, 1);
  EXPECT_EQ(block.Images.pImageGroup, (Groups{0, 0, -1}));
  EXPECT_EQ(log.Count("Total group number:10\n"), 1);
  EXPECT_EQ(log.Count("Strip ID and image number:9 0\n"), 1);
  EXPECT_EQ(log.Count("Warning!Image 2 have no strip ID!\n"), 1);
}

TEST_F(PosData, EmptyLinesAndUnknownNamesArePassedOver) {
  MakeImages("ab");
  EXPECT_EQ(Read("\n\r\n   \nx 5 5 5 5 5 5 3\na 1 2 3 0 0 0 0\n\nb 4 5 6 0 0 0 0"), 1);
  EXPECT_EQ(log.Count("Can not find this image name in the project file:"), 1);
  EXPECT_EQ(log.Count("Can not find this image name in the project file:x\n"), 1);
  EXPECT_EQ(block.Images.pPos[0].X, 1);
  EXPECT_EQ(block.Images.pPos[1].Z, 6);
}

TEST_F(PosData, AShortLineKeepsTheDegreesOfTheLineBefore) {
  MakeImages("abc");
  EXPECT_EQ(Read("a 1 2 3 90 45 30 1\nb 4 5 6\nc\n"), 1);
  EXPECT_EQ(block.Images.pPos[1].X, 4);
  for (const size_t i : {1, 2}) {
    // Once in radians, not once for each line.
    EXPECT_EQ(block.Images.pPos[i].fOmega, 90 / 57.29577951471995);
    EXPECT_EQ(block.Images.pPos[i].fPhi, 45 / 57.29577951471995);
    EXPECT_EQ(block.Images.pPos[i].fKappa, 30 / 57.29577951471995);
  }
  EXPECT_EQ(block.Images.pPos[2].Z, 6);
  EXPECT_EQ(block.Images.pImageGroup, (Groups{0, 0, 0}));
  EXPECT_EQ(log.Count("Total group number:2\n"), 1);
}

TEST_F(PosData, AShortFirstLineObservesNothing) {
  MakeImages("ab");
  EXPECT_EQ(Read("a 1 2\nb 1 2 3 4 5 6 0\n"), 1);
  EXPECT_EQ(block.Images.pPos[0].nStatus, kPosNotObserved);
  EXPECT_EQ(block.Images.pPos[0].X, 0);
  EXPECT_EQ(block.Images.pPos[1].nStatus, 0);
}

TEST_F(PosData, NonFiniteValuesLeaveTheLineOut) {
  const struct {
    const char* szLine;
    bool bGps, bImu, bTaken;
  } rows[] = {
      {"a nan 2 3 4 5 6 1", true, false, false},    {"a 1 inf 3 4 5 6 1", true, false, false},
      {"a 1 2 -inf 4 5 6 1", true, true, false},    {"a 1 2 1e999 4 5 6 1", true, false, false},
      {"a 1 2 3 nan 5 6 1", true, true, false},     {"a 1 2 3 4 inf 6 1", false, true, false},
      {"a 1 2 3 4 5 nan 1", false, true, false},    {"a 1 2 3 nan nan nan 1", true, false, true},
      {"a nan nan nan 4 5 6 1", false, true, true},
  };
  for (const auto& row : rows) {
    block.Images.pImageIndex.clear();
    MakeImages("abc");
    block.Limits.Apply_GPS_Data = row.bGps;
    block.Limits.Apply_IMU_Data = row.bImu;
    EXPECT_EQ(Read(std::string(row.szLine) + "\nb 1 1 1 1 1 1 1\nc 1 1 1 1 1 1 1\n"), 1);
    EXPECT_EQ(block.Images.pPos[0].nStatus, row.bTaken ? 0 : kPosNotObserved) << row.szLine;
    EXPECT_EQ(block.Images.pImageGroup[0], row.bTaken ? 0 : -1) << row.szLine;
    for (const double value :
         {block.Images.pPos[0].X, block.Images.pPos[0].Y, block.Images.pPos[0].Z, block.Images.pPos[0].fPhi,
          block.Images.pPos[0].fOmega, block.Images.pPos[0].fKappa}) {
      EXPECT_TRUE(std::isfinite(value)) << row.szLine;
    }
  }
}

TEST_F(PosData, OfEqualImageNamesTheFirstIsObserved) {
  MakeImages("aab");
  EXPECT_EQ(Read("b 7 7 7 0 0 0 0\na 1 2 3 0 0 0 0\n"), 1);
  EXPECT_EQ(block.Images.pPos[0].X, 1);
  EXPECT_EQ(block.Images.pPos[1].nStatus, kPosNotObserved);
  EXPECT_EQ(block.Images.pPos[2].X, 7);
}

TEST_F(PosData, OfEqualLinesTheLastStands) {
  MakeImages("ab");
  EXPECT_EQ(Read("a 1 1 1 0 0 0 1\nb 1 1 1 0 0 0 2\na 2 2 2 0 0 0 2\n"), 1);
  EXPECT_EQ(block.Images.pPos[0].X, 2);
  EXPECT_EQ(block.Images.pImageGroup, (Groups{0, 0}));
}

TEST_F(PosData, HugeStripIdsAreListedWithoutThoseBetween) {
  MakeImages("abcd");
  EXPECT_EQ(Read("a 1 1 1 0 0 0 2147483647\nb 1 1 1 0 0 0 2000000000\n"
                 "c 1 1 1 0 0 0 99999999999\nd 1 1 1 0 0 0 2000000000\n"),
            1);
  EXPECT_EQ(block.Images.nGroupNum, 2);
  EXPECT_EQ(block.Images.pImageGroup, (Groups{1, 0, 1, 0}));
  EXPECT_EQ(log.Count("Total group number:2147483648\n"), 1);
  EXPECT_EQ(log.Count("Strip ID and image number:"), 2);
  EXPECT_EQ(log.Count("Strip ID and image number:2000000000 2\nStrip ID and image number:2147483647 2\n"), 1);
  EXPECT_EQ(log.Count("New group number:2\n"), 1);
}

TEST_F(PosData, NegativeStripIdsAreNone) {
  MakeImages("abcd");
  EXPECT_EQ(Read("a 1 1 1 0 0 0 -1\nb 1 1 1 0 0 0 -2000000000\nc 1 1 1 0 0 0 1\nd 1 1 1 0 0 0 1\n"), 1);
  EXPECT_EQ(block.Images.pImageGroup, (Groups{-1, -1, 0, 0}));
  EXPECT_EQ(block.Images.pPos[1].X, 1);
}

TEST_F(PosData, TheRestOfAnOverlongLineIsTheNextLine) {
  const std::string notFound = "Can not find this image name in the project file:";
  const std::string line = "b 1 2 3 0 0 0 0\n", blanks(600, ' '), name(511, 'x');
  const struct {
    const char* about;
    std::string text, unknown;
    double Xa;  ///< of image a, not-a-number where nothing observes it
  } table[] = {
      {"name of 511", name + "\n" + line, name, NAN},
      {"rest that is no image", name + "rest 9 9 9 0 0 0 0\n" + line, "rest", NAN},
      {"rest that is an image", name + "a 9 9 9 0 0 0 0\n" + line, name, 9},
      {"rest of a good line", "a 4 5 6 0 0 0 0 " + blanks + "more 1 2 3\n" + line, "more", 4},
      {"blank rest", "a 4 5 6 0 0 0 0" + blanks + "\n" + line, "", 4},
      {"many pieces", std::string(100 * 511, 'y') + "a 7 7 7 0 0 0 0\n" + line, std::string(511, 'y'), 7},
  };
  for (const auto& row : table) {
    SCOPED_TRACE(row.about);
    CapturedLog messages;
    BlockParts own{NativePlatform(), messages.Console()};
    own.Limits.Apply_GPS_Data = true;
    own.Images.nImageFileNum = own.Images.nImageNum = own.Images.nUnknownImageNum = 2;
    own.Images.pEop.resize(2);
    own.Images.pImageNames.resize(2);
    own.Images.pImageNames[0].sz[0] = 'a';
    own.Images.pImageNames[1].sz[0] = 'b';
    own.Images.pImageIndex = {0, 1};
    WriteFile(folder / "pos.txt", row.text);
    EXPECT_EQ(Match(own, folder / "pos.txt"), 1);
    EXPECT_EQ(messages.Count(notFound) > 0, !row.unknown.empty());
    EXPECT_GE(messages.Count(notFound + row.unknown + "\n"), row.unknown.empty() ? 0 : 1);
    EXPECT_EQ(own.Images.pPos[0].nStatus == kPosNotObserved, std::isnan(row.Xa));
    if (!std::isnan(row.Xa)) {
      EXPECT_EQ(own.Images.pPos[0].X, row.Xa);
    }
    EXPECT_EQ(own.Images.pPos[1].X, 1);
  }
}

TEST_F(PosData, ANameThatFillsItsRowIsReadToItsEnd) {
  MakeImages("ab");
  std::memset(block.Images.pImageNames[0].sz, 'n', sizeof block.Images.pImageNames[0].sz);
  const std::string name(sizeof block.Images.pImageNames[0].sz, 'n');
  EXPECT_EQ(Read(name + " 1 2 3 0 0 0 0\n"), 1);
  EXPECT_EQ(block.Images.pPos[0].X, 1);
  EXPECT_EQ(Read(name + "n 5 5 5 0 0 0 0\n"), 1);
  EXPECT_EQ(block.Images.pPos[0].nStatus, kPosNotObserved);
}

TEST_F(PosData, ATableThatPointsBeyondTheImagesIsReported) {
  MakeImages("abc");
  block.Images.pImageIndex[2] = 7;
  EXPECT_EQ(Read("a 1 1 1 0 0 0 1\nb 1 1 1 0 0 0 1\nc 1 1 1 0 0 0 1\n"), 1);
  EXPECT_EQ(log.Count("==========================Error!\nImage ID invalid!\n"), 1);
  EXPECT_EQ(block.Images.pImageGroup[0], 0);
}

TEST_F(PosData, NoImagesAreNoTrouble) {
  EXPECT_EQ(Read("a 1 1 1 0 0 0 1\n"), 1);
  EXPECT_EQ(block.Images.nGroupNum, 1);
  EXPECT_EQ(log.Count("Can not find this image name in the project file:a\n"), 1);
}

TEST_F(PosData, ASpeedOfZeroGivesTime0) {
  MakeImages("ab");
  block.Settings.Aircraft_Speed = 0;
  EXPECT_EQ(Read("a 1 1 1 0 0 0 1\nb 1 1 1 0 0 0 1\n"), 1);
  EXPECT_EQ(Times(), (std::vector<double>{0, 0}));
}

}  // namespace
}  // namespace orvo
