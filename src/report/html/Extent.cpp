#include "report/html/Extent.h"

#include <algorithm>
#include <cmath>
#include <map>

namespace orvo::report {

std::pair<double, double> UsualRange(std::vector<double> values) {
  std::erase_if(values, [](double value) { return !std::isfinite(value); });
  if (values.empty()) return {0, 0};
  std::ranges::sort(values);
  const size_t last = values.size() - 1;
  const double low = values[last / 20], high = values[last - last / 20], room = high - low;
  const auto first = std::ranges::lower_bound(values, low - room);
  const auto end = std::ranges::upper_bound(values, high + room);
  return {*first, *(end - 1)};
}

bool IsInside(const Map& map, const Pair& place) {
  return place.x >= map.Area.fLeft && place.x <= map.Area.Right() && place.y >= map.Area.fTop &&
         place.y <= map.Area.Bottom();
}

size_t DrawnStep(size_t count, size_t most) {
  return most == 0 || count <= most ? 1 : (count + most - 1) / most;
}

namespace {

constexpr size_t kFewCells = 200;

/// Whether squares hold so few points that a map of them is dots on paper.
bool IsSparse(const std::vector<GroundCell>& cells) {
  int64_t points = 0;
  for (const GroundCell& cell : cells) points += cell.nPoints;
  return cells.size() > kFewCells && points < 2 * std::ssize(cells);
}

}  // namespace

DrawnCells CellsToDraw(const PointFigures& points, size_t most) {
  DrawnCells drawn{points.vCells, points.fCellSize, points.fCellX0, points.fCellY0, 1};
  while ((drawn.vCells.size() > most || IsSparse(drawn.vCells)) && drawn.nMerged < (1 << 20)) {
    // By row, then column; heights are means by points.
    std::map<std::pair<int32_t, int32_t>, GroundCell> coarser;
    for (const GroundCell& cell : drawn.vCells) {
      const int32_t column = cell.nColumn / 2, row = cell.nRow / 2;
      GroundCell& sum = coarser[{row, column}];
      const int64_t num = sum.nPoints + cell.nPoints;
      if (num > 0) {
        sum.fMeanZ +=
            (cell.fMeanZ - sum.fMeanZ) * static_cast<double>(cell.nPoints) / static_cast<double>(num);
      }
      sum = {column, row, num, sum.nRays + cell.nRays, sum.fMeanZ};
    }
    if (coarser.size() >= drawn.vCells.size() && drawn.vCells.size() > most) break;
    drawn.vCells.clear();
    for (const auto& [place, cell] : coarser) drawn.vCells.push_back(cell);
    drawn.nMerged *= 2;
    drawn.fSize *= 2;
  }
  return drawn;
}

Map MapOfCells(const PointFigures& points, const DrawnCells& cells, double left, double top, double width,
               double most) {
  Triple low = points.Low, high = points.High;
  if (!(high.X > low.X) || !(high.Y > low.Y)) {
    std::vector<double> x, y;
    for (const GroundCell& cell : cells.vCells) {
      x.push_back(cells.fX0 + cells.fSize * (cell.nColumn + 0.5));
      y.push_back(cells.fY0 + cells.fSize * (cell.nRow + 0.5));
    }
    std::tie(low.X, high.X) = UsualRange(std::move(x));
    std::tie(low.Y, high.Y) = UsualRange(std::move(y));
  }
  const double around = cells.fSize / 2;
  low = {low.X - around, low.Y - around, 0};
  high = {high.X + around, high.Y + around, 0};
  return MapBelow(low, high, left, top, width, most);
}

Box BoxOf(const Map& map, const DrawnCells& cells, const GroundCell& cell) {
  // Neighbours share their edges to the tenth of a pixel that is written: no seams.
  const auto edge = [](double value) { return std::round(10 * value) / 10; };
  const Pair upper =
      map.At(cells.fX0 + cells.fSize * cell.nColumn, cells.fY0 + cells.fSize * (cell.nRow + 1.0));
  const Pair lower =
      map.At(cells.fX0 + cells.fSize * (cell.nColumn + 1.0), cells.fY0 + cells.fSize * cell.nRow);
  const double left = edge(upper.x), top = edge(upper.y);
  return {left, top, edge(lower.x) - left, edge(lower.y) - top};
}

bool LabelRoom::Take(const Box& box) {
  const bool taken = std::ranges::any_of(vTaken, [&](const Box& other) {
    return box.fLeft < other.Right() && other.fLeft < box.Right() && box.fTop < other.Bottom() &&
           other.fTop < box.Bottom();
  });
  if (!taken) vTaken.push_back(box);
  return !taken;
}

}  // namespace orvo::report
