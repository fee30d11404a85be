// Squares of the ground with what stands in them, for maps of any number of points.
#pragma once

#include <cstddef>
#include <cstdint>
#include <unordered_map>
#include <vector>

namespace orvo::report {

/// The sides are powers of two and the squares are aligned to multiples of their side. When more than a
/// limit of squares hold points, the side doubles, so that memory stays bounded. Sums of heights are exact,
/// as heights are rounded to a thousandth of the first side: what comes out depends neither on the order of
/// the points nor on how they were divided among maps.
class CellMap {
 public:
  static constexpr size_t kMostCells = 4000;

  struct Cell {
    int64_t nColumn = 0, nRow = 0;  ///< in sides, to the east and to the north of the origin
    int64_t nPoints = 0, nRays = 0;
    double fMeanZ = 0;
  };

  /// The first side is 2^level. A level that no side can have is brought back to one that it can.
  explicit CellMap(int level = 0, size_t mostCells = kMostCells);

  /// A point. One that is not finite, or so far off that its square has no number, is left out.
  void Add(double X, double Y, double Z, int64_t rays);
  /// Of the same first side and limit.
  void Add(const CellMap& other);
  /// Doubles the side until it is at least 2^level.
  void Coarsen(int level);

  int Level() const { return nLevel; }
  double Side() const;
  /// By row, then column.
  std::vector<Cell> Cells() const;

 private:
  struct Place {
    int64_t nColumn, nRow;
    bool operator==(const Place&) const = default;
  };
  struct PlaceHash {
    size_t operator()(const Place& place) const;
  };
  struct Sums {
    int64_t nPoints = 0, nRays = 0;
    double fHeights = 0;  ///< in steps; whole numbers

    void Add(const Sums& other);
  };

  void Double();

  int nLevel = 0;
  size_t nMost;
  double fPerSide, fPerStep;
  std::unordered_map<Place, Sums, PlaceHash> vCells;
};

}  // namespace orvo::report
