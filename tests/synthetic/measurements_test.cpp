// The measurements in the files against the truth, by code of its own.
#include <gtest/gtest.h>

#include <Eigen/Geometry>
#include <cmath>
#include <set>

#include "support/Block.h"

namespace orvo::test {
namespace {

/// Collinearity of a measurement at the truth: corrected measurement less the image of the point, in pixels.
Eigen::Vector2d Misclosure(const SyntheticTruth& truth, const Eigen::Vector3d& P, const FileMeasurement& m) {
  const SyntheticImage& image = truth.pImages[static_cast<size_t>(m.nImage)];
  const SyntheticCamera& camera = truth.pCameras[static_cast<size_t>(image.nCamera)];
  const Eigen::Quaterniond rotation = Eigen::AngleAxisd(-image.fPhi, Eigen::Vector3d::UnitY()) *
                                      Eigen::AngleAxisd(image.fOmega, Eigen::Vector3d::UnitX()) *
                                      Eigen::AngleAxisd(image.fKappa, Eigen::Vector3d::UnitZ());
  const Eigen::Vector3d inCamera = rotation.conjugate() * (P - Eigen::Vector3d(image.X, image.Y, image.Z));
  const Eigen::Vector2d collinear = -camera.fFocal * inCamera.head<2>() / inCamera.z();
  const Eigen::Vector2d w(m.x - camera.fPrincipalX, m.y - camera.fPrincipalY);
  const double r2 = w.squaredNorm();
  return w - w * (camera.fK1 * r2 + camera.fK2 * r2 * r2) - collinear;
}

Eigen::Vector3d TrueTiePoint(const SyntheticTruth& truth, size_t ordinal) {
  const SyntheticTrueTiePoint& point = truth.pTiePoints[ordinal];
  return {point.X, point.Y, point.Z};
}

SyntheticOptions SmallBlock() {
  SyntheticOptions options;
  options.nStrips = 3;
  options.nImagesPerStrip = 6;
  options.nCrossStrips = 1;
  options.nCameras = 3;
  options.fK1 = 8e-10;
  options.fK2 = -3e-18;
  options.fPrincipalX = 40;
  options.fPrincipalY = -25;
  return options;
}

TEST(Measurements, WithoutNoiseTheyAreCollinearInTextAndBinary) {
  SyntheticOptions options = SmallBlock();
  options.fNoise = 0;
  const Block block(options);
  const ProjectFile project = ReadProjectFile(block.Paths().szText);
  const std::vector<FilePoint> ovt = ReadOvtFile(block.Paths().szOvt);
  ASSERT_GT(project.pPoints.size(), 400u);
  ASSERT_EQ(project.pPoints.size(), block.Truth().pTiePoints.size());
  ASSERT_EQ(ovt.size(), project.pPoints.size());
  double worst = 0, worstBinary = 0;
  for (size_t i = 0; i < project.pPoints.size(); ++i) {
    const Eigen::Vector3d P = TrueTiePoint(block.Truth(), i);
    for (const FileMeasurement& m : project.pPoints[i].pMeasurements) {
      worst = std::max(worst, Misclosure(block.Truth(), P, m).cwiseAbs().maxCoeff());
    }
    for (const FileMeasurement& m : ovt[i].pMeasurements) {
      worstBinary = std::max(worstBinary, Misclosure(block.Truth(), P, m).cwiseAbs().maxCoeff());
    }
  }
  EXPECT_LT(worst, 1e-5);
  // Half a unit in the last place of a float between 4096 and 8192.
  EXPECT_LT(worstBinary, 2.5e-4 + 1e-5);
  for (const SyntheticGroundPoint& point : block.Truth().pGroundPoints) {
    for (const SyntheticMeasurement& m : point.pMeasurements) {
      EXPECT_LT(Misclosure(block.Truth(), {point.X, point.Y, point.Z}, {m.nImage, m.x, m.y}).norm(), 1e-8);
    }
  }
}

TEST(Measurements, BothProjectFormsHoldTheSame) {
  const Block block(SmallBlock());
  const ProjectFile text = ReadProjectFile(block.Paths().szText);
  const ProjectFile ovc = ReadProjectFile(block.Paths().szOvc);
  const std::vector<FilePoint> ovt = ReadOvtFile(block.Paths().szOvt);
  EXPECT_TRUE(ovc.pPoints.empty());
  EXPECT_EQ(ovc.nHeaderPoints, 0);
  EXPECT_EQ(text.nHeaderPoints, static_cast<int64_t>(ovt.size()));
  const auto tail = [](const std::string& text_) { return text_.substr(text_.find('\n')); };
  const std::string ovcText = tail(ReadFile(block.Paths().szOvc));
  EXPECT_EQ(tail(ReadFile(block.Paths().szText)).substr(0, ovcText.size()), ovcText);
  ASSERT_EQ(text.pPoints.size(), ovt.size());
  for (size_t i = 0; i < ovt.size(); ++i) {
    EXPECT_EQ(text.pPoints[i].szName, ovt[i].szName);
    EXPECT_EQ(ovt[i].nType, 0);
    for (size_t k = 0; k < 3; ++k) EXPECT_NEAR(text.pPoints[i].Position[k], ovt[i].Position[k], 6e-7);
    ASSERT_EQ(text.pPoints[i].pMeasurements.size(), ovt[i].pMeasurements.size());
    for (size_t j = 0; j < ovt[i].pMeasurements.size(); ++j) {
      const FileMeasurement &a = text.pPoints[i].pMeasurements[j], &b = ovt[i].pMeasurements[j];
      EXPECT_EQ(a.nImage, b.nImage);
      EXPECT_NEAR(a.x, b.x, 2.5e-4 + 5e-6);
      EXPECT_NEAR(a.y, b.y, 2.5e-4 + 5e-6);
    }
  }
}

TEST(Measurements, LieWithinTheirImagesOnTwoImagesOrMore) {
  SyntheticOptions options = SmallBlock();
  options.nImageWidth = 7001;  // the readers take half of it in whole pixels
  options.nImageHeight = 9999;
  options.fNoise = 20;
  options.fOutlierFraction = 0.2;
  const Block block(options);
  const ProjectFile project = ReadProjectFile(block.Paths().szText);
  for (const FilePoint& point : project.pPoints) {
    EXPECT_GE(point.pMeasurements.size(), 2u);
    std::set<int32_t> images;
    for (const FileMeasurement& m : point.pMeasurements) {
      EXPECT_TRUE(images.insert(m.nImage).second) << point.szName << " twice on " << m.nImage;
      EXPECT_LE(std::fabs(m.x), 3500);
      EXPECT_LE(std::fabs(m.y), 4999);
      EXPECT_GE(m.nImage, 0);
      EXPECT_LT(m.nImage, static_cast<int32_t>(project.pImages.size()));
    }
  }
}

TEST(Measurements, AreCompleteWithinTheImages) {
  SyntheticOptions options = SmallBlock();
  options.fNoise = 0;
  const Block block(options);
  const ProjectFile project = ReadProjectFile(block.Paths().szText);
  int missed = 0;
  for (size_t i = 0; i < project.pPoints.size(); i += 7) {
    const Eigen::Vector3d P = TrueTiePoint(block.Truth(), i);
    std::set<int32_t> images;
    for (const FileMeasurement& m : project.pPoints[i].pMeasurements) images.insert(m.nImage);
    for (int32_t image = 0; image < static_cast<int32_t>(project.pImages.size()); ++image) {
      if (images.count(image) != 0) continue;
      // Where the point would lie: the misclosure of the principal point is minus the collinear image.
      const SyntheticImage& at = block.Truth().pImages[static_cast<size_t>(image)];
      const SyntheticCamera& camera = block.Truth().pCameras[static_cast<size_t>(at.nCamera)];
      const Eigen::Vector2d xc =
          -Misclosure(block.Truth(), P, {image, camera.fPrincipalX, camera.fPrincipalY});
      // Well inside even with the distortion, of 150 px at most.
      if (std::fabs(xc.x()) < 3700 && std::fabs(xc.y()) < 5700 && (P.z() < at.Z)) ++missed;
    }
  }
  EXPECT_EQ(missed, 0);
}

TEST(Measurements, CountsOfTheTruthAreThoseOfTheFiles) {
  SyntheticOptions options = SmallBlock();
  options.fMeasurementsPerImage = 250;
  const Block block(options);
  const ProjectFile project = ReadProjectFile(block.Paths().szText);
  const SyntheticCounts& counts = block.Truth().Counts;
  int64_t measurements = 0;
  size_t most = 0;
  for (const FilePoint& point : project.pPoints) {
    measurements += static_cast<int64_t>(point.pMeasurements.size());
    most = std::max(most, point.pMeasurements.size());
  }
  EXPECT_EQ(counts.nTiePoints, static_cast<int64_t>(project.pPoints.size()));
  EXPECT_EQ(counts.nTieMeasurements, measurements);
  EXPECT_EQ(counts.nMaxRays, static_cast<int32_t>(most));
  EXPECT_DOUBLE_EQ(counts.fMeanRays,
                   static_cast<double>(measurements) / static_cast<double>(project.pPoints.size()));
  EXPECT_EQ(counts.nImages, static_cast<int64_t>(project.pImages.size()));
  EXPECT_EQ(counts.nCameras, 3);
  EXPECT_EQ(counts.nStrips, 4);
  EXPECT_NEAR(static_cast<double>(measurements) / static_cast<double>(counts.nImages), 250, 10);
  const std::vector<FilePoint> gcp = ReadGcpFile(block.Paths().szGcp);
  int64_t groundMeasurements = 0;
  for (const FilePoint& point : gcp) groundMeasurements += static_cast<int64_t>(point.pMeasurements.size());
  EXPECT_EQ(counts.nControlPoints + counts.nCheckPoints, static_cast<int64_t>(gcp.size()));
  EXPECT_EQ(counts.nGroundMeasurements, groundMeasurements);
}

TEST(Measurements, MoreOverlapGivesMoreRays) {
  SyntheticOptions options;
  options.nStrips = 6;
  options.nImagesPerStrip = 12;
  const double few = Block(options).Truth().Counts.fMeanRays;
  options.fForwardOverlap = 80;
  options.fSideOverlap = 60;
  const double many = Block(options).Truth().Counts.fMeanRays;
  // In the middle of the block 1 / 0.4 / 0.7 and 1 / 0.2 / 0.4 images see a point; less at its borders.
  EXPECT_GT(few, 2.8);
  EXPECT_LT(few, 1 / 0.4 / 0.7);
  EXPECT_GT(many, 7);
  EXPECT_LT(many, 1 / 0.2 / 0.4);
}

TEST(Measurements, NoiseHasItsSigma) {
  SyntheticOptions options = SmallBlock();
  options.fNoise = 0.7;
  const Block block(options);
  const ProjectFile project = ReadProjectFile(block.Paths().szText);
  double sum = 0, squares = 0;
  int count = 0;
  for (size_t i = 0; i < project.pPoints.size(); ++i) {
    for (const FileMeasurement& m : project.pPoints[i].pMeasurements) {
      // The distortion correction scales noise by less than a fifth; undo it by its local factor.
      const Eigen::Vector2d at = Misclosure(block.Truth(), TrueTiePoint(block.Truth(), i), m);
      const SyntheticImage& image = block.Truth().pImages[static_cast<size_t>(m.nImage)];
      const SyntheticCamera& camera = block.Truth().pCameras[static_cast<size_t>(image.nCamera)];
      const Eigen::Vector2d w(m.x - camera.fPrincipalX, m.y - camera.fPrincipalY);
      const double r2 = w.squaredNorm(), D = camera.fK1 * r2 + camera.fK2 * r2 * r2;
      const double slope = 2 * camera.fK1 + 4 * camera.fK2 * r2;
      const Eigen::Matrix2d J = (1 - D) * Eigen::Matrix2d::Identity() - slope * w * w.transpose();
      const Eigen::Vector2d noise = J.inverse() * at;
      sum += noise.sum();
      squares += noise.squaredNorm();
      count += 2;
    }
  }
  ASSERT_GT(count, 3000);
  EXPECT_NEAR(sum / count, 0, 5 * 0.7 / std::sqrt(count));
  EXPECT_NEAR(std::sqrt(squares / count), 0.7, 5 * 0.7 / std::sqrt(2.0 * count));
}

TEST(Measurements, OutliersAreAsManyAndAsLargeAsAskedFor) {
  SyntheticOptions options;
  options.fK1 = 0;
  options.fNoise = 0;
  options.fOutlierFraction = 0.1;
  options.fOutlierSize = 50;
  const Block block(options);
  const ProjectFile project = ReadProjectFile(block.Paths().szText);
  int outliers = 0, all = 0;
  for (size_t i = 0; i < project.pPoints.size(); ++i) {
    for (const FileMeasurement& m : project.pPoints[i].pMeasurements) {
      const double size = Misclosure(block.Truth(), TrueTiePoint(block.Truth(), i), m).norm();
      ++all;
      if (size < 1e-4) continue;
      ++outliers;
      EXPECT_GE(size, 50 - 1e-4);
      EXPECT_LE(size, 100 + 1e-4);
    }
  }
  EXPECT_EQ(outliers, block.Truth().Counts.nOutliers);
  EXPECT_NEAR(outliers, 0.1 * all, 5 * std::sqrt(0.09 * all));
  for (const SyntheticGroundPoint& point : block.Truth().pGroundPoints) {
    for (const SyntheticMeasurement& m : point.pMeasurements) EXPECT_FALSE(m.bOutlier);
  }
}

TEST(Measurements, PointCoordinatesInTheFilesAreOffByTheirSigma) {
  SyntheticOptions options;
  options.fPointStart = 3;
  const Block block(options);
  const ProjectFile project = ReadProjectFile(block.Paths().szText);
  double squares = 0;
  for (size_t i = 0; i < project.pPoints.size(); ++i) {
    const Eigen::Vector3d P(project.pPoints[i].Position.data());
    squares += (P - TrueTiePoint(block.Truth(), i)).squaredNorm();
  }
  const double count = 3.0 * static_cast<double>(project.pPoints.size());
  EXPECT_NEAR(std::sqrt(squares / count), 3, 5 * 3 / std::sqrt(2 * count));
}

TEST(Measurements, RandomOrderHoldsTheSamePointsInAnotherOrder) {
  SyntheticOptions options;
  options.nTruthPointLimit = 100000;
  const Block spatial(options);
  options.bRandomOrder = true;
  const Block random(options);
  const auto points = [](const Block& block) {
    std::multiset<std::pair<double, size_t>> found;
    for (const FilePoint& point : ReadOvtFile(block.Paths().szOvt)) {
      found.insert({point.pMeasurements[0].x, point.pMeasurements.size()});
    }
    return found;
  };
  EXPECT_EQ(points(spatial), points(random));
  // Mean distance from point to point along the file.
  const auto path = [](const Block& block) {
    const auto& p = block.Truth().pTiePoints;
    double length = 0;
    for (size_t i = 1; i < p.size(); ++i) length += std::hypot(p[i].X - p[i - 1].X, p[i].Y - p[i - 1].Y);
    return length / static_cast<double>(p.size() - 1);
  };
  EXPECT_GT(path(random), 5 * path(spatial));
}

TEST(Measurements, NamesFollowTheOrder) {
  const Block block;
  const ProjectFile project = ReadProjectFile(block.Paths().szText);
  EXPECT_EQ(project.pPoints.at(123).szName, "T0000123");
  EXPECT_EQ(project.pImages.at(5).szPath, "images/IMG_001006.jpg");
  EXPECT_EQ(project.pImages.at(5).nId, 1006);
}

}  // namespace
}  // namespace orvo::test
