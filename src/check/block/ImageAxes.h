// The image axes that measurements may have been written in.
#pragma once

#include <array>
#include <span>
#include <string>

#include "records/SurveyBlock.h"

namespace orvo {

struct ImageAxes {
  const char* szCode;   ///< null for the axes as they have to be
  const char* szWhat;   ///< clause: "measurements have ..."
  const char* szWrite;  ///< what to write for x, y where it does not depend on the camera
  bool bExchanged, bDown;
  double fOriginX, fOriginY;  ///< of the axes as written, in image extents from the centre, x right and y up
};

/// As they have to be (from the centre, y up), y down, origin upper left with y down, origin lower left, x
/// and y exchanged.
std::span<const ImageAxes> AllImageAxes();

/// A measurement corrected for principal point and distortion, in axes from the centre with y up, where x and
/// y are written in `axes`. The principal point is taken to be written along the same axes, from the centre.
std::array<double, 2> CorrectedIn(const ImageAxes& axes, const SurveyCamera& camera, double x, double y);

/// "x - 1800, 1350 - y"; where cameras differ in extent, with w and h in place of the numbers.
std::string WriteInstead(const ImageAxes& axes, std::span<const SurveyCamera> cameras);

}  // namespace orvo
