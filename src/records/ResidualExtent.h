// Which residual files a run leaves.
#pragma once

#include <cstdint>

namespace orvo {

enum class ResidualExtent : uint8_t {
  All,   ///< one of every iteration (and section)
  Last,  ///< those of the last iteration
  None
};

}  // namespace orvo
