// Numbering of the unknowns of the reduced normal equations, by block row and by scalar position.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>
#include <vector>

#include "records/Records.h"

namespace orvo {

/// How the unknowns are laid out in the reduced normal equations.
enum LayoutMode : int32_t {
  LayoutEop = 0,           ///< a block of 6 for each image
  LayoutIop = 1,           ///< a block of 5 for each camera
  LayoutMergedEopIop = 2,  ///< a block of 11 for each image, its own camera included
  LayoutEopIop = 3         ///< blocks of 6 for the images, then of 5 for the cameras
};

/// Unknowns of one image, of one camera, and of an image together with a camera of its own.
inline constexpr int32_t kEopSize = 6, kIopSize = 5, kMergedSize = kEopSize + kIopSize;

/// What the unknowns of a block row belong to.
enum class BlockKind { Images, Cameras, ImagesWithCameras, PosGroups };

/// Block rows of equal size that follow each other.
struct BlockRun {
  BlockKind Kind = BlockKind::Images;
  int32_t nFirstRow = 0, nCount = 0;
  int32_t nSize = 0;           ///< unknowns of one row
  int64_t nFirstPosition = 0;  ///< scalar position of the first row

  int64_t EndPosition() const { return nFirstPosition + int64_t{nCount} * nSize; }
};

/// The measurements of one point; a range that leaves the array is cut.
inline std::span<const ImagePointRecord> MeasurementsOf(const ObjectPointRecord& point,
                                                        std::span<const ImagePointRecord> imagePoints) {
  const auto total = static_cast<int64_t>(imagePoints.size());
  const int64_t first = std::clamp<int64_t>(point.nFirstImagePoint, 0, total);
  const int64_t count = std::clamp<int64_t>(point.nImagePointNum, 0, total - first);
  return imagePoints.subspan(static_cast<size_t>(first), static_cast<size_t>(count));
}

/// Sizes of the blocks and numbers of the unknowns.
struct UnknownCounts {
  int32_t nLayoutMode = LayoutEop;
  int32_t nEopSize = 0, nIopSize = 0, nPosSize = 0;
  int32_t nBlockRowNum = 0, nDiagSize = 0, nDiagUpperSize = 0, nUnknownNum = 0;
};

/// Block rows and scalar positions of one layout. Rows of POS groups stand behind all others.
struct UnknownLayout {
  int32_t nLayoutMode = LayoutEop;
  int32_t nImageNum = 0;  ///< unknown images
  int32_t nCameraNum = 0;
  int32_t nPosSize = 0;                   ///< unknowns of one POS group
  int32_t nUsableCameraNum = nCameraNum;  ///< more where cameras are no unknowns and unused ones left holes

  /// Rows whose blocks have the size FirstSize(): images, or cameras in LayoutIop.
  [[gnu::always_inline]] int32_t FirstRows() const {
    return nLayoutMode == LayoutIop ? nCameraNum : nImageNum;
  }
  int32_t FirstSize() const {
    return nLayoutMode == LayoutIop ? kIopSize : nLayoutMode == LayoutMergedEopIop ? kMergedSize : kEopSize;
  }
  /// Camera rows behind the image rows, blocks of kIopSize.
  int32_t SecondRows() const { return nLayoutMode == LayoutEopIop ? nCameraNum : 0; }
  /// All rows but those of POS groups.
  int32_t PointRows() const { return FirstRows() + SecondRows(); }

  /// Unknowns of a block row.
  int32_t BlockSize(int32_t row) const {
    return row < FirstRows() ? FirstSize() : row < PointRows() ? kIopSize : nPosSize;
  }

  /// Scalar position of a block row; POS groups follow each other behind the others.
  int32_t Position(int32_t row) const {
    const int32_t first = FirstRows(), second = SecondRows();
    if (nLayoutMode == LayoutIop || row <= first) return FirstSize() * row;
    if (row <= first + second) return FirstSize() * first + kIopSize * (row - first);
    return FirstSize() * first + kIopSize * second + (row - first - second) * nPosSize;
  }
  /// Of the first `rowNum` rows.
  std::vector<int32_t> Positions(int32_t rowNum) const {
    std::vector<int32_t> positions;
    positions.reserve(static_cast<size_t>(std::max(rowNum, 0)));
    for (int32_t row = 0; row < rowNum; ++row) positions.push_back(Position(row));
    return positions;
  }

  /// All block rows, with `groupNum` POS groups behind those of the points; runs without rows left out.
  /// Groups that are left without drift parameters have their rows all the same. Cameras alone have no
  /// groups.
  std::vector<BlockRun> Runs(int32_t groupNum) const {
    std::vector<BlockRun> runs;
    // Counts may be any here: a layout whose rows leave 32 bits is refused by its SizesOf.
    int64_t row = 0, position = 0;
    const auto append = [&](BlockKind kind, int32_t count, int32_t size) {
      if (count < 1) return;
      runs.push_back({kind, static_cast<int32_t>(row), count, size, position});
      row += count;
      position = runs.back().EndPosition();
    };
    append(nLayoutMode == LayoutIop            ? BlockKind::Cameras
           : nLayoutMode == LayoutMergedEopIop ? BlockKind::ImagesWithCameras
                                               : BlockKind::Images,
           FirstRows(), FirstSize());
    append(BlockKind::Cameras, SecondRows(), kIopSize);
    if (nLayoutMode != LayoutIop) append(BlockKind::PosGroups, groupNum, nPosSize);
    return runs;
  }

  /// True when the measurement stands on a kept image and a kept camera.
  [[gnu::always_inline]] bool Holds(const ImagePointRecord& point) const {
    return point.nImage >= 0 && point.nImage < nImageNum && point.nCamera >= 0 &&
           point.nCamera < nUsableCameraNum;
  }
};

/// Sizes of the reduced system, wide enough for any block.
struct LayoutSizes {
  int64_t nBlockRows = 0, nUnknowns = 0;
  int64_t nDiagonal = 0,
          nDiagonalUpper = 0;  ///< elements of the diagonal blocks and of their upper triangles
};

inline LayoutSizes SizesOf(std::span<const BlockRun> runs) {
  LayoutSizes sizes;
  for (const BlockRun& run : runs) {
    const int64_t count = run.nCount, size = run.nSize;
    sizes.nBlockRows += count;
    sizes.nUnknowns += count * size;
    sizes.nDiagonal += count * size * size;
    sizes.nDiagonalUpper += count * size * (size + 1) / 2;
  }
  return sizes;
}

}  // namespace orvo
