// Which nodes of a symmetric matrix are coupled: the upper triangle, node by node.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

namespace orvo::sparse {

/// Unknowns that one node may have.
inline constexpr int32_t kLargestNode = 64;

/// Nodes are runs of unknowns that are eliminated together, numbered from 0. The unknowns of the matrix
/// follow the order of the nodes.
struct NodePattern {
  std::vector<int32_t> vSizes;           ///< unknowns of each node, 1 to kLargestNode
  std::vector<int64_t> vFirstNeighbour;  ///< by node into vNeighbours, and their number at the end
  std::vector<int32_t> vNeighbours;      ///< of each node those with a higher number, ascending, each once

  int32_t NodeNum() const { return static_cast<int32_t>(vSizes.size()); }
  /// Blocks off the diagonal, of the upper triangle.
  int64_t BlockNum() const { return static_cast<int64_t>(vNeighbours.size()); }
  std::span<const int32_t> NeighboursBehind(int32_t node) const {
    return std::span(vNeighbours)
        .subspan(vFirstNeighbour[node], vFirstNeighbour[node + 1] - vFirstNeighbour[node]);
  }
  int64_t UnknownNum() const;
  /// First unknown of each node, and the number of unknowns at the end.
  std::vector<int64_t> FirstUnknowns() const;
};

enum class PatternFault {
  None,
  Size,    ///< a node has no unknowns, or more than kLargestNode
  Starts,  ///< vFirstNeighbour has not one entry more than there are nodes, or does not run from 0 to the end
  Neighbour,  ///< one is no node, lies not behind its node, stands twice or out of order
};

struct PatternCheck {
  PatternFault Fault = PatternFault::None;
  int32_t nNode = -1;  ///< the first at fault; -1 where the starts are no list at all
};

/// The first fault of a pattern. What the other parts of this room take must have none.
PatternCheck CheckPattern(const NodePattern& pattern);

/// The pattern in which any two nodes are coupled that meet somewhere, as the images of a point do. Meeting k
/// is nodes[first[k]] to nodes[first[k + 1]], in any order; a node may stand in it more than once. Numbers
/// that are no nodes take no part. Sizes are taken as they are.
NodePattern PatternOfMeetings(std::vector<int32_t> sizes, std::span<const int64_t> first,
                              std::span<const int32_t> nodes);

}  // namespace orvo::sparse
