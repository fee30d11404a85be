#include "verdict/RunNames.h"

#include <gtest/gtest.h>

#include <cstring>

namespace orvo::test {
namespace {

TEST(RunNames, OfImages) {
  ImageTable images;
  images.pImageOrdinal = {2, 0};
  images.pImageNames.resize(2);
  std::strcpy(images.pImageNames[0].sz, "DJI_0001");
  EXPECT_EQ(ImageNameOf(images, 1), "DJI_0001");
  EXPECT_EQ(ImageNameOf(images, 0), "2");  // beyond the names
  EXPECT_EQ(ImageNameOf(images, 7), "7");
}

TEST(RunNames, OfImagesWithoutAFolder) {
  ImageTable images;
  images.pImageOrdinal = {0, 1, 2, 3};
  images.pImageNames.resize(4);
  std::strcpy(images.pImageNames[0].sz, "DJI_0001");
  images.vBareNames = {"not this", "DJI_0002", ""};
  EXPECT_EQ(ImageNameOf(images, 0), "DJI_0001");
  EXPECT_EQ(ImageNameOf(images, 1), "DJI_0002");
  EXPECT_EQ(ImageNameOf(images, 2), "2");
  EXPECT_EQ(ImageNameOf(images, 3), "3");
  EXPECT_EQ(ImageNameAt(images, 3), "");
}

TEST(RunNames, OfCameras) {
  CameraTable cameras;
  cameras.pCameraIndex = {-1, 0, -1, 1};
  EXPECT_EQ(CameraNameOf(cameras, 0), "1");
  EXPECT_EQ(CameraNameOf(cameras, 1), "3");
  EXPECT_EQ(CameraNameOf(cameras, 2), "2");
}

}  // namespace
}  // namespace orvo::test
