#include "report/RunFigures.h"

#include <cmath>

namespace orvo::report {

const char* NameOf(SettingOrigin origin) {
  switch (origin) {
    case SettingOrigin::Default:
      return "default";
    case SettingOrigin::File:
      return "file";
    case SettingOrigin::CommandLine:
      return "command line";
    case SettingOrigin::Run:
      return "run";
  }
  return "";
}

bool IsHeld(const IterationFigure& figure) { return figure.fDamping > 1; }

bool HasSettled(std::span<const IterationFigure> iterations) {
  if (iterations.empty()) return false;
  const IterationFigure& last = iterations.back();
  return !IsHeld(last) && std::isfinite(last.fLargest) && std::isfinite(last.Rmse.x) &&
         std::isfinite(last.Rmse.y);
}

const char* NameOf(RunPhase phase) {
  switch (phase) {
    case RunPhase::Reading:
      return "reading";
    case RunPhase::Preparing:
      return "preparing";
    case RunPhase::Iterating:
      return "iterating";
    case RunPhase::Judging:
      return "judging";
    case RunPhase::Writing:
      return "writing";
    case RunPhase::Reporting:
      return "reporting";
  }
  return "";
}

}  // namespace orvo::report
