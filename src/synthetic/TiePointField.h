// Tie points on a jittered grid over the ground, each made on its own from its grid cell.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "synthetic/SyntheticScene.h"

namespace orvo {

struct SyntheticTiePoint {
  int64_t nCell = 0;
  double X = 0, Y = 0, Z = 0;                    ///< true coordinates
  double fStartX = 0, fStartY = 0, fStartZ = 0;  ///< as they stand in the files
};

class TiePointField {
 public:
  /// Chooses the grid so that the images get the measurements that the options aim at, in the mean. The scene
  /// has to outlive the field.
  explicit TiePointField(const SyntheticScene& scene);

  /// False when no two images see the same ground.
  bool HasGround() const { return nCellsU > 0; }

  /// The point of the cell at a place of the chosen order, with its measurements; false when fewer than two
  /// images measure it.
  bool Make(int64_t place, SyntheticTiePoint& point, std::vector<SyntheticMeasurement>& measurements) const;

  /// visit(ordinal, point, measurements) for all points in their order. Always the same points.
  template <typename Visit>
  void VisitPoints(const Visit& visit) const {
    SyntheticTiePoint point;
    std::vector<SyntheticMeasurement> measurements;
    int64_t ordinal = 0;
    for (int64_t place = 0; place < nCellsU * nCellsV; ++place) {
      if (Make(place, point, measurements)) {
        visit(ordinal, static_cast<const SyntheticTiePoint&>(point),
              std::span<const SyntheticMeasurement>(measurements));
        ++ordinal;
      }
    }
  }

 private:
  /// Measurements on two images or more of a point somewhere on the ground, in the mean over the field.
  double MeanRays() const;
  int64_t CellAt(int64_t place) const;

  const SyntheticScene& Scene;
  double fHalfU, fHalfV;  ///< half extent of the field in the flight plan's plane
  int64_t nCellsU = 0, nCellsV = 0;
  int nHalfBits = 0;  ///< half the bits of a cell number, for the random order
};

}  // namespace orvo
