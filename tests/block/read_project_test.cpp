// Cameras, images, and the rules by which they go.
#include <gtest/gtest.h>

#include <cmath>

#include "block/BlockFiles.h"
#include "fuzz/Invariants.h"

namespace orvo::test {
namespace {

using Table = std::vector<int32_t>;

/// Reads a project without having counted its points.
int ReadText(LoggedBlock& block, const std::string& text) {
  ScratchFolder folder;
  WriteFile(folder / "block.prj", text);
  const int result = block->ReadTables(folder / "block.prj");
  EXPECT_EQ("", WhatIsWrongWithImages(*block));
  return result;
}

std::string Camera(const std::string& focal) { return "0 4000 3000 0 " + focal + " 0 0 0 0 0\n"; }

TEST(ReadProject, CamerasAndImages) {
  LoggedBlock block;
  block->Settings.Object_Coor_Scale = 10;
  ASSERT_EQ(1, ReadText(block, "2 1 0\n" + kCamera + "7 0\nd/left.tif\n1 0 .1 .2 .3 .4 0 0 .5\n1 2 3\n" +
                                   "8 0\nD:\\x\\right.tif\n1 0 0 0 1 0 0 0 1\n4 5 6\n"));
  EXPECT_EQ("", block.Log());
  EXPECT_EQ(2, block->Images.nImageFileNum);
  EXPECT_EQ(1, block->Cameras.nCameraFileNum);
  EXPECT_EQ(2, block->Images.nImageNum);
  EXPECT_EQ(2, block->Images.nUnknownImageNum);
  EXPECT_EQ(1, block->Cameras.nCameraNum);
  EXPECT_EQ((Table{0, 1}), block->Images.pImageIndex);
  EXPECT_EQ((Table{0, 1}), block->Images.pImageOrdinal);
  EXPECT_EQ((Table{0, 0}), block->Images.pImageCamera);
  EXPECT_EQ((Table{0}), block->Cameras.pCameraIndex);
  EXPECT_STREQ("left", block->Images.pImageNames[0].sz);
  EXPECT_STREQ("right", block->Images.pImageNames[1].sz);
  EXPECT_EQ(10, block->Images.pEop[0].X);
  EXPECT_EQ(60, block->Images.pEop[1].Z);
  EXPECT_DOUBLE_EQ(std::atan2(-.1, .5), block->Images.pEop[0].fPhi);
  EXPECT_DOUBLE_EQ(std::asin(-.4), block->Images.pEop[0].fOmega);
  EXPECT_DOUBLE_EQ(std::atan2(.2, .3), block->Images.pEop[0].fKappa);
  EXPECT_DOUBLE_EQ(50, block->Cameras.pIop[0].fFocal);
  EXPECT_DOUBLE_EQ(1e-3, block->Cameras.pIop[0].fK1);
  EXPECT_EQ(4000, block->Cameras.pIop[0].nImageWidth);
  EXPECT_EQ(3000, block->Cameras.pIop[0].nImageHeight);
}

TEST(ReadProject, WhichImagesAreKept) {
  struct Row {
    const char* about;
    std::string image;
    bool kept;
  };
  const std::string rotation = "1 0 0 0 1 0 0 0 1\n";
  for (const Row& row :
       {Row{"good", ImageText(1, 0), true}, Row{"at the origin", ImageText(1, 0, "0 0 0"), false},
        Row{"only Z", ImageText(1, 0, "0 0 5"), true}, Row{"only X", ImageText(1, 0, "-5 0 0"), true},
        Row{"negative camera", ImageText(1, -1), false}, Row{"camera count", ImageText(1, 2), false},
        Row{"huge camera", ImageText(1, 2147483647), false}, Row{"dropped camera", ImageText(1, 1), false},
        Row{"no camera", "1\nd/a.tif\n" + rotation + "1 2 3\n", false},
        Row{"text for camera", "1 x\nd/a.tif\n" + rotation + "1 2 3\n", false},
        Row{"no id", "x 0\nd/a.tif\n" + rotation + "1 2 3\n", false},
        Row{"no name", "1 0\n\n" + rotation + "1 2 3\n", true},
        Row{"eight reals", "1 0\nd/a.tif\n1 0 0 0 1 0 0 0\n1 2 3\n", false},
        Row{"two coordinates", "1 0\nd/a.tif\n" + rotation + "1 2\n", false},
        Row{"NaN position", ImageText(1, 0, "1 nan 3"), false},
        Row{"infinite position", ImageText(1, 0, "1 2 1e999"), false},
        Row{"NaN rotation", "1 0\nd/a.tif\n1 0 0 0 nan 0 0 0 1\n1 2 3\n", false},
        Row{"no rotation matrix", "1 0\nd/a.tif\n1 0 0 0 1 5 0 0 1\n1 2 3\n", false},
        Row{"missing", "", false}}) {
    LoggedBlock block;
    ASSERT_EQ(1, ReadText(block, "2 2 0\n" + Camera("50000") + Camera("0") + ImageText(0, 0) + row.image))
        << row.about;
    EXPECT_EQ((Table{0, row.kept ? 1 : -1}), block->Images.pImageIndex) << row.about;
    EXPECT_EQ(row.kept ? 2 : 1, block->Images.nImageNum) << row.about;
    EXPECT_EQ("", block.Log()) << row.about;
  }
}

TEST(ReadProject, KeptImagesCloseRanks) {
  LoggedBlock block;
  ASSERT_EQ(1, ReadText(block, "4 1 0\n" + kCamera + ImageText(0, 0, "0 0 0") + ImageText(1, 0, "1 1 1") +
                                   ImageText(2, -1) + ImageText(3, 0, "3 3 3")));
  EXPECT_EQ((Table{-1, 0, -1, 1}), block->Images.pImageIndex);
  EXPECT_EQ(1, block->Images.pImageOrdinal[0]);
  EXPECT_EQ(3, block->Images.pImageOrdinal[1]);
  EXPECT_EQ(1, block->Images.pEop[0].X);
  EXPECT_EQ(3, block->Images.pEop[1].X);
  EXPECT_EQ(4u, block->Images.pEop.size());
  EXPECT_STREQ("img0", block->Images.pImageNames[0].sz);
}

TEST(ReadProject, ImagesWithoutMeasureGoWithAWarning) {
  ProjectFiles files;
  WriteFile(files.szText, "3 1 1\n" + kCamera + ImageText(70, 0) + ImageText(80, 0) +
                              ImageText(90, 0, "0 0 0") + PointText("a", 0, {{0, 1, 1}}));
  LoggedBlock block;
  block->Count(files.szText, "");
  block.Log();
  EXPECT_EQ(1, block->ReadTables(files.szText));
  EXPECT_EQ("Warning!There is no point in image 80\nAutomatically delete this image 80!\n", block.Log());
  EXPECT_EQ((Table{0, -1, -1}), block->Images.pImageIndex);
}

TEST(ReadProject, NegativeImageIdEndsTheReading) {
  LoggedBlock block;
  EXPECT_EQ(0, ReadText(block, "3 1 0\n" + kCamera + ImageText(0, 0) + ImageText(-1, 0) + ImageText(2, 0)));
  EXPECT_EQ("Image ID invalid!\n", block.Log());
  EXPECT_EQ((Table{-1, -1, -1}), block->Images.pImageIndex);
  EXPECT_EQ(0, block->Images.nImageNum);
}

TEST(ReadProject, FilesThatCannotBeOpened) {
  ScratchFolder folder;
  LoggedBlock block;
  for (const std::string& path : {folder / "absent.prj", folder.Path(), std::string()}) {
    EXPECT_EQ(0, block->ReadTables(path)) << path;
    EXPECT_EQ("Can not open ovc file!\n", block.Log());
  }
}

TEST(ReadProject, ACameraOutOfRangeIsDroppedWithItsImages) {
  for (const char* focal : {"0", "1000001", "-5", "nan", "inf", "x"}) {
    LoggedBlock block;
    EXPECT_EQ(1, ReadText(block, "3 2 0\n" + Camera("50000") + Camera(focal) + ImageText(0, 0) +
                                     ImageText(1, 1) + ImageText(2, 0)));
    EXPECT_EQ((Table{0, -1}), block->Cameras.pCameraIndex) << focal;
    EXPECT_EQ((Table{0, -1, 1}), block->Images.pImageIndex) << focal;
    EXPECT_EQ("", block.Log()) << focal;
  }
}

TEST(ReadProject, ACameraWithoutImageGoesWithAWarning) {
  LoggedBlock block;
  EXPECT_EQ(
      1, ReadText(block, "2 2 0\n" + Camera("50000") + Camera("60000") + ImageText(0, 0) + ImageText(1, 0)));
  EXPECT_EQ("Warning!Camera 1 has no corresponding image!\nAutomatically delete camera 1!\n", block.Log());
  EXPECT_EQ(1, block->Cameras.nCameraNum);
  EXPECT_EQ((Table{0, -1}), block->Cameras.pCameraIndex);
  EXPECT_EQ((Table{0, 1}), block->Images.pImageIndex);
}

TEST(ReadProject, RowsOfCamerasAreNotMoved) {
  const std::string first = "Warning!Camera 0 has no corresponding image!\nAutomatically delete camera 0!\n";
  const std::string middle = "Warning!Camera 1 has no corresponding image!\nAutomatically delete camera 1!\n";
  const struct {
    const char* about;
    std::string cameras;
    int imagesOn[2];  ///< the cameras of two images
    int cameraNum;
    Table index;
    std::string log;
  } table[] = {
      {"first unused", Camera("50000") + Camera("60000"), {1, 1}, 1, {-1, 1}, first},
      {"first without focal length", Camera("0") + Camera("60000"), {1, 1}, 0, {-1, 0}, first},
      {"middle unused", Camera("50000") + Camera("60000") + Camera("70000"), {2, 0}, 2, {0, -1, 2}, middle},
      {"all but the last unused",
       Camera("50000") + Camera("60000") + Camera("70000"),
       {2, 2},
       1,
       {-1, -1, 2},
       first + middle},
  };
  const struct {
    const char* about;
    bool iopUnknown, direct, absolute;
  } modes[] = {{"images only", false, false, false},
               {"direct intersection", true, true, false},
               {"absolute orientation", true, false, true}};
  for (const auto& row : table) {
    for (const auto& mode : modes) {
      SCOPED_TRACE(std::string(row.about) + ", " + mode.about);
      LoggedBlock block;
      block->Settings.Set_IOP_Unknown = mode.iopUnknown;
      block->Settings.Direct_Intersection = mode.direct;
      block->Settings.Absolute_Orientation = mode.absolute;
      EXPECT_EQ(1,
                ReadText(block, "2 " + std::to_string(row.index.size()) + " 0\n" + row.cameras +
                                    ImageText(0, row.imagesOn[0]) + ImageText(1, row.imagesOn[1], "1 1 1")));
      EXPECT_EQ(row.log, block.Log());
      EXPECT_EQ(row.cameraNum, block->Cameras.nCameraNum);
      EXPECT_EQ(row.index, block->Cameras.pCameraIndex);
      EXPECT_EQ((Table{0, 1}), block->Images.pImageIndex);
      EXPECT_EQ(2, block->Images.nImageNum);
      EXPECT_EQ(2, block->Images.nUnknownImageNum);
      const int32_t used = row.index[static_cast<size_t>(row.imagesOn[0])];
      ASSERT_LT(used, static_cast<int32_t>(block->Cameras.Usable().size()));
      const double focal = row.index.size() == 2 ? 60 : 70;
      EXPECT_DOUBLE_EQ(focal, block->Cameras.Usable()[static_cast<size_t>(used)].fFocal);
    }
  }
}

TEST(ReadProject, ACameraBehindADeletedOneCannotBeAnUnknown) {
  LoggedBlock block;
  EXPECT_EQ(1, ReadText(block, "5 3 0\n" + Camera("50000") + Camera("60000") + Camera("70000") +
                                   ImageText(0, 2) + ImageText(1, 0, "1 1 1") + ImageText(2, 2) +
                                   ImageText(3, 0, "3 3 3") + ImageText(4, 2)));
  EXPECT_EQ(
      "Warning!Camera 1 has no corresponding image!\nAutomatically delete camera 1!\n"
      "Warning!Camera 2 cannot be an unknown behind a deleted camera!\nAutomatically delete its 3 images!\n",
      block.Log());
  EXPECT_EQ(2, block->Cameras.nCameraNum);
  EXPECT_EQ(2u, block->Cameras.Usable().size());
  EXPECT_EQ((Table{0, -1, -1}), block->Cameras.pCameraIndex);
  EXPECT_EQ((Table{-1, 0, -1, 1, -1}), block->Images.pImageIndex);
  EXPECT_EQ(2, block->Images.nImageNum);
  EXPECT_EQ(2, block->Images.nUnknownImageNum);
  EXPECT_EQ(1, block->Images.pImageOrdinal[0]);
  EXPECT_EQ(3, block->Images.pImageOrdinal[1]);
  EXPECT_EQ(1, block->Images.pEop[0].X);
  EXPECT_EQ(3, block->Images.pEop[1].X);
  EXPECT_DOUBLE_EQ(70, block->Cameras.pIop[2].fFocal);  // the rows stay where they are
}

TEST(ReadProject, OnADeviceAbsoluteOrientationAdjustsCamerasToo) {
  LoggedBlock block;
  block->Limits.Apply_GPU = block->Settings.Absolute_Orientation = true;
  EXPECT_EQ(-1, ReadText(block, "1 2 0\n" + Camera("50000") + Camera("60000") + ImageText(0, 1)));
  EXPECT_EQ(0, block->Images.nImageNum);
}

TEST(ReadProject, TheWarningCountsPlacesInTheFileUpToTheKeptNumber) {
  // One of two cameras is kept, so only the first place is looked at, and that is the dropped one.
  LoggedBlock block;
  EXPECT_EQ(1, ReadText(block, "1 2 0\n" + Camera("0") + Camera("50000") + ImageText(0, 1)));
  EXPECT_EQ(
      "Warning!Camera 0 has no corresponding image!\nAutomatically delete camera 0!\n"
      "Warning!Camera 1 cannot be an unknown behind a deleted camera!\nAutomatically delete its 1 images!\n",
      block.Log());
  EXPECT_EQ(0, block->Cameras.nCameraNum);
  EXPECT_EQ(0, block->Images.nImageNum);
}

TEST(ReadProject, FewerImagesThanCameras) {
  // The second camera has no place behind the deleted one and takes the only image with it.
  LoggedBlock block;
  EXPECT_EQ(-1, ReadText(block, "1 2 0\n" + Camera("50000") + Camera("60000") + ImageText(0, 1)));
  EXPECT_EQ(
      "Warning!Camera 0 has no corresponding image!\nAutomatically delete camera 0!\n"
      "Warning!Camera 1 cannot be an unknown behind a deleted camera!\nAutomatically delete its 1 images!\n"
      "Image number is less than camera\n",
      block.Log());
  EXPECT_EQ(1, block->Cameras.nCameraNum);
  EXPECT_EQ(0, block->Images.nImageNum);
}

TEST(ReadProject, HeadersThatMakeNoSense) {
  for (const char* header : {"", "\n", "x y z\n", "-1 -1 -1\n", "2147483647 2147483647 2147483647\n",
                             "99999999999 99999999999 99999999999999999999\n", "1\n", "2 -5 0\n"}) {
    LoggedBlock block;
    const int result = ReadText(block, header + kCamera + ImageText(0, 0));
    EXPECT_TRUE(result == 1 || result == 0 || result == -1) << header;
    EXPECT_EQ(0, block->Images.nImageNum) << header;
  }
}

TEST(ReadProject, CarriageReturnsMakeNoDifference) {
  std::string text = "2 1 0\n" + kCamera + ImageText(0, 0) + ImageText(1, 0), withReturns;
  for (char c : text) withReturns += c == '\n' ? std::string("\r\n") : std::string(1, c);
  LoggedBlock plain, returns;
  EXPECT_EQ(1, ReadText(plain, text));
  EXPECT_EQ(1, ReadText(returns, withReturns));
  EXPECT_EQ(plain->Images.pImageIndex, returns->Images.pImageIndex);
  EXPECT_EQ(plain->Images.pEop[1].Z, returns->Images.pEop[1].Z);
  EXPECT_STREQ("img1", returns->Images.pImageNames[1].sz);
}

TEST(ReadProject, ReadingAgainStartsAfresh) {
  LoggedBlock block;
  EXPECT_EQ(1, ReadText(block, "2 1 0\n" + kCamera + ImageText(0, 0) + ImageText(1, 0)));
  EXPECT_EQ(1, ReadText(block, "1 1 0\n" + kCamera + ImageText(0, 0)));
  EXPECT_EQ(1, block->Images.nImageNum);
  EXPECT_EQ(1, block->Cameras.nCameraNum);
}

}  // namespace
}  // namespace orvo::test
