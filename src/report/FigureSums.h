// What the pass for the figures sums up.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "report/CellMap.h"
#include "report/PlainSums.h"
#include "report/ResidualField.h"

namespace orvo::report {

inline constexpr size_t kResidualBins = 81;  ///< over 4 RMSE to both sides
inline constexpr size_t kRayBins = 19;       ///< 2 to 20 rays
inline constexpr size_t kAngleBins = 1800;   ///< of a tenth of a degree

struct FigureImageSums {
  PlainSums Strict;  ///< of StrictKept
  int64_t nUsed = 0, nGross = 0;
  double fHeights = 0;  ///< of its points, in the frame of the files; nUsed + nGross of them
};

struct FigureCameraSums {
  PlainSums Strict;
  int64_t nUsed = 0, nGross = 0;
};

/// Residuals in pixels.
struct FigureSums {
  // As the verdict's pass counts them: all types of points.
  int64_t nPoints = 0, nNotSolved = 0, nNotInFront = 0;
  int64_t nMeasurements = 0, nUsed = 0, nGross = 0;
  // Of tie points alone.
  int64_t nTie = 0, nTieNotSolved = 0, nTieNotInFront = 0;
  int64_t nTieRays = 0;    ///< kept ones of points that were intersected
  int64_t nTieBelow3 = 0;  ///< intersected, with fewer than three kept rays
  PlainSums StrictAll, StrictKept;
  std::array<int64_t, kResidualBins + 2> vX{}, vY{};  ///< below, the bins, above
  std::array<int64_t, kRayBins + 2> vRays{};
  std::array<int64_t, kAngleBins> vAngles{};
  std::vector<FigureImageSums> vImages;
  std::vector<FigureCameraSums> vCameras;
  std::vector<ResidualField> vFields;  ///< see FigurePass::FieldOf
  CellMap Cells;                       ///< in the frame of the files

  /// Of the same numbers of images, cameras and fields.
  void Add(const FigureSums& other);
};

}  // namespace orvo::report
