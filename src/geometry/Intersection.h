// Object points from their rays.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "records/Records.h"

namespace orvo {

/// True when the measurement stands on a kept image and a kept camera. Others take no part in anything.
inline bool IsOnKeptImage(const ImagePointRecord& point, size_t imageNum, size_t cameraNum) {
  return point.nImage >= 0 && static_cast<size_t>(point.nImage) < imageNum && point.nCamera >= 0 &&
         static_cast<size_t>(point.nCamera) < cameraNum;
}
inline bool IsOnKeptImage(const ImagePointRecord& point, std::span<const EopRecord> eop,
                          std::span<const IopRecord> iop) {
  return IsOnKeptImage(point, eop.size(), iop.size());
}

/// What the rays of one image have in common. C[k] holds column k of the rotation matrix R and, as a fourth,
/// its product with the projection centre: (R[k], R[3+k], R[6+k], R[k] Xs + R[3+k] Ys + R[6+k] Zs).
struct alignas(32) ImageFrame {
  double C[3][4];
};

ImageFrame MakeImageFrame(const EopRecord& eop);
std::vector<ImageFrame> MakeImageFrames(std::span<const EopRecord> eop);

/// One measurement with all that places it in space. x, y in working image units.
struct Ray {
  const ImageFrame* pFrame;
  const IopRecord* pCamera;
  double x, y;
};

/// The least squares intersection P (X, Y, Z) of n rays. Ray j of n, counted from 1, has the weight n - j +
/// 1, so the order of the rays matters: N and W are running sums of the running sums of A'A and A'L. With
/// `deviation`, also the standard deviations of X, Y, Z: sigma0 times the roots of the diagonal of N inverse,
/// where sigma0 comes from the unweighted residuals and 2n - 3 degrees of freedom. Returns 1, or 0 with
/// nothing written when there is no unique finite solution (fewer than two rays, parallel rays).
int IntersectRays(std::span<const Ray> rays, double* P, double* deviation = nullptr);

/// Intersects `pointCount` points from their measurements in `imagePoints` (the points' nFirstImagePoint and
/// nImagePointNum index it) and writes X, Y, Z back, except that in a call for more than one point those of
/// type 1 keep theirs. A point without a unique solution, or whose measurements lie outside `imagePoints`,
/// keeps its coordinates. A point's result depends on that point alone, to the bit. Returns 1.
int IntersectPoints(int64_t pointCount, ObjectPointRecord* objectPoints,
                    std::span<const ImagePointRecord> imagePoints, std::span<const EopRecord> eop,
                    std::span<const IopRecord> iop);

/// The same, for callers with many calls: the frames of the kept images are made once.
int IntersectPoints(int64_t pointCount, ObjectPointRecord* objectPoints,
                    std::span<const ImagePointRecord> imagePoints, std::span<const ImageFrame> frames,
                    std::span<const IopRecord> iop);

/// The same, and the differences new minus old of check points (exactly type 2) and control points (type 1):
/// mean X, Y, Z, then RMSE X, Y, Z; six values each, 0 where there is none, and 0 in a call for one point.
/// Works on up to `threads` threads; no result depends on how many.
int IntersectPointsWithStatistics(int64_t pointCount, ObjectPointRecord* objectPoints,
                                  std::span<const ImagePointRecord> imagePoints,
                                  std::span<const EopRecord> eop, std::span<const IopRecord> iop,
                                  double* checkResidual, double* controlResidual, int threads = 1);

}  // namespace orvo
