// In which order nodes are eliminated, so that little is filled in.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solver/sparse/NodePattern.h"

namespace orvo::sparse {

/// The nodes by approximate minimum degree on the quotient graph (Amestoy, Davis & Duff 1996, An approximate
/// minimum degree ordering algorithm; George & Liu 1989, The evolution of the minimum degree ordering
/// algorithm): degrees counted in unknowns, elements absorbed, indistinguishable nodes eliminated together.
/// Of equal degrees the lowest number goes first, so that the same pattern always gives the same order.
///
/// `border` are nodes that are coupled with most others, as cameras are: they come last, ascending, and
/// nothing is counted for them. Numbers that are no nodes, or stand in it again, take no part.
///
/// Returns the node at each position. The pattern must have no fault.
std::vector<int32_t> OrderNodes(const NodePattern& pattern, std::span<const int32_t> border = {});

/// True where `order` holds each of 0 .. nodeNum - 1 once.
bool IsPermutation(std::span<const int32_t> order, int32_t nodeNum);

/// The position of each node, where `order` is a permutation.
std::vector<int32_t> PositionsOf(std::span<const int32_t> order);

}  // namespace orvo::sparse
