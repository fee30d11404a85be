// Which motions of a block as a whole no observation holds.
#pragma once

#include <cstdint>
#include <vector>

#include "rigorous/Problem.h"
#include "rigorous/ReducedEquations.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous {

/// Combinations of the seven motions along which N has nothing but rounding: each with a motion of its own
/// that the others have nothing of, so that they can be told one by one.
struct FreeDatum {
  int32_t nDefect = 0;
  std::vector<double> vDirections;  ///< nDefect vectors over all unknowns, one behind the other

  std::span<const double> Direction(int32_t k) const {
    const size_t size = vDirections.size() / static_cast<size_t>(nDefect);
    return std::span(vDirections).subspan(size * static_cast<size_t>(k), size);
  }
};

/// By the eigenvectors of G'NG against G' diag(N) G, G the seven motions at `estimate`: one is free where its
/// eigenvalue is below a part of 1e-11. `equations` without damping.
FreeDatum FreeDatumOf(const Problem& problem, const UnknownPlan& plan, const Estimate& estimate,
                      const ReducedEquations& equations);

}  // namespace orvo::rigorous
