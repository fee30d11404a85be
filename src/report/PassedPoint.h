// One point of the pass for the figures: which of its measurements are gross, and where the others meet.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "records/Records.h"
#include "report/StrictIntersection.h"
#include "verdict/PointPass.h"

namespace orvo::report {

/// Orientations and cameras of a pass.
struct PassViews {
  std::span<const ImageFrame> Frames;
  std::span<const IopRecord> Iop;
  double fGrossX = 0, fGrossY = 0;  ///< working units
  /// See PointPassInput; by measurement behind pFirst.
  std::span<const uint8_t> LeftOut = {};
  const ImagePointRecord* pFirst = nullptr;

  /// Of the measurements that the next points are on.
  void Show(std::span<const uint8_t> leftOut, std::span<const ImagePointRecord> imagePoints) {
    LeftOut = leftOut.size() == imagePoints.size() ? leftOut : std::span<const uint8_t>();
    pFirst = imagePoints.data();
  }
  bool IsPlaced() const { return !LeftOut.empty(); }
  bool IsLeftOut(const ImagePointRecord& ray) const {
    return LeftOut[static_cast<size_t>(&ray - pFirst)] != 0;
  }
};

/// Memory that lasts from point to point. The vectors of measurements are of equal size and hold those on
/// kept images.
struct PassedPoint {
  std::vector<const ImagePointRecord*> vMeasurements;
  std::vector<StrictRay> vRays;
  std::vector<char> vGross;
  std::vector<StrictRay> vKept;  ///< rays of a tie point that are not gross

  double P[3] = {};  ///< the classic intersection; the point's own place where it is control or placed
  bool bSolved = false;
  bool bInFront = false;  ///< of all cameras that see it
  int64_t nGross = 0;

  // Of tie points.
  bool bAll = false, bKept = false;  ///< there is a strict point
  double All[3] = {}, Kept[3] = {};

  /// Everything above, anew. Gross is what the verdict's pass takes for gross.
  void Take(const ObjectPointRecord& point, std::span<const ImagePointRecord> rays, const PassViews& views);
  /// The largest angle between two kept rays, degrees; of many rays only some are tried.
  double LargestAngle() const;

 private:
  void Collect(const ObjectPointRecord& point, std::span<const ImagePointRecord> rays,
               const PassViews& views);
  void MarkGross(bool tie, const PassViews& views);
};

}  // namespace orvo::report
