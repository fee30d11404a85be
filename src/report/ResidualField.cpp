#include "report/ResidualField.h"

#include <algorithm>
#include <cmath>

namespace orvo::report {

void ResidualField::Add(const ResidualField& other) {
  for (size_t i = 0; i < vCells.size(); ++i) {
    vCells[i].nNum += other.vCells[i].nNum;
    vCells[i].fX += other.vCells[i].fX;
    vCells[i].fY += other.vCells[i].fY;
  }
  for (size_t i = 0; i < vRings.size(); ++i) vRings[i].Add(other.vRings[i]);
}

FieldScale::FieldScale(const IopRecord& camera, double imageScale)
    : fHalfWidth(camera.nImageWidth * imageScale / 2),
      fHalfHeight(camera.nImageHeight * imageScale / 2),
      fX0(camera.fPrincipalX),
      fY0(camera.fPrincipalY) {
  const double corner = std::hypot(fHalfWidth + std::fabs(fX0), fHalfHeight + std::fabs(fY0));
  if (!(fHalfWidth > 0 && fHalfHeight > 0) || !std::isfinite(corner) ||
      !std::isfinite(kRadialBins / fHalfWidth + kGridRows / fHalfHeight)) {
    return;
  }
  fPerColumn = kGridColumns / (2 * fHalfWidth);
  fPerRow = kGridRows / (2 * fHalfHeight);
  fPerRing = kRadialBins / corner;
  fRingWidth = corner / kRadialBins / imageScale;
}

void FieldScale::Add(double x, double y, const Pair& residual, ResidualField& field) const {
  const double column = std::clamp((x + fHalfWidth) * fPerColumn, 0.0, kGridColumns - 1.0);
  const double row = std::clamp((fHalfHeight - y) * fPerRow, 0.0, kGridRows - 1.0);
  ResidualField::Cell& cell =
      field.vCells[static_cast<size_t>(row) * kGridColumns + static_cast<size_t>(column)];
  ++cell.nNum;
  cell.fX += residual.x;
  cell.fY += residual.y;
  const double u = x - fX0, v = y - fY0, r = std::sqrt(u * u + v * v);
  const double cosine = r > 0 ? u / r : 1, sine = r > 0 ? v / r : 0;
  const double ring = std::clamp(r * fPerRing, 0.0, kRadialBins - 1.0);
  field.vRings[static_cast<size_t>(ring)].Add(residual.x * cosine + residual.y * sine,
                                              residual.y * cosine - residual.x * sine);
}

}  // namespace orvo::report
