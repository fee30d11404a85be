// Which columns of the factor are kept and computed together.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solver/sparse/EliminationTree.h"

namespace orvo::sparse {

/// How many zeros may be stored so that fewer and wider supernodes result: up to a width, in unknowns, this
/// part of what a supernode stores.
struct AmalgamationRule {
  int64_t nWidth = 0;
  double dZeros = 0;
};

/// Narrowest first; wider supernodes than the last rule's store no zeros but those they have.
inline constexpr AmalgamationRule kAmalgamationRules[] = {
    {24, 0.6}, {48, 0.3}, {96, 0.12}, {int64_t{1} << 40, 0.04}};

/// Columns that become one supernode, and the tree of these.
struct SupernodeTree {
  std::vector<int32_t> vOf;       ///< supernode of each position of the elimination tree
  std::vector<int32_t> vParents;  ///< by supernode, each behind its children; -1 for a root
};

/// Chains of columns with the same rows below them, then joined with their parents as far as `rules` let them
/// (relaxed supernodes: Ashcraft & Grimes 1989, The influence of relaxed supernode partitions on the
/// multifrontal method). Of the children of a supernode that with the fewest new zeros is tried first.
/// `sizes` are the unknowns by position; positions are in postorder.
SupernodeTree FormSupernodes(std::span<const int32_t> parents, const ColumnCounts& counts,
                             std::span<const int32_t> sizes,
                             std::span<const AmalgamationRule> rules = kAmalgamationRules);

}  // namespace orvo::sparse
