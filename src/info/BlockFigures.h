// What a block is like: counts, extent, heights, overlaps, rays.
#pragma once

#include <array>
#include <cstdint>
#include <map>
#include <optional>
#include <vector>

#include "info/Spread.h"
#include "info/Strips.h"
#include "records/SurveyBlock.h"

namespace orvo::info {

/// Lengths in object units, image lengths in pixels.
struct CameraFigures {
  SurveyCamera Camera;
  int64_t nImages = 0;
  Spread Gsd;  ///< of its images: median depth of the points along the camera axis over focal length
};

struct PointFigures {
  int64_t nPoints = 0, nMeasurements = 0;
  int64_t nSolved = 0;                      ///< of the points: their rays meet
  std::map<int32_t, int64_t> PointsOfRays;  ///< how many points have this number of measurements
  double dMeanRays = 0;
  std::array<double, 2> Rms{};  ///< strict residuals, x and y
};

/// From the least to the most coordinate; without places all 0.
struct Extent {
  std::array<double, 3> Least{}, Most{};
};

struct BlockFigures {
  int64_t nImages = 0;
  Extent Centres;                ///< of the projection centres
  std::optional<Extent> Ground;  ///< of the solved tie points; nothing without any

  bool bLooksDown = false;     ///< most images do; else Z is not up, and there is no height and no overlap
  Spread Height;               ///< of images above their ground
  Spread Gsd;                  ///< by image: depth over focal length
  double dRelief = 0;          ///< of the ground: from 5 to 95 per cent of the solved tie points
  Spread Tilt;                 ///< of the camera axis from the plumb line, degrees
  Spread MeasurementsOfImage;  ///< of tie points
  int64_t nImagesWithoutPoint = 0;
  Spread BaseToHeight;  ///< of a tie point: its longest base over its depth in the images

  PointFigures Tie, Control, Check;
  int64_t nPosLines = 0, nPosOfImages = 0;  ///< lines of the POS file, and those with an image
  StripList Strips;
  StripFigures OfStrips;
  std::vector<CameraFigures> Cameras;
};

/// Points are intersected from their rays; the coordinates that they have are not looked at.
BlockFigures FiguresOf(const SurveyBlock& block);

}  // namespace orvo::info
