// One pass over points at given orientations: how well the measurements fit, and what the points are worth.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "block/Connectivity.h"
#include "geometry/Intersection.h"
#include "geometry/camera/CameraModel.h"
#include "records/Records.h"

namespace orvo {

/// Orientations, cameras and limits of a pass, in working units.
struct PointPassInput {
  std::span<const EopRecord> Eop;
  std::span<const IopRecord> Iop;
  double fGrossX = 0, fGrossY = 0;  ///< a tie point's measurement above either is gross
  /// Of an adjustment that places points and leaves measurements out by itself: by measurement, 1 where it is
  /// out. Points stand where they are then, and nothing else is gross. Else empty.
  std::span<const uint8_t> LeftOut = {};
};

struct ImageSums {
  int64_t nUsed = 0, nGross = 0;
  int64_t nShared = 0;  ///< its points that another image sees, too
  double fSquares = 0;  ///< working units
  double fHeights = 0;  ///< sum of the heights of its points
};

struct CameraSums {
  int64_t nUsed = 0, nGross = 0;
  double fSquares = 0;
};

struct PointPassSums {
  int64_t nPoints = 0, nNotInFront = 0, nNotSolved = 0;
  int64_t nMeasurements = 0, nUsed = 0, nGross = 0;
  double fSumX = 0, fSumY = 0, fSquaresX = 0, fSquaresY = 0;
  std::vector<ImageSums> vImages;
  std::vector<CameraSums> vCameras;
  ImageSets Sets;

  void Add(const PointPassSums& other);
};

class PointPass {
 public:
  PointPass(const PointPassInput& input, int threads);
  /// Intersects the points anew, where they are no control points or placed, and takes their residuals. The
  /// points themselves stay as they are. Sums depend on the number of threads by rounding alone.
  void Add(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints);
  const PointPassSums& Sums() const { return Total; }
  const PointPassInput& Input() const { return In; }

 private:
  void AddRange(std::span<const ObjectPointRecord> points, std::span<const ImagePointRecord> imagePoints,
                int64_t firstOrdinal, PointPassSums& sums) const;
  PointPassSums EmptySums() const;

  PointPassInput In;
  std::vector<ImageFrame> vFrames;
  int nThreads;
  int64_t nTaken = 0;
  PointPassSums Total;
};

/// Residual of the observation equations, working units.
ImageCoordinates RayResidualOf(const ImageFrame& frame, const IopRecord& camera, const ImagePointRecord& ray,
                               const double* P);

/// The kept images of a point, one for each measurement, in `images`.
void KeptImagesOf(const ObjectPointRecord& point, std::span<const ImagePointRecord> imagePoints,
                  size_t imageNum, size_t cameraNum, std::vector<int32_t>& images);

}  // namespace orvo
