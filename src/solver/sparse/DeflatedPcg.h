// Conjugate gradients with a preconditioner and a deflation space, for symmetric positive definite matrices.
// The space Z is taken out exactly: residuals stay orthogonal to it, so that the border of a matrix costs no
// iterations. With Z = [-K^-1 B; I], K the preconditioner of the inner part and B the border's columns, all
// that the border couples is in Z. The preconditioner may be 0 in the border then: what it would add there is
// in Z already, and only gets in the way. Saad, Yeung, Erhel & Guyomarc'h 2000, A deflated version of the
// conjugate gradient algorithm, algorithm 3.6.
#pragma once

#include <cstdint>
#include <functional>
#include <span>

namespace orvo::sparse {

using VectorMap = std::function<void(std::span<const double> x, std::span<double> y)>;

struct PcgLimits {
  /// |r| in the norm of the preconditioner M, against that of the right-hand side: the square of the latter
  /// is b'M b + (Z'b)'(Z'A Z)^-1 Z'b.
  double dTolerance = 1e-3;
  int32_t nMaxSteps = 500;
  /// Counts to the square of the right-hand side: what a start has taken off before.
  double dTakenOff = 0;
};

enum class PcgEnd : uint8_t {
  Reached,
  Steps,     ///< nMaxSteps
  Breakdown  ///< a curvature that is not above 0, or a number that is not finite
};

struct PcgResult {
  PcgEnd End = PcgEnd::Reached;
  int32_t nSteps = 0;
  double dResidual = 0;  ///< reached, as dTolerance counts
};

/// x such that A x = b; x is written, from 0 on. `z` are `zNum` vectors one behind the other, and `az` their
/// products with A; none is allowed. After a breakdown x is the best that was reached.
PcgResult SolvePcg(const VectorMap& multiply, const VectorMap& precondition, std::span<const double> z,
                   std::span<const double> az, int32_t zNum, std::span<const double> b, std::span<double> x,
                   const PcgLimits& limits);

}  // namespace orvo::sparse
