// Blocks in memory for tests of the normal equations.
#pragma once

#include <cmath>
#include <numbers>
#include <random>

#include "geometry/camera/Rotation.h"
#include "normal/NormalParts.h"
#include "support/CapturedLog.h"
#include "support/TestFiles.h"

namespace orvo::test {

// Builders for NormalParts, and for the object of a run, whose parts bear the same names.

/// Sizes of the unknowns, as preprocessing sets them.
template <typename Parts>
void SetLayout(Parts& block, int32_t layoutMode, int32_t imageNum, int32_t cameraNum) {
  block.Unknowns.nLayoutMode = layoutMode;
  block.Settings.Set_EOP_Unknown = layoutMode != LayoutIop;
  block.Settings.Set_IOP_Unknown = layoutMode != LayoutEop;
  block.Images.nImageNum = block.Images.nUnknownImageNum = block.Images.nImageFileNum = imageNum;
  block.Cameras.nCameraNum = block.Cameras.nCameraFileNum = cameraNum;
  block.Unknowns.nEopSize = kEopSize;
  block.Unknowns.nIopSize = kIopSize;
  const LayoutSizes sizes = SizesOf(block.Layout().Runs(0));
  block.Unknowns.nBlockRowNum = static_cast<int32_t>(sizes.nBlockRows);
  block.Unknowns.nUnknownNum = static_cast<int32_t>(sizes.nUnknowns);
  block.Normal.pSubMatrixRows.assign(static_cast<size_t>(block.Unknowns.nBlockRowNum), {});
  block.Normal.pConstVector.assign(static_cast<size_t>(block.Unknowns.nUnknownNum), 0.0);
}

/// One section over all points in memory.
template <typename Parts>
void CloseSection(Parts& block) {
  block.Points.nObjectPointNum = std::ssize(block.Points.pObjectPoints);
  block.Points.nImagePointNum = std::ssize(block.Points.pImagePoints);
  block.Points.Sections.ObjectPoints = {{0, block.Points.nObjectPointNum - 1}};
  block.Points.Sections.ImagePoints = {{0, block.Points.nImagePointNum - 1}};
}

/// Appends a point without measurements.
template <typename Parts>
ObjectPointRecord& AppendPoint(Parts& block, double X, double Y, double Z, int32_t type = 0) {
  ObjectPointRecord point;
  point.X = X;
  point.Y = Y;
  point.Z = Z;
  point.nType = type;
  point.nFirstImagePoint = std::ssize(block.Points.pImagePoints);
  block.Points.pObjectPoints.push_back(point);
  return block.Points.pObjectPoints.back();
}

/// Appends a measurement to the last point.
template <typename Parts>
ImagePointRecord& AppendMeasurement(Parts& block, int32_t image, int32_t camera, double x, double y) {
  ImagePointRecord measurement;
  measurement.nImage = image;
  measurement.nCamera = camera;
  measurement.nObjectPoint = static_cast<int32_t>(block.Points.pObjectPoints.size()) - 1;
  measurement.x = static_cast<float>(x);
  measurement.y = static_cast<float>(y);
  block.Points.pImagePoints.push_back(measurement);
  ++block.Points.pObjectPoints.back().nImagePointNum;
  return block.Points.pImagePoints.back();
}

struct BlockOptions {
  int32_t nLayoutMode = LayoutEopIop;
  int32_t nImages = 12;
  int32_t nCameras = 3;  ///< as many as images in the merged layout
  int32_t nPoints = 120;
  bool bOddPoints = true;  ///< repeated and deleted images, unsorted measurements, control and check points
  bool bGrossPoints = false;
  uint32_t nSeed = 7;
};

/// Nadir images in two strips over rough ground, measured with a noise of 2e-3 around projections without
/// distortion.
template <typename Parts>
void FillBlock(Parts& block, BlockOptions options) {
  if (options.nLayoutMode == LayoutMergedEopIop) options.nCameras = options.nImages;
  SetLayout(block, options.nLayoutMode, options.nImages, options.nCameras);
  std::mt19937 random(options.nSeed);
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> uniform;
  block.Images.pEop.resize(static_cast<size_t>(options.nImages));
  for (int32_t i = 0; i < options.nImages; ++i) {
    EopRecord& eop = block.Images.pEop[static_cast<size_t>(i)];
    eop.X = 30.0 * (i / 2) + normal(random);
    eop.Y = 60.0 * (i % 2) + normal(random);
    eop.Z = 100.0 + normal(random);
    eop.fPhi = 0.05 * normal(random);
    eop.fOmega = 0.05 * normal(random);
    eop.fKappa = (i % 2) * std::numbers::pi + 0.1 * normal(random);
  }
  block.Cameras.pIop.resize(static_cast<size_t>(options.nCameras));
  for (IopRecord& iop : block.Cameras.pIop) {
    iop.fFocal = 5 + 0.1 * normal(random);
    iop.fPrincipalX = 0.02 * normal(random);
    iop.fPrincipalY = 0.02 * normal(random);
    iop.fK1 = 1e-4 * normal(random);
    iop.fK2 = 1e-5 * normal(random);
  }
  const double length = 30.0 * options.nImages / 2;
  while (std::ssize(block.Points.pObjectPoints) < options.nPoints) {
    const auto number = std::ssize(block.Points.pObjectPoints);
    AppendPoint(block, length * uniform(random), 60 * uniform(random), 10 * normal(random));
    if (options.bOddPoints && number % 7 == 3) block.Points.pObjectPoints.back().nType = number % 2 ? 1 : 2;
    const ObjectPointRecord point = block.Points.pObjectPoints.back();
    const bool gross = options.bGrossPoints && number % 5 == 1;
    for (int32_t k = 0; k < options.nImages; ++k) {
      // Measurements of every third point come in falling order of the images.
      const int32_t image = options.bOddPoints && number % 3 == 0 ? options.nImages - 1 - k : k;
      const EopRecord& eop = block.Images.pEop[static_cast<size_t>(image)];
      if (std::hypot(point.X - eop.X, point.Y - eop.Y) > 75) continue;
      const int32_t camera = options.nLayoutMode == LayoutMergedEopIop ? image : image % options.nCameras;
      const IopRecord& iop = block.Cameras.pIop[static_cast<size_t>(camera)];
      double R[9];
      ComputeRotationMatrix(eop.fPhi, eop.fOmega, eop.fKappa, R);
      const double d[3] = {point.X - eop.X, point.Y - eop.Y, point.Z - eop.Z};
      const double Xb = R[0] * d[0] + R[3] * d[1] + R[6] * d[2];
      const double Yb = R[1] * d[0] + R[4] * d[1] + R[7] * d[2];
      const double Zb = R[2] * d[0] + R[5] * d[1] + R[8] * d[2];
      const double x = -iop.fFocal * Xb / Zb + iop.fPrincipalX + 2e-3 * normal(random);
      const double y = -iop.fFocal * Yb / Zb + iop.fPrincipalY + 2e-3 * normal(random);
      AppendMeasurement(block, image, camera, x + (gross && k % 3 == 0 ? 1.0 : 0.0), y);
      if (!options.bOddPoints) continue;
      if (number % 11 == 5) AppendMeasurement(block, image, camera, x + 1e-3, y - 1e-3);
      if (number % 13 == 6 && k % 2 == 0)
        AppendMeasurement(block, k % 4 == 0 ? -1 : options.nImages, camera, x, y);
      // A measurement of the image with the neighbouring camera: it happens when a project lists an image
      // twice.
      if (number % 17 == 8 && options.nLayoutMode == LayoutEopIop) {
        AppendMeasurement(block, image, (camera + 1) % options.nCameras, x, y + 1e-3);
      }
    }
    if (block.Points.pObjectPoints.back().nImagePointNum < 3) {
      block.Points.pImagePoints.resize(
          static_cast<size_t>(block.Points.pObjectPoints.back().nFirstImagePoint));
      block.Points.pObjectPoints.pop_back();
    }
  }
  CloseSection(block);
  block.Residuals.fRmsResidualX = block.Residuals.fRmsResidualY = 0.1;
}

}  // namespace orvo::test
