// Which images hang together by enough points.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

namespace orvo {

/// Sets of images that points join, three times over: by every third point each, so that images which are
/// together in all three share no fewer than three points across any cut between them.
class ImageSets {
 public:
  explicit ImageSets(int32_t images = 0);
  /// The kept images of one point; `ordinal` chooses the third.
  void Join(int64_t ordinal, std::span<const int32_t> images);
  /// Adds what another one has joined.
  void Join(const ImageSets& other);
  /// A label for each image, equal for those that are together in all three.
  std::vector<int32_t> Cells() const;

 private:
  static int32_t Root(std::vector<int32_t>& parent, int32_t image);
  std::array<std::vector<int32_t>, 3> vParents;
};

/// Counts points between cells and joins cells that share at least `least` of them.
class CellJoiner {
 public:
  explicit CellJoiner(std::vector<int32_t> cells) : vCells(std::move(cells)) {}
  bool IsOne() const;
  void Count(std::span<const int32_t> images);
  /// The parts that remain, the largest first, by image. Cells join as long as one shares `least` points
  /// with another.
  std::vector<std::vector<int32_t>> Parts(int64_t least) const;

 private:
  std::vector<int32_t> vCells;
  std::vector<std::vector<int32_t>> vCrossing;  ///< the different cells of each point that has several
};

}  // namespace orvo
