// Numbering of the unknowns of the reduced normal equations, by block row and by scalar position.
#pragma once

#include <algorithm>
#include <cstdint>
#include <span>

#include "records/Records.h"

namespace orvo {

/// How the unknowns are laid out in the reduced normal equations.
enum LayoutMode : int32_t {
  LayoutEop = 0,           ///< a block of 6 for each image
  LayoutIop = 1,           ///< a block of 5 for each camera
  LayoutMergedEopIop = 2,  ///< a block of 11 for each image, its own camera included
  LayoutEopIop = 3         ///< blocks of 6 for the images, then of 5 for the cameras
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
    return nLayoutMode == LayoutIop ? 5 : nLayoutMode == LayoutMergedEopIop ? 11 : 6;
  }
  /// Camera rows behind the image rows, blocks of 5.
  int32_t SecondRows() const { return nLayoutMode == LayoutEopIop ? nCameraNum : 0; }
  /// All rows but those of POS groups.
  int32_t PointRows() const { return FirstRows() + SecondRows(); }

  /// Scalar position of a block row; POS groups follow each other behind the others.
  int32_t Position(int32_t row) const {
    const int32_t first = FirstRows(), second = SecondRows();
    if (nLayoutMode == LayoutIop || row <= first) return FirstSize() * row;
    if (row <= first + second) return FirstSize() * first + 5 * (row - first);
    return FirstSize() * first + 5 * second + (row - first - second) * nPosSize;
  }

  /// True when the measurement stands on a kept image and a kept camera.
  [[gnu::always_inline]] bool Holds(const ImagePointRecord& point) const {
    return point.nImage >= 0 && point.nImage < nImageNum && point.nCamera >= 0 &&
           point.nCamera < nUsableCameraNum;
  }
};

}  // namespace orvo
