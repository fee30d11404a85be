#include "rigorous/OutControl.h"

#include <algorithm>
#include <cmath>

namespace orvo::rigorous {

void SetAside(const OutControl& control, Problem& problem, std::vector<OutControl>& out) {
  problem.vControl[control.nControl].Sigma = {kNotObserved, kNotObserved, kNotObserved};
  out.insert(std::ranges::upper_bound(out, control.nControl, {}, &OutControl::nControl), control);
}

void PutBack(size_t place, Problem& problem, std::vector<OutControl>& out) {
  problem.vControl[out[place].nControl].Sigma = out[place].Sigma;
  out.erase(out.begin() + static_cast<std::ptrdiff_t>(place));
}

bool IsObserved(const ControlObservation& control, int k) {
  return control.Sigma[k] >= 0 && std::isfinite(control.Sigma[k]);
}

bool IsObserved(const ControlObservation& control) {
  return IsObserved(control, 0) || IsObserved(control, 1) || IsObserved(control, 2);
}

}  // namespace orvo::rigorous
