#include <gtest/gtest.h>

#include <cmath>
#include <map>

#include "support/Block.h"

namespace orvo::test {
namespace {

/// Images of each camera of the project file.
std::map<int32_t, int> ImagesByCamera(const ProjectFile& project) {
  std::map<int32_t, int> images;
  for (const FileImage& image : project.pImages) ++images[image.nCamera];
  return images;
}

SyntheticOptions FiveStrips(int32_t cameras) {
  SyntheticOptions options;
  options.nStrips = 5;
  options.nImagesPerStrip = 4;
  options.nCameras = cameras;
  return options;
}

TEST(Cameras, AreSharedAsAskedFor) {
  const struct {
    int32_t nCameras;
    std::map<int32_t, int> expected;
  } rows[] = {{1, {{0, 20}}}, {2, {{0, 12}, {1, 8}}}, {5, {{0, 4}, {1, 4}, {2, 4}, {3, 4}, {4, 4}}}};
  for (const auto& row : rows) {
    const Block block(FiveStrips(row.nCameras));
    EXPECT_EQ(ImagesByCamera(ReadProjectFile(block.Paths().szText)), row.expected);
  }
  const Block block(FiveStrips(0));
  const ProjectFile project = ReadProjectFile(block.Paths().szOvc);
  ASSERT_EQ(project.pCameras.size(), 20u);
  for (size_t i = 0; i < 20; ++i) EXPECT_EQ(project.pImages[i].nCamera, static_cast<int32_t>(i));
}

TEST(Cameras, OneCameraIsTheOneAskedFor) {
  const Block block(FiveStrips(1));
  const SyntheticCamera& camera = block.Truth().pCameras.at(0);
  EXPECT_EQ(camera.fFocal, 12000);
  EXPECT_EQ(camera.fPrincipalX, 0);
  EXPECT_EQ(camera.fK1, 1e-10);
}

TEST(Cameras, SeveralDifferAndKeepEqualPrincipalPointsEqual) {
  const Block block(FiveStrips(5));
  const auto& cameras = block.Truth().pCameras;
  for (size_t i = 0; i < cameras.size(); ++i) {
    EXPECT_EQ(cameras[i].fPrincipalX, cameras[i].fPrincipalY);
    EXPECT_NE(cameras[i].fFocal, 12000);
    for (size_t j = 0; j < i; ++j) {
      EXPECT_NE(cameras[i].fFocal, cameras[j].fFocal);
      EXPECT_NE(cameras[i].fPrincipalX, cameras[j].fPrincipalX);
      EXPECT_NE(cameras[i].fK1, cameras[j].fK1);
    }
  }
}

TEST(Cameras, StartValuesAreInTheFileWithTheirSigma) {
  SyntheticOptions options = FiveStrips(0);
  options.nImagesPerStrip = 40;
  options.fMeasurementsPerImage = 10;
  options.fStartFocal = 7;
  options.fStartPrincipal = 3;
  options.fStartK1 = 2e-12;
  options.fStartK2 = 1e-19;
  const Block block(options);
  const ProjectFile project = ReadProjectFile(block.Paths().szOvc);
  const auto& truth = block.Truth().pCameras;
  ASSERT_EQ(project.pCameras.size(), truth.size());
  double squares[5] = {};
  for (size_t i = 0; i < truth.size(); ++i) {
    const FileCamera& start = project.pCameras[i];
    EXPECT_EQ(start.nWidth, 8000);
    EXPECT_EQ(start.nHeight, 12000);
    EXPECT_EQ(start.nId, static_cast<int64_t>(i) + 11);
    const double off[5] = {start.fFocal - truth[i].fFocal, start.fPrincipalX - truth[i].fPrincipalX,
                           start.fPrincipalY - truth[i].fPrincipalY, start.fK1 - truth[i].fK1,
                           start.fK2 - truth[i].fK2};
    for (int k = 0; k < 5; ++k) squares[k] += off[k] * off[k];
  }
  const double sigma[5] = {7, 3, 3, 2e-12, 1e-19};
  const auto count = static_cast<double>(truth.size());
  for (int k = 0; k < 5; ++k) {
    EXPECT_NEAR(std::sqrt(squares[k] / count), sigma[k], 5 * sigma[k] / std::sqrt(2 * count)) << k;
  }
}

TEST(SyntheticProjector, DistortionIsTheInverseOfTheCorrection) {
  for (const double k1 : {-2e-9, 0.0, 8e-10}) {
    const SyntheticCamera camera{12000, 0, 0, k1, 1e-18};
    for (double r = 0; r <= 7300; r += 37) {
      const double corrected = r * (1 - k1 * r * r - 1e-18 * r * r * r * r);
      EXPECT_NEAR(DistortRadius(camera, corrected), r, 1e-9) << k1;
    }
  }
}

TEST(SyntheticProjector, SeesNothingBehindOrBesideTheImage) {
  SyntheticImage image;
  SyntheticRotation(0, 0, 0, image.R);
  image.Z = 1000;
  const SyntheticProjector projector({1000, 0, 0, 0, 0}, 400, 600);
  const auto middle = projector.Project(image, 10, 20, 0);
  ASSERT_TRUE(middle);
  EXPECT_DOUBLE_EQ(middle->x, 10);
  EXPECT_DOUBLE_EQ(middle->y, 20);
  EXPECT_FALSE(projector.Project(image, 10, 20, 2000)) << "behind";
  EXPECT_FALSE(projector.Project(image, 10, 20, 1000)) << "in the plane of the projection centre";
  EXPECT_TRUE(projector.Project(image, 199, 299, 0));
  EXPECT_FALSE(projector.Project(image, 201, 0, 0));
  EXPECT_FALSE(projector.Project(image, 0, -301, 0));
}

}  // namespace
}  // namespace orvo::test
