#include "report/html/LengthUnit.h"

namespace orvo::report {

bool HasScale(const RunFigures& figures) {
  const BlockCounts& counts = figures.Counts;
  if (!figures.Ground.vPoints.empty() || counts.nControl > 0 || counts.nCheck > 0) return true;
  return figures.Pos && (figures.Pos->bGps || !figures.Pos->vImages.empty());
}

const char* LengthUnit(const RunFigures& figures) { return HasScale(figures) ? "m" : "units"; }

}  // namespace orvo::report
