#include "rigorous/OwnPrecision.h"

#include <vector>

namespace orvo::rigorous {
namespace {

/// Diagonal of A Q B', Q row-major with `width` columns.
Vector3 DiagonalOfProduct(const OwnTerm& a, const OwnTerm& b, std::span<const double> Q, int32_t width) {
  Vector3 diagonal{};
  for (int i = 0; i < a.nWidth; ++i) {
    for (int k = 0; k < b.nWidth; ++k) {
      const double q = Q[(a.nColumn + i) * width + b.nColumn + k];
      for (int c = 0; c < 3; ++c) diagonal[c] += a.Rows[3 * c + i] * q * b.Rows[3 * c + k];
    }
  }
  return diagonal;
}

class Predictor {
 public:
  Predictor(const UnknownPlan& plan, const NodeCovariance& covariance) : Plan(plan), Q(covariance) {}

  /// Cofactors of what is predicted, by the variances of the observed values.
  Vector3 Of(std::span<const OwnTerm> terms) {
    Vector3 sum{};
    for (size_t a = 0; a < terms.size(); ++a) {
      if (terms[a].IsHeld()) continue;
      sum = sum + Pair(terms[a], terms[a]);
      for (size_t b = a + 1; b < terms.size(); ++b) {
        if (!terms[b].IsHeld()) sum = sum + 2 * Pair(terms[a], terms[b]);
      }
    }
    return sum;
  }

 private:
  Vector3 Pair(const OwnTerm& a, const OwnTerm& b) {
    const int32_t columns = Plan.vSizes[b.nNode];
    vBlock.resize(static_cast<size_t>(Plan.vSizes[a.nNode]) * static_cast<size_t>(columns));
    return Q.Block(a.nNode, b.nNode, vBlock) ? DiagonalOfProduct(a, b, vBlock, columns) : Vector3{};
  }

  const UnknownPlan& Plan;
  const NodeCovariance& Q;
  std::vector<double> vBlock;
};

}  // namespace

void ForEachOwnPrecision(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate,
                         const NodeCovariance& covariance,
                         const std::function<void(const OwnPrecision&)>& take) {
  Predictor predictor(plan, covariance);
  ForEachOwnObservation(problem, &plan, estimate, [&](const OwnRows& rows) {
    if (!rows.IsCounted[0] && !rows.IsCounted[1] && !rows.IsCounted[2]) return;
    OwnPrecision made{rows.Kind, rows.nOwner, rows.Parameter, rows.IsCounted, rows.Residual};
    const Vector3 predicted = predictor.Of(rows.Terms);
    for (int c = 0; c < 3; ++c) made.Redundancy[c] = rows.IsCounted[c] ? 1 - predicted[c] : 0;
    take(made);
  });
}

}  // namespace orvo::rigorous
