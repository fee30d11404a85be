// How well one measurement serves its cell of the thinning grid.
#pragma once

#include <cstdint>

#include "records/Records.h"

namespace orvo {

/// An image as the score sees it: projection centre and rotation (row-major, its transpose carries object
/// differences into the camera frame). Made once per image.
struct ResampleView {
  double X = 0, Y = 0, Z = 0;
  double R[9] = {};
};

/// The grid that the images of one camera share: N x N cells, measured from the upper left corner in working
/// image units. Made anew whenever the extent of the camera may have grown.
struct ResampleGrid {
  ResampleGrid() = default;
  ResampleGrid(const IopRecord& camera, int32_t cellsPerSide, double imageScale);

  double fFocal = 0, fPrincipalX = 0, fPrincipalY = 0, fK1 = 0, fK2 = 0;
  double fCellWidth = 0, fCellHeight = 0;
  double fCentreX = 0, fCentreY = 0;    ///< image centre from the upper left corner
  int32_t nColumnEnd = 0, nRowEnd = 0;  ///< half the extent in file units: a wide net, not the grid's size
};

/// The cell that a measurement falls into.
struct ResampleCell {
  bool bInRange = false;
  int32_t nRow = 0, nColumn = 0;  ///< may lie outside the grid
  double fDistance = 0;           ///< from the cell's centre
};

/// Cell of the image point (x, y), working image units. A quotient between -1 and 0 counts as column or row
/// 0.
ResampleCell FindResampleCell(const ResampleGrid& grid, float x, float y);

/// 0.01 D + 10 E + 0 n, smaller is better: D the distance from the cell's centre, E the reprojection error of
/// the object point (X, Y, Z), n its number of measurements, all in working image units. Computed in double
/// but for the squared radius, rounded to single at the end. Not finite where the point has no image.
float ComputeResampleScore(const ResampleView& view, const ResampleGrid& grid, double distance, double X,
                           double Y, double Z, float x, float y, int32_t imagePointNum);

}  // namespace orvo
