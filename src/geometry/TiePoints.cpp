#include "geometry/TiePoints.h"

#include <algorithm>
#include <cinttypes>
#include <vector>

#include "base/MemoryPurpose.h"
#include "base/Threads.h"
#include "geometry/Intersection.h"

namespace orvo {
namespace {

/// A run of a section's points: nFirst to nLast, both included.
using Share = PointSectionTable::Range;

/// Equal shares, in whole points; the last one takes what is left. With fewer points than shares the first
/// ones are empty.
std::vector<Share> MakeShares(int64_t pointCount, int64_t shareCount) {
  std::vector<Share> shares(static_cast<size_t>(shareCount));
  const int64_t size = pointCount / shareCount;
  for (int64_t i = 0; i < shareCount; ++i) {
    const int64_t last = i + 1 < shareCount ? (i + 1) * size - 1 : pointCount - 1;
    shares[static_cast<size_t>(i)] = {i * size, last};
  }
  return shares;
}

}  // namespace

void ComputeTiePoints(int32_t section, const IntersectionViews& views, double coorScale, PointStore& points,
                      ResidualStatistics& residuals) {
  const MemoryPurpose purpose("the tie points");
  IntersectPointsWithStatistics(std::ssize(points.InMemory(section)), points.pObjectPoints.data(),
                                points.pImagePoints, views.Images.Kept(), views.Cameras.Usable(),
                                residuals.dCheckResidual, residuals.dControlResidual, views.nProcessors);
  for (double& value : residuals.dCheckResidual) value /= coorScale;
  for (double& value : residuals.dControlResidual) value /= coorScale;
}

void ComputeTiePointsThreaded(int32_t section, const IntersectionViews& views, PointStore& points,
                              RunLog& log) {
  const int64_t pointCount = std::ssize(points.InMemory(section));
  const std::vector<ImageFrame> frames = MakeImageFrames(views.Images.Kept());
  const std::vector<Share> shares = MakeShares(pointCount, std::max(views.nProcessors - 1, 1));
  for (size_t i = 0; i < shares.size(); ++i) {
    log.Print("Sub task %d: %" PRId64 " %" PRId64 " %" PRId64 "\n", static_cast<int>(i), shares[i].nFirst,
              shares[i].nLast, pointCount);
  }
  std::vector<int> results(shares.size(), 1);
  RunTasks(
      static_cast<int32_t>(shares.size()),
      [&](int32_t i) {
        const Share& share = shares[static_cast<size_t>(i)];
        if (share.Count() < 1) return;
        // A share of exactly one point overwrites a control point, as any call for one point does.
        // Deliberate.
        results[static_cast<size_t>(i)] =
            IntersectPoints(share.Count(), points.pObjectPoints.data() + share.nFirst, points.pImagePoints,
                            frames, views.Cameras.Usable());
      },
      [&](int32_t i) {
        if (results[static_cast<size_t>(i)] == 0) log.Print("Thread %d failed!\n", i);
        log.Print("Sub task %d completed\n", i);
      });
}

}  // namespace orvo
