// What a guarded run holds against its inputs.
#pragma once

#include <functional>
#include <vector>

#include "check/Finding.h"

namespace orvo {

struct RunGuard {
  bool bGuarded = false;                       ///< broken inputs end the run
  bool bToldImages = false;                    ///< lost images are among the notes
  bool bToldPoints = false;                    ///< and lost points
  std::vector<Finding> Refusals;               ///< why the run ended
  std::vector<Finding> Notes;                  ///< what it goes on without
  std::function<void(const Finding&)> OnNote;  ///< called with each note, unless it is empty
};

}  // namespace orvo
