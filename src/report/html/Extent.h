// What of the ground a map shows, and how much of a large block is drawn.
#pragma once

#include <cstddef>
#include <utility>
#include <vector>

#include "report/html/Frames.h"

namespace orvo::report {

/// From the smallest to the largest value, without those that lie far away from nearly all. Values that are
/// not finite don't count; {0, 0} where there is none.
std::pair<double, double> UsualRange(std::vector<double> values);

/// Within the frame of the map.
bool IsInside(const Map& map, const Pair& place);

/// Every how manieth of `count` things is drawn so that at most `most` are; 1 at least.
size_t DrawnStep(size_t count, size_t most);

/// Cells of the ground as they are drawn: several in one where there are too many, or next to no points in
/// one.
struct DrawnCells {
  std::vector<GroundCell> vCells;
  double fSize = 0, fX0 = 0, fY0 = 0;
  int32_t nMerged = 1;  ///< cells along the edge of a drawn one
};
DrawnCells CellsToDraw(const PointFigures& points, size_t most);

/// A map of the cells, its upper edge at `top`.
Map MapOfCells(const PointFigures& points, const DrawnCells& cells, double left, double top, double width,
               double most);

/// Where a cell is drawn.
Box BoxOf(const Map& map, const DrawnCells& cells, const GroundCell& cell);

/// Labels of a picture that must not overlap: true where the rectangle is free, which it is not from then on.
class LabelRoom {
 public:
  bool Take(const Box& box);
  /// Free or not, it is not from now on.
  void Block(const Box& box) { vTaken.push_back(box); }

 private:
  std::vector<Box> vTaken;
};

}  // namespace orvo::report
