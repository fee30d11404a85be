// A small generated block at its minimum, with the precision of everything.
#pragma once

#include <memory>
#include <utility>
#include <vector>

#include "rigorous/Adjust.h"
#include "rigorous/DenseAdjustment.h"
#include "rigorous/NodeCovariance.h"
#include "rigorous/OwnPrecision.h"
#include "rigorous/PointPrecision.h"
#include "rigorous/TruthBlock.h"

namespace orvo::rigorous::test {

struct AdjustedBlock {
  TruthBlock Block;
  Estimate At;
  std::unique_ptr<Adjuster> Steps;
  AdjustResult Result;
  FreeDatum Datum;
  CovarianceResult Covariance;

  AdjustedBlock(const AdjustedBlock&) = delete;
  AdjustedBlock& operator=(const AdjustedBlock&) = delete;
  explicit AdjustedBlock(const TruthOptions& options) : AdjustedBlock(MakeTruthBlock(options)) {}
  explicit AdjustedBlock(TruthBlock block) : Block(std::move(block)), At(Block.Start) {
    Steps = std::make_unique<Adjuster>(Block.Given, AdjustOptions{});
    Result = Steps->Run(At, {}, 50);
    ReducedEquations& equations = Steps->EquationsAt(At);
    Datum = FreeDatumOf(Block.Given, Plan(), At, equations);
    Covariance = CovarianceOf(Plan(), Datum, equations);
  }

  const UnknownPlan& Plan() const { return Steps->Plan(); }
  const NodeCovariance& Cofactors() const { return *Covariance.Covariance; }

  std::vector<PointPrecision> Points(int32_t threads = 1) const {
    std::vector<PointPrecision> points;
    PointPrecisionOptions options;
    options.bRays = true;
    options.nThreads = threads;
    ForEachPointPrecision(Block.Given, Plan(), Steps->Chunks(), At, Cofactors(), options,
                          [&points](const PointPrecision& point) { points.push_back(point); });
    return points;
  }

  std::vector<OwnPrecision> Own() const {
    std::vector<OwnPrecision> own;
    ForEachOwnPrecision(Block.Given, Plan(), At, Cofactors(),
                        [&own](const OwnPrecision& one) { own.push_back(one); });
    return own;
  }

  Eigen::MatrixXd DenseCofactors(const DenseAdjustment& dense) const {
    const int64_t size = Plan().UnknownNum();
    const Eigen::Map<const Eigen::MatrixXd> G(Datum.vDirections.data(), size, Datum.nDefect);
    Eigen::VectorXd P = Eigen::VectorXd::Zero(size);
    for (const int32_t node : Plan().vImageNode) {
      if (node >= 0) P.segment<3>(Plan().vFirstUnknown[static_cast<size_t>(node)]).setOnes();
    }
    return dense.Cofactors(G, P);
  }
};

}  // namespace orvo::rigorous::test
