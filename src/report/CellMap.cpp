#include "report/CellMap.h"

#include <algorithm>
#include <cmath>

namespace orvo::report {
namespace {

constexpr int kLeastLevel = -60, kMostLevel = 500;
constexpr double kStepsPerSide = 1024;
/// Coordinates are below this number of steps: whole numbers that a double holds.
constexpr double kFarthest = 4503599627370496.0;  // 2^52

/// Half of it, down.
int64_t Halved(int64_t number) { return (number - (number & 1)) / 2; }

}  // namespace

size_t CellMap::PlaceHash::operator()(const Place& place) const {
  uint64_t h = static_cast<uint64_t>(place.nColumn) * 0x9E3779B97F4A7C15U;
  h ^= h >> 32U;
  h = (h + static_cast<uint64_t>(place.nRow)) * 0xC2B2AE3D27D4EB4FU;
  return static_cast<size_t>(h ^ (h >> 29U));
}

void CellMap::Sums::Add(const Sums& other) {
  nPoints += other.nPoints;
  nRays += other.nRays;
  fHeights += other.fHeights;
}

CellMap::CellMap(int level, size_t mostCells)
    : nLevel(std::clamp(level, kLeastLevel, kMostLevel)),
      nMost(std::max<size_t>(mostCells, 4)),
      fPerSide(std::ldexp(1, -nLevel)),
      fPerStep(fPerSide * kStepsPerSide) {}

double CellMap::Side() const { return std::ldexp(1, nLevel); }

void CellMap::Add(double X, double Y, double Z, int64_t rays) {
  // By the first side, so that it is the same points at every time. Not-a-number is left out, too.
  const double reach = kFarthest / fPerStep;
  if (!(std::fabs(X) < reach && std::fabs(Y) < reach && std::fabs(Z) < reach)) return;
  vCells[{static_cast<int64_t>(std::floor(X * fPerSide)), static_cast<int64_t>(std::floor(Y * fPerSide))}]
      .Add({1, rays, std::nearbyint(Z * fPerStep)});
  while (vCells.size() > nMost) Double();
}

void CellMap::Add(const CellMap& other) {
  if (other.nLevel > nLevel) Coarsen(other.nLevel);
  const int shift = nLevel - other.nLevel;
  for (const auto& [place, sums] : other.vCells) {
    Place own = place;
    for (int i = 0; i < shift; ++i) own = {Halved(own.nColumn), Halved(own.nRow)};
    vCells[own].Add(sums);
  }
  while (vCells.size() > nMost) Double();
}

void CellMap::Coarsen(int level) {
  while (nLevel < std::min(level, kMostLevel)) Double();
}

void CellMap::Double() {
  std::unordered_map<Place, Sums, PlaceHash> doubled;
  doubled.reserve(vCells.size());
  for (const auto& [place, sums] : vCells) doubled[{Halved(place.nColumn), Halved(place.nRow)}].Add(sums);
  vCells = std::move(doubled);
  ++nLevel;
  fPerSide /= 2;
}

std::vector<CellMap::Cell> CellMap::Cells() const {
  std::vector<Cell> cells;
  cells.reserve(vCells.size());
  for (const auto& [place, sums] : vCells) {
    cells.push_back({place.nColumn, place.nRow, sums.nPoints, sums.nRays,
                     sums.fHeights / static_cast<double>(sums.nPoints) / fPerStep});
  }
  std::ranges::sort(cells, [](const Cell& a, const Cell& b) {
    return a.nRow != b.nRow ? a.nRow < b.nRow : a.nColumn < b.nColumn;
  });
  return cells;
}

}  // namespace orvo::report
