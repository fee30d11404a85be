// Standard deviations of measurements by camera.
#pragma once

#include <cstdint>
#include <vector>

namespace orvo {

struct CameraSigma {
  int32_t nCamera = 0;  ///< place in the project, from 0
  double fSigma = 0;    ///< pixels

  bool operator==(const CameraSigma&) const = default;
};

/// By camera, each once.
using CameraSigmas = std::vector<CameraSigma>;

}  // namespace orvo
