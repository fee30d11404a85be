#include "check/block/ControlPairs.h"

#include <algorithm>
#include <cmath>

#include "check/block/BlockScene.h"
#include "check/block/LeastSquaresIntersection.h"

namespace orvo {

ControlPairs PairControl(const SurveyBlock& block, const std::vector<bool>& usable, double objectScale,
                         double raySigma) {
  ControlPairs pairs;
  std::vector<double> depths, bases;
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
    depths.push_back(met->dDepth);
    bases.push_back(LongestBase(rays));
    if (point.nType != 1) continue;
    pairs.ControlInBlock.push_back(met->P);
    pairs.ControlGiven.push_back(point.P);
  }
  // Nearly parallel rays may meet just before their cameras, where little would be expected of them.
  std::vector<double> copy = depths;
  const double usual = Quantile(copy, 0.5);
  for (size_t i = 0; i < depths.size(); ++i) {
    const double depth = std::max(depths[i], usual);
    pairs.Expected.push_back(raySigma * depth * depth / bases[i]);
  }
  return pairs;
}

}  // namespace orvo
