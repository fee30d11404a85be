// Image axes of the GCP file, where they are others than those of the tie points.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "records/SurveyBlock.h"

namespace orvo {

struct ControlAxes {
  const char* szWhat;      ///< clause: "measurements of control points have ..."
  std::string szWrite;     ///< "x, -y"
  double dWritten, dRead;  ///< residuals of the median point as written and as read, image units
};

/// The axes in which the rays of three and more control and check points meet in front of their cameras, five
/// times better than as written; nothing where they meet to 100 image units as written, or to 200 in none.
/// The block's orientations and cameras have to be right.
std::optional<ControlAxes> FindControlAxes(const SurveyBlock& block, const std::vector<bool>& usable);

}  // namespace orvo
