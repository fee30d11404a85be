// Control points that an adjustment set aside.
#pragma once

#include <cstdint>
#include <vector>

#include "rigorous/Problem.h"

namespace orvo::rigorous {

struct OutControl {
  size_t nControl = 0;  ///< in Problem::vControl, where nothing of it is observed any more
  int64_t nPoint = 0;
  Vector3 Sigma{};       ///< as it was stated
  Vector3 Difference{};  ///< observed less the place by its rays; 0 where not observed
  double fW = 0;         ///< of the observed coordinates together, as in BlunderFinding
};

/// Out of the problem, or back into it; the list stays by ascending point.
void SetAside(const OutControl& control, Problem& problem, std::vector<OutControl>& out);
void PutBack(size_t place, Problem& problem, std::vector<OutControl>& out);

/// Whether a coordinate is observed, held ones among them; of the whole point, whether any is.
bool IsObserved(const ControlObservation& control, int k);
bool IsObserved(const ControlObservation& control);

}  // namespace orvo::rigorous
