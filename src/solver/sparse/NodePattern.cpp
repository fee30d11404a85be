#include "solver/sparse/NodePattern.h"

#include <algorithm>
#include <functional>
#include <numeric>
#include <utility>

#include "base/ScratchVector.h"

namespace orvo::sparse {
namespace {

/// Meetings of each node, as starts and list.
struct MeetingsOfNodes {
  std::vector<int64_t> vFirst;
  ScratchVector<int64_t> vMeetings;
};

MeetingsOfNodes Transpose(int32_t nodeNum, std::span<const int64_t> first, std::span<const int32_t> nodes) {
  const auto isNode = [nodeNum](int32_t node) { return node >= 0 && node < nodeNum; };
  MeetingsOfNodes of;
  of.vFirst.assign(static_cast<size_t>(nodeNum) + 1, 0);
  const int64_t meetingNum = first.empty() ? 0 : static_cast<int64_t>(first.size()) - 1;
  for (int64_t k = 0; k < meetingNum; ++k) {
    for (int64_t i = first[k]; i < first[k + 1]; ++i) {
      if (isNode(nodes[i])) ++of.vFirst[nodes[i] + 1];
    }
  }
  std::partial_sum(of.vFirst.begin(), of.vFirst.end(), of.vFirst.begin());
  of.vMeetings.resize(of.vFirst.back());
  std::vector<int64_t> next(of.vFirst.begin(), of.vFirst.end() - 1);
  for (int64_t k = 0; k < meetingNum; ++k) {
    for (int64_t i = first[k]; i < first[k + 1]; ++i) {
      if (isNode(nodes[i])) of.vMeetings[next[nodes[i]]++] = k;
    }
  }
  return of;
}

bool AreStarts(const NodePattern& pattern) {
  const auto& first = pattern.vFirstNeighbour;
  return first.size() == pattern.vSizes.size() + 1 && first.front() == 0 &&
         first.back() == pattern.BlockNum() && std::is_sorted(first.begin(), first.end());
}

}  // namespace

int64_t NodePattern::UnknownNum() const { return std::accumulate(vSizes.begin(), vSizes.end(), int64_t{0}); }

std::vector<int64_t> NodePattern::FirstUnknowns() const {
  std::vector<int64_t> first(vSizes.size() + 1, 0);
  std::partial_sum(vSizes.begin(), vSizes.end(), first.begin() + 1, std::plus<int64_t>());
  return first;
}

PatternCheck CheckPattern(const NodePattern& pattern) {
  if (!AreStarts(pattern)) return {PatternFault::Starts, -1};
  for (int32_t node = 0; node < pattern.NodeNum(); ++node) {
    const int32_t size = pattern.vSizes[node];
    if (size < 1 || size > kLargestNode) return {PatternFault::Size, node};
    int32_t last = node;
    for (const int32_t neighbour : pattern.NeighboursBehind(node)) {
      if (neighbour <= last || neighbour >= pattern.NodeNum()) return {PatternFault::Neighbour, node};
      last = neighbour;
    }
  }
  return {};
}

NodePattern PatternOfMeetings(std::vector<int32_t> sizes, std::span<const int64_t> first,
                              std::span<const int32_t> nodes) {
  NodePattern pattern;
  pattern.vSizes = std::move(sizes);
  const int32_t nodeNum = pattern.NodeNum();
  const MeetingsOfNodes of = Transpose(nodeNum, first, nodes);
  pattern.vFirstNeighbour.assign(1, 0);
  std::vector<int32_t> seenBy(static_cast<size_t>(nodeNum), -1);
  for (int32_t node = 0; node < nodeNum; ++node) {
    for (int64_t k = of.vFirst[node]; k < of.vFirst[node + 1]; ++k) {
      const int64_t meeting = of.vMeetings[k];
      for (int64_t i = first[meeting]; i < first[meeting + 1]; ++i) {
        const int32_t other = nodes[i];
        if (other <= node || other >= nodeNum || seenBy[other] == node) continue;
        seenBy[other] = node;
        pattern.vNeighbours.push_back(other);
      }
    }
    std::sort(pattern.vNeighbours.begin() + pattern.vFirstNeighbour.back(), pattern.vNeighbours.end());
    pattern.vFirstNeighbour.push_back(pattern.BlockNum());
  }
  return pattern;
}

}  // namespace orvo::sparse
