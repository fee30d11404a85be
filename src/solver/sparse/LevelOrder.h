// An order of nodes in which neighbours stand close together.
#pragma once

#include <cstdint>
#include <vector>

#include "solver/sparse/NodePattern.h"

namespace orvo::sparse {

/// The nodes below `nodeNum` level by level from one end of the net, and that backwards: the reverse order of
/// Cuthill & McKee (Cuthill & McKee 1969, Reducing the bandwidth of sparse symmetric matrices; George & Liu
/// 1979, An implementation of a pseudoperipheral node finder). Parts of the net that hang together by nothing
/// follow each other. Of equal numbers of neighbours the lowest number goes first.
///
/// An incomplete factor loses less in it than in one of minimum degree, and what it loses does not depend on
/// how the nodes are numbered. The pattern must have no fault.
std::vector<int32_t> OrderByLevels(const NodePattern& pattern, int32_t nodeNum);

}  // namespace orvo::sparse
