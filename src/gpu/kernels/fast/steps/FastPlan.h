// The order of the steps of each fast kernel, and how many blocks and lanes each takes. Whoever runs them
// gives a launcher: launch(step, blocks, lanes).
#pragma once

#include "gpu/kernels/fast/steps/FastCameraSteps.h"
#include "gpu/kernels/fast/steps/FastImageSteps.h"
#include "gpu/kernels/fast/steps/FastPointSteps.h"

namespace orvo::gpu {

/// Points of one block, so that their rays fill about one tile.
inline int BlockPointsOf(const FastSection& section, int tileRays) {
  const int64_t fit = section.n == 0 ? kPointThreads : (tileRays - tileRays / 16) * section.m / section.n;
  return static_cast<int>(fit < 1 ? 1 : fit > kPointThreads ? kPointThreads : fit);
}

/// Lanes for one image: more where the images are few, with four rays a lane at least.
inline int ImageLanesOf(int64_t rays, int64_t images) {
  constexpr int64_t kLanesInFlight = 262144;
  int lanes = 32;
  while (lanes < 256 && images * lanes < kLanesInFlight && rays / images >= 8 * lanes) lanes *= 2;
  return lanes;
}

template <class Body, class Launch>
void PlanPoints(const FastArrays& a, Launch& launch) {
  const int points = BlockPointsOf(a.Section, Body::kTileRays);
  launch(PointStep<Body>{a, points}, (a.Section.m + points - 1) / points, kPointThreads);
}

template <class Step, class Launch>
void PlanEachImage(const FastArrays& a, Launch& launch) {
  if (a.nImages > 0) launch(Step{a}, a.nImages, ImageLanesOf(a.Section.n, a.nImages));
}

template <class Step, class Launch>
void PlanLaneEach(const FastArrays& a, int64_t count, Launch& launch) {
  launch(Step{a}, (count + Step::kThreads - 1) / Step::kThreads, Step::kThreads);
}

template <class Launch>
void PlanSumMatrix(const KernelCall& call, Launch& launch) {
  const FastArrays a = FastArraysOf(call);
  PlanLaneEach<MakeImageRows>(a, a.nImages, launch);
  PlanPoints<SumPoints>(a, launch);
  PlanEachImage<FlagImageRays>(a, launch);
  if (call.Para.nSkipStatistics != 0) return;
  launch(ResidualStretches{a}, kStretches, ResidualStretches::kThreads);
  launch(ResidualTotal{a}, 1, ResidualTotal::kThreads);
}

template <class Launch>
void PlanConstVector(const KernelCall& call, Launch& launch) {
  const FastArrays a = FastArraysOf(call);
  PlanEachImage<ImageStep<ConstImages>>(a, launch);
  if (HasCameraBlocks(a.nMode)) launch(CameraShares{a, a.pConst}, a.nCameras, CameraShares::kThreads);
}

template <class Launch>
void PlanPreconditioner(const KernelCall& call, Launch& launch) {
  const FastArrays a = FastArraysOf(call);
  if (a.nMode == LayoutMergedEopIop) {
    PlanEachImage<ImageStep<ImageBlocks<true>>>(a, launch);
  } else if (HasImageBlocks(a.nMode)) {
    PlanEachImage<ImageStep<ImageBlocks<false>>>(a, launch);
  }
}

template <class Launch>
void PlanPreconditionerIop(const KernelCall& call, Launch& launch) {
  const FastArrays a = FastArraysOf(call);
  if (!HasCameraBlocks(a.nMode)) return;
  launch(StretchBlocks{a}, kStretches, StretchBlocks::kThreads);
  PlanLaneEach<CameraBlocks>(a, kCameraShareFloats * a.nCameras, launch);
}

/// Two passes over the rays, see FastRay.h. From memory a ray takes, with r rays a point:
///   by point   4 (image) + 8 (x, y) + (32 point + 24 inverse + 4 first ray + 12 h) / r
///   by image   4 (point) + 8 (x, y) + 32 (point), or 32 / r where the other rays of the point find it cached
/// that is 24 + 104 / r to 56 + 72 / r bytes, 49 to 73 with 4.2 rays a point.
template <class Launch>
void PlanMatrixVectorAd(const KernelCall& call, Launch& launch) {
  const FastArrays a = FastArraysOf(call);
  PlanLaneEach<MakeImageTerms>(a, a.nImages, launch);
  PlanPoints<ProductPoints>(a, launch);
  PlanEachImage<ImageStep<ProductImages>>(a, launch);
  if (HasCameraBlocks(a.nMode)) launch(CameraShares{a, a.pProduct}, a.nCameras, CameraShares::kThreads);
}

}  // namespace orvo::gpu
