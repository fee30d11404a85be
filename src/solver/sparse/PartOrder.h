// An order of nodes by parts of the net that don't touch, so that a factor can work on all parts at once.
#pragma once

#include <cstdint>
#include <vector>

#include "solver/sparse/NodePattern.h"

namespace orvo::sparse {

/// Nodes of a part, at most.
inline constexpr int32_t kPartNodes = 2048;

struct PartOrder {
  std::vector<int32_t> vOrder;  ///< node at each position: part by part, then those that separate them
  std::vector<int32_t> vFirst;  ///< position of the first node of each part, and of the rest at the end

  int32_t PartNum() const { return static_cast<int32_t>(vFirst.size()) - 1; }
};

/// The nodes below `nodeNum`: clusters of at most `largest` (ClustersOf), less the nodes that touch a cluster
/// before theirs, and less those with very many neighbours; these come last. Within each part, and in the
/// rest, the order is that by levels (OrderByLevels) of the whole. It follows from the pattern alone.
PartOrder OrderByParts(const NodePattern& pattern, int32_t nodeNum, int32_t largest = kPartNodes);

}  // namespace orvo::sparse
