// The object points of a section from the current orientations.
#include <algorithm>
#include <cinttypes>
#include <system_error>
#include <thread>

#include "base/MemoryPurpose.h"
#include "geometry/Intersection.h"
#include "run/BundleAdjustment.h"

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

/// Starts `work` on a thread, or does it at once where the system grants none.
template <typename Work>
std::thread StartThread(const Work& work) {
  try {
    return std::thread(work);
  } catch (const std::system_error&) {
    work();
    return std::thread();
  }
}

}  // namespace

int64_t CBundleAdjustment::SectionPointCount(int32_t section) const {
  if (section < 0 || section >= Points.Sections.Count()) return 0;
  const int64_t planned = Points.Sections.ObjectPoints[static_cast<size_t>(section)].Count();
  return std::clamp<int64_t>(planned, 0, static_cast<int64_t>(Points.pObjectPoints.size()));
}

int CBundleAdjustment::ComputeTiePoints(int32_t section) {
  const MemoryPurpose purpose("the tie points");
  IntersectPointsWithStatistics(SectionPointCount(section), Points.pObjectPoints.data(), Points.pImagePoints,
                                Images.Kept(), Cameras.Usable(), Residuals.dCheckResidual,
                                Residuals.dControlResidual, System.ProcessorCount());
  for (double& value : Residuals.dCheckResidual) value /= Frame.dCoorScale;
  for (double& value : Residuals.dControlResidual) value /= Frame.dCoorScale;
  return 1;
}

int CBundleAdjustment::ComputeTiePointsThreaded(int32_t section) {
  const int64_t pointCount = SectionPointCount(section);
  const std::vector<ImageFrame> frames = MakeImageFrames(Images.Kept());
  const std::vector<Share> shares = MakeShares(pointCount, std::max(System.ProcessorCount() - 1, 1));
  for (size_t i = 0; i < shares.size(); ++i) {
    LogPrintf("Sub task %d: %" PRId64 " %" PRId64 " %" PRId64 "\n", static_cast<int>(i), shares[i].nFirst,
              shares[i].nLast, pointCount);
  }
  std::vector<int> results(shares.size(), 1);
  std::vector<std::thread> threads(shares.size());
  for (size_t i = 0; i < shares.size(); ++i) {
    if (shares[i].Count() < 1) continue;
    // A share of exactly one point overwrites a control point, as any call for one point does. Deliberate.
    threads[i] = StartThread([this, &frames, &share = shares[i], &result = results[i]] {
      result = IntersectPoints(share.Count(), Points.pObjectPoints.data() + share.nFirst, Points.pImagePoints,
                               frames, Cameras.Usable());
    });
  }
  for (size_t i = 0; i < shares.size(); ++i) {
    if (threads[i].joinable()) threads[i].join();
    if (results[i] == 0) LogPrintf("Thread %d failed!\n", static_cast<int>(i));
    LogPrintf("Sub task %d completed\n", static_cast<int>(i));
  }
  return 1;
}

}  // namespace orvo
