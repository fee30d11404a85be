// How far a run has come.
#pragma once

#include <cstdint>

namespace orvo {

struct RunProgress {
  bool bConverged = false;
  int32_t nLmIterationDone = 0;
  double fStartTick = 0, fEndTick = 0;  ///< milliseconds
};

}  // namespace orvo
