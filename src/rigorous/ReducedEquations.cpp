#include "rigorous/ReducedEquations.h"

#include <algorithm>

namespace orvo::rigorous {
namespace {

/// Runs of nodes, one for each meeting.
struct Meetings {
  ScratchVector<int64_t> vFirst = {0};
  ScratchVector<int32_t> vNodes;

  void Add(int32_t node) {
    if (node >= 0) vNodes.push_back(node);
  }
  /// Ends a meeting, and forgets it where it is that of before: neighbouring points are often in the same
  /// images.
  void End() {
    const auto begin = vNodes.begin() + vFirst.back();
    std::sort(begin, vNodes.end());
    vNodes.erase(std::unique(begin, vNodes.end()), vNodes.end());
    const auto num = static_cast<int64_t>(vNodes.size());
    const int64_t last = vFirst.size() > 1 ? vFirst[vFirst.size() - 2] : vFirst.back();
    if (std::equal(vNodes.begin() + last, vNodes.begin() + vFirst.back(), vNodes.begin() + vFirst.back(),
                   vNodes.end())) {
      vNodes.resize(static_cast<size_t>(vFirst.back()));
    } else {
      vFirst.push_back(num);
    }
  }
};

}  // namespace

void ReducedEquations::SetZero() {
  const sparse::NodePattern& pattern = N.Pattern();
  for (int32_t node = 0; node < pattern.NodeNum(); ++node) {
    std::ranges::fill(N.Diagonal(node), 0.0);
    const auto behind = std::ssize(pattern.NeighboursBehind(node));
    for (int64_t place = 0; place < behind; ++place) std::ranges::fill(N.Behind(node, place), 0.0);
  }
  std::ranges::fill(n, 0.0);
}

sparse::NodePattern PatternOf(const Problem& problem, const UnknownPlan& plan) {
  Meetings meetings;
  const auto addImage = [&](int32_t image) {
    const ImageModel& model = problem.vImages[static_cast<size_t>(image)];
    meetings.Add(plan.vImageNode[static_cast<size_t>(image)]);
    meetings.Add(plan.vCameras[static_cast<size_t>(model.nCamera)].nNode);
  };
  for (int32_t image = 0; image < static_cast<int32_t>(problem.vImages.size()); ++image) {
    const int32_t strip = problem.vImages[static_cast<size_t>(image)].nStrip;
    addImage(image);
    if (strip >= 0) meetings.Add(plan.vStrips[static_cast<size_t>(strip)].nNode);
    meetings.End();
  }
  for (int64_t p = 0; p < problem.PointNum(); ++p) {
    for (const Ray& ray : problem.RaysOf(p)) {
      if (ray.nImage >= 0) addImage(ray.nImage);
    }
    meetings.End();
  }
  return sparse::PatternOfMeetings(plan.vSizes, meetings.vFirst, meetings.vNodes);
}

}  // namespace orvo::rigorous
