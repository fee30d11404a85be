// Image axes of the GCP file, where they are others than those of the tie points.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "records/SurveyBlock.h"

namespace orvo {

struct ControlAxes {
  const char* szWhat = nullptr;    ///< clause: "measurements of control points have ..."
  std::string szWrite;             ///< "x, -y"
  bool bByPlace = false;           ///< rays meet both ways, but only one way at the given coordinates
  double dWritten = 0, dRead = 0;  ///< of the median point, as written and as read: residuals in image units,
                                   ///< or distances from the given coordinates
};

/// The axes in which the rays of three and more control and check points meet in front of their cameras, five
/// times better than as written; nothing where they meet to 100 image units as written, or to 200 in none.
/// Rays of vertical views may meet in several: then the axes by which they meet at the given coordinates, ten
/// times nearer than as written, which is 2 % of the depth and more away from them. The block's orientations
/// and cameras have to be right.
std::optional<ControlAxes> FindControlAxes(const SurveyBlock& block, const std::vector<bool>& usable,
                                           double objectScale);

}  // namespace orvo
