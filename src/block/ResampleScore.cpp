#include "block/ResampleScore.h"

#include <cmath>

namespace orvo {
namespace {

constexpr double kDistanceWeight = 0.01, kErrorWeight = 10.0;
// The number of rays deliberately decides nothing.
constexpr double kRayWeight = 0.0;

double CellExtent(int32_t imageExtent, int32_t cellsPerSide, double imageScale) {
  return std::trunc(static_cast<double>(imageExtent) / cellsPerSide + 1.0) * imageScale;
}

/// The integer part, where it is at least 0 and below `end`. False for a not-a-number, too.
bool IntegerPart(double value, int32_t end, int32_t& part) {
  if (!(value > -1.0 && value < end)) return false;
  part = static_cast<int32_t>(value);
  return true;
}

}  // namespace

ResampleGrid::ResampleGrid(const IopRecord& camera, int32_t cellsPerSide, double imageScale)
    : fFocal(camera.fFocal),
      fPrincipalX(camera.fPrincipalX),
      fPrincipalY(camera.fPrincipalY),
      fK1(camera.fK1),
      fK2(camera.fK2),
      fCellWidth(CellExtent(camera.nImageWidth, cellsPerSide, imageScale)),
      fCellHeight(CellExtent(camera.nImageHeight, cellsPerSide, imageScale)),
      fCentreX(camera.nImageWidth / 2 * imageScale),
      fCentreY(camera.nImageHeight / 2 * imageScale),
      nColumnEnd(camera.nImageWidth / 2),
      nRowEnd(camera.nImageHeight / 2) {}

ResampleCell FindResampleCell(const ResampleGrid& grid, float x, float y) {
  ResampleCell cell;
  const double u = grid.fCentreX + x, v = grid.fCentreY - y;
  cell.bInRange = IntegerPart(u / grid.fCellWidth, grid.nColumnEnd, cell.nColumn) &&
                  IntegerPart(v / grid.fCellHeight, grid.nRowEnd, cell.nRow);
  const double du = u - cell.nColumn * grid.fCellWidth - 0.5 * grid.fCellWidth;
  const double dv = 0.5 * grid.fCellHeight - (v - cell.nRow * grid.fCellHeight);
  cell.fDistance = std::sqrt(du * du + dv * dv);
  return cell;
}

float ComputeResampleScore(const ResampleView& view, const ResampleGrid& grid, double distance, double X,
                           double Y, double Z, float x, float y, int32_t imagePointNum) {
  const double dX = X - view.X, dY = Y - view.Y, dZ = Z - view.Z;
  const double U = view.R[0] * dX + view.R[3] * dY + view.R[6] * dZ;
  const double V = view.R[1] * dX + view.R[4] * dY + view.R[7] * dZ;
  const double W = view.R[2] * dX + view.R[5] * dY + view.R[8] * dZ;
  const float r2 = x * x + y * y;
  const double d = grid.fK1 * r2 + grid.fK2 * r2 * r2;
  const double xc = x - grid.fPrincipalX, yc = y - grid.fPrincipalY;
  const double ex = xc - xc * d + grid.fFocal * U / W;
  const double ey = yc - yc * d + grid.fFocal * V / W;
  const double error = std::sqrt(ex * ex + ey * ey);
  return static_cast<float>(kDistanceWeight * distance + kErrorWeight * error + kRayWeight * imagePointNum);
}

}  // namespace orvo
