#include <algorithm>
#include <cmath>
#include <limits>
#include <numeric>
#include <span>

#include "report/FigureParts.h"

namespace orvo::report {
namespace {

constexpr double kAngleStep = 2.5, kMostAngle = 90;  ///< degrees, as they come out
constexpr double kAngleBin = 0.1;                    ///< as they were counted
constexpr double kLeastCell = 64;                    ///< pixels on the ground
/// Points a square, in the mean: as many are wanted where that leaves enough squares, and at least the second
/// number in any case. Fewer show which squares happen to hold a point, and not how the ground is covered.
constexpr size_t kUsualPoints = 10, kLeastPoints = 3;
constexpr size_t kEnoughCells = 100;
constexpr double kStray = 0.001;  ///< share of the points that may lie outside, each way
/// Cells farther outside than this share of the extent are not shown.
constexpr double kShownMargin = 0.25;
constexpr double kMostColumns = 100000;  ///< cells along the extent; more are no map

/// `bins`: below, the bins, above.
Histogram HistogramOf(std::span<const int64_t> bins, double first, double step) {
  Histogram histogram;
  histogram.fFirst = first;
  histogram.fStep = step;
  histogram.vCounts.assign(bins.begin() + 1, bins.end() - 1);
  histogram.nBelow = bins.front();
  histogram.nAbove = bins.back();
  return histogram;
}

Histogram ResidualHistogram(std::span<const int64_t> bins, double reach) {
  return HistogramOf(bins, -reach, 2 * reach / static_cast<double>(bins.size() - 2));
}

Histogram AnglesOf(std::span<const int64_t> fine) {
  Histogram angles;
  angles.fStep = kAngleStep;
  const auto perStep = static_cast<size_t>(std::lround(kAngleStep / kAngleBin));
  angles.vCounts.assign(static_cast<size_t>(std::lround(kMostAngle / kAngleStep)), 0);
  for (size_t i = 0; i < fine.size(); ++i) {
    const size_t step = i / perStep;
    (step < angles.vCounts.size() ? angles.vCounts[step] : angles.nAbove) += fine[i];
  }
  return angles;
}

/// Middle of the bin that holds the median.
double MedianAngle(std::span<const int64_t> fine) {
  const int64_t all = std::accumulate(fine.begin(), fine.end(), int64_t{0});
  int64_t below = 0;
  for (size_t i = 0; i < fine.size(); ++i) {
    below += fine[i];
    if (below > 0 && 2 * below >= all) return (static_cast<double>(i) + 0.5) * kAngleBin;
  }
  return 0;
}

struct Weighed {
  double fValue;
  int64_t nWeight;
};

/// What lies between the shares of strays, by weight.
void InnerRange(std::vector<Weighed> values, double& low, double& high) {
  std::ranges::sort(values, {}, &Weighed::fValue);
  int64_t all = 0;
  for (const Weighed& value : values) all += value.nWeight;
  const double stray = kStray * static_cast<double>(all);
  int64_t seen = 0;
  bool isLow = false;
  for (const Weighed& value : values) {
    // With this one, more than the strays lie below its end; before it, fewer than all but the strays.
    if (static_cast<double>(seen) < static_cast<double>(all) - stray) high = value.fValue;
    seen += value.nWeight;
    if (isLow || static_cast<double>(seen) <= stray) continue;
    low = value.fValue;
    isLow = true;
  }
}

void FillCorners(std::span<const CellMap::Cell> cells, double side, PointFigures& figures) {
  if (cells.empty()) return;
  std::vector<Weighed> columns, rows, heights;
  for (const CellMap::Cell& cell : cells) {
    columns.push_back({static_cast<double>(cell.nColumn), cell.nPoints});
    rows.push_back({static_cast<double>(cell.nRow), cell.nPoints});
    heights.push_back({cell.fMeanZ, cell.nPoints});
  }
  InnerRange(std::move(columns), figures.Low.X, figures.High.X);
  InnerRange(std::move(rows), figures.Low.Y, figures.High.Y);
  InnerRange(std::move(heights), figures.Low.Z, figures.High.Z);
  figures.Low.X *= side;
  figures.Low.Y *= side;
  figures.High.X = (figures.High.X + 1) * side;
  figures.High.Y = (figures.High.Y + 1) * side;
}

/// Those near the corners, and what depends on them.
void FillCells(std::span<const CellMap::Cell> cells, double side, PointFigures& figures) {
  const double margin =
      kShownMargin * std::max(figures.High.X - figures.Low.X, figures.High.Y - figures.Low.Y);
  const auto first = [&](double low) { return std::floor((low - margin) / side); };
  const auto last = [&](double high) { return std::ceil((high + margin) / side) - 1; };
  const double firstColumn = first(figures.Low.X), lastColumn = last(figures.High.X);
  const double firstRow = first(figures.Low.Y), lastRow = last(figures.High.Y);
  int64_t below = 0;
  for (const CellMap::Cell& cell : cells) {
    const auto column = static_cast<double>(cell.nColumn), row = static_cast<double>(cell.nRow);
    if (column < firstColumn || column > lastColumn || row < firstRow || row > lastRow) continue;
    figures.vCells.push_back({static_cast<int32_t>(column - firstColumn),
                              static_cast<int32_t>(row - firstRow), cell.nPoints, cell.nRays, cell.fMeanZ});
    if (cell.nRays < 3 * cell.nPoints) ++below;
  }
  figures.fCellSize = side;
  figures.fCellX0 = firstColumn * side;
  figures.fCellY0 = firstRow * side;
  figures.fCellsBelow3 = 100.0 * static_cast<double>(below) / static_cast<double>(figures.vCells.size());
}

/// Doubles the squares until they hold points enough.
void CoarsenToPoints(CellMap& map) {
  std::vector<CellMap::Cell> cells = map.Cells();
  const auto points =
      std::accumulate(cells.begin(), cells.end(), size_t{0},
                      [](size_t sum, const auto& cell) { return sum + static_cast<size_t>(cell.nPoints); });
  // Four meet at the origin, however large they are.
  while (cells.size() > 4 && points < kUsualPoints * cells.size()) {
    CellMap coarser = map;
    coarser.Coarsen(map.Level() + 1);
    std::vector<CellMap::Cell> fewer = coarser.Cells();
    if (coarser.Level() == map.Level()) return;
    if (fewer.size() < kEnoughCells && points >= kLeastPoints * cells.size()) return;
    map = std::move(coarser);
    cells = std::move(fewer);
  }
}

}  // namespace

ResidualFigure FigureOf(const PlainSums& sums) {
  constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
  if (sums.nNum < 1) return {0, {kNone, kNone}, {kNone, kNone}};
  return {sums.nNum, sums.Rmse(), sums.Mean()};
}

void FillStrictResiduals(const FigurePass& pass, const FigureSums& sums, ResidualFigures& figures) {
  figures.StrictAll = FigureOf(sums.StrictAll);
  figures.StrictKept = FigureOf(sums.StrictKept);
  figures.nGross = sums.nUsed + sums.nGross > 0 || sums.nMeasurements < 1 ? sums.nGross : kUnknownCount;
  figures.nMeasurements = sums.nMeasurements;
  figures.X = ResidualHistogram(sums.vX, pass.HistogramReach().x);
  figures.Y = ResidualHistogram(sums.vY, pass.HistogramReach().y);
}

PointFigures PointFiguresOf(const FigureSums& sums, double gsd) {
  PointFigures figures;
  figures.nPoints = sums.nTie;
  figures.nNotIntersected = sums.nTieNotSolved;
  figures.nNotInFront = sums.nTieNotInFront;
  figures.Rays = HistogramOf(sums.vRays, 2, 1);
  figures.Angles = AnglesOf(sums.vAngles);
  figures.fMedianAngle = MedianAngle(sums.vAngles);
  const auto solved = static_cast<double>(std::max<int64_t>(sums.nTie - sums.nTieNotSolved, 1));
  figures.fMeanRays = static_cast<double>(sums.nTieRays) / solved;
  figures.fShareBelow3 = 100.0 * static_cast<double>(sums.nTieBelow3) / solved;
  figures.fGsd = gsd;
  CellMap map = sums.Cells;
  if (gsd > 0 && std::isfinite(gsd)) map.Coarsen(std::ilogb(kLeastCell * gsd) + 1);
  std::vector<CellMap::Cell> cells = map.Cells();
  if (cells.empty()) return figures;
  FillCorners(cells, map.Side(), figures);
  const auto extent = [&] {
    return std::max(figures.High.X - figures.Low.X, figures.High.Y - figures.Low.Y);
  };
  while (extent() > kMostColumns * map.Side()) {
    map.Coarsen(map.Level() + 1);
    cells = map.Cells();
    FillCorners(cells, map.Side(), figures);
  }
  // The corners keep the finer squares.
  CoarsenToPoints(map);
  FillCells(map.Cells(), map.Side(), figures);
  return figures;
}

}  // namespace orvo::report
