// The problem of the rigorous method in the form of the peer: the measurements, weights and start that
// `orvo adjust --method rigorous` has, with every point explicit.
#pragma once

#include <ceres/ordered_groups.h>
#include <ceres/problem.h>

#include <cstdint>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "peer/CollinearityCost.h"
#include "records/ImageTable.h"
#include "rigorous/BlockProblem.h"

namespace orvo::peer {

/// The residual is that of the corrected image, over the standard deviation of a measurement; twice the cost
/// of the solver is v'Pv. Unknown are images by position and angles, cameras by f, x0, y0, k1, k2, and points
/// that are not held.
class RigorousProblem {
 public:
  /// `images`: the records that `block` was made of, for the angles of the start.
  RigorousProblem(const rigorous::BlockProblem& block, const ImageTable& images);
  RigorousProblem(const RigorousProblem&) = delete;
  RigorousProblem& operator=(const RigorousProblem&) = delete;

  /// What of the block has no place here; empty where all has.
  static std::string WhyNot(const rigorous::BlockProblem& block);

  /// Measurements and unknowns become the solver's; `observer` sees each evaluation, and must renew Frames.
  void Build(const rigorous::BlockProblem& block, ceres::EvaluationCallback& observer);

  ceres::Problem* Problem() { return pProblem.get(); }
  FrameTable& Frames() { return *pFrames; }
  /// Points are eliminated first.
  std::shared_ptr<ceres::ParameterBlockOrdering> Ordering();
  int64_t MeasurementNum() const { return nMeasurements; }

 private:
  using TieCost = CollinearityCost<6, 5, 3>;
  using HeldCost = CollinearityCost<6, 5>;

  double* Image(size_t i) { return Images.data() + 6 * i; }
  double* Camera(size_t i) { return Cameras.data() + 5 * i; }
  double* Point(size_t i) { return Points.data() + 3 * i; }

  std::vector<double> Images, Cameras, Points;
  std::vector<uint8_t> Held;  ///< by point
  std::deque<TieCost> TieCosts;
  std::deque<HeldCost> HeldCosts;
  std::unique_ptr<FrameTable> pFrames;
  std::unique_ptr<ceres::Problem> pProblem;
  int64_t nMeasurements = 0;
};

}  // namespace orvo::peer
