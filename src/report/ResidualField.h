// Residuals by place in the image of a camera.
#pragma once

#include <array>
#include <cstdint>

#include "records/Records.h"
#include "report/PlainSums.h"
#include "report/RunFigures.h"

namespace orvo::report {

/// Of one camera.
struct ResidualField {
  struct Cell {
    int64_t nNum = 0;
    double fX = 0, fY = 0;
  };
  std::array<Cell, size_t{kGridColumns} * kGridRows> vCells;  ///< rows from the upper left corner
  std::array<PlainSums, kRadialBins> vRings;                  ///< x along the radius, y across it

  void Add(const ResidualField& other);
};

/// Where the residuals of a camera go, from its extent: the image centre is in the middle of the field, the
/// rings lie about the principal point.
class FieldScale {
 public:
  FieldScale() = default;
  /// `imageScale`: working units of a pixel.
  FieldScale(const IopRecord& camera, double imageScale);

  /// False for a camera whose extent nobody knows.
  bool IsKnown() const { return fPerRing > 0; }
  double RingWidth() const { return fRingWidth; }  ///< pixels; the last ring ends at the farthest corner
  /// A residual, pixels, of a measurement at (x, y), working units.
  void Add(double x, double y, const Pair& residual, ResidualField& field) const;

 private:
  double fHalfWidth = 0, fHalfHeight = 0, fX0 = 0, fY0 = 0;  ///< working units
  double fPerColumn = 0, fPerRow = 0, fPerRing = 0;          ///< of a working unit
  double fRingWidth = 0;
};

}  // namespace orvo::report
