#include "check/block/ControlPairs.h"

#include <cmath>

#include "check/block/BlockScene.h"
#include "check/block/LeastSquaresIntersection.h"

namespace orvo {

ControlPairs PairControl(const SurveyBlock& block, const std::vector<bool>& usable, double objectScale,
                         double raySigma) {
  ControlPairs pairs;
  for (size_t i = 0; i < block.Control.Points.size(); ++i) {
    const SurveyPoint& point = block.Control.Points[i];
    const auto rays = RaysOf(block, usable, block.Control.Of(point), objectScale, 50);
    if (rays.size() < 2) {
      pairs.Unmeasured.push_back(i);
      continue;
    }
    const auto met = IntersectLeastSquares(rays);
    if (!met || !std::isfinite(point.P[0]) || !std::isfinite(point.P[1]) || !std::isfinite(point.P[2]))
      continue;
    pairs.Points.push_back(i);
    pairs.Block.push_back(met->P);
    pairs.Given.push_back(point.P);
    pairs.Expected.push_back(raySigma * met->dDepth * met->dDepth / LongestBase(rays));
    if (point.nType != 1) continue;
    pairs.ControlInBlock.push_back(met->P);
    pairs.ControlGiven.push_back(point.P);
  }
  return pairs;
}

}  // namespace orvo
