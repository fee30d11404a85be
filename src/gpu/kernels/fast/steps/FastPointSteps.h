// Steps by object point. A block takes some neighbouring points, and their rays tile by tile: first a lane
// per ray, in the order of memory, then a lane per point adds what its own rays gave, in their order. So
// every sum is that of one serial loop over the rays of a point, however many points stand in a block.
#pragma once

#include "gpu/kernels/PointFinish.h"
#include "gpu/kernels/RayBlocks.h"
#include "gpu/kernels/fast/steps/FastStep.h"

namespace orvo::gpu {

inline constexpr int kPointThreads = 256;

template <int kValues, int kTileRays>
struct PointTile {
  float Values[kValues][kTileRays];
  uint8_t Owner[kTileRays];  ///< point of the block
  int64_t First[kPointThreads + 1];
};

/// `Body` says what to do:
///   kValues, kTileRays
///   Ray(a, ray, point, values)    one ray's values
///   SumEnd(a, first, next)        first ray that is not summed
///   Point(a, point, first, next, sums)
template <class Body>
struct PointStep {
  using Shared = PointTile<Body::kValues, Body::kTileRays>;
  static constexpr int kThreads = kPointThreads;
  static constexpr int kMinBlocks = 4;

  FastArrays a;
  int nBlockPoints = kPointThreads;  ///< at most the lanes

  template <class Block>
  ORVO_KERNEL_CODE void Run(Block& block, Shared& shared) const {
    constexpr int K = Body::kValues, T = Body::kTileRays;
    const int64_t point0 = block.Index() * nBlockPoints;
    const int64_t left = a.Section.m - point0;
    const int count = static_cast<int>(left < nBlockPoints ? left : nBlockPoints);
    typename Block::template PerLane<FastSums<K>> sums;
    block.EachLane([&](int lane) {
      for (int k = lane; k <= count; k += block.Lanes()) shared.First[k] = FirstRayOf(a, point0 + k);
      for (int k = 0; k < K; ++k) sums[lane].v[k] = 0;
    });
    const int64_t end = shared.First[count];
    for (int64_t tile = shared.First[0]; tile < end; tile += T) {
      const int64_t tileEnd = tile + T < end ? tile + T : end;
      block.EachLane([&](int lane) {
        if (lane >= count) return;
        int64_t ray = shared.First[lane] > tile ? shared.First[lane] : tile;
        const int64_t last = shared.First[lane + 1] < tileEnd ? shared.First[lane + 1] : tileEnd;
        for (; ray < last; ++ray) shared.Owner[ray - tile] = static_cast<uint8_t>(lane);
      });
      block.EachLane([&](int lane) {
        for (int slot = lane; tile + slot < tileEnd; slot += block.Lanes()) {
          float values[K];
          Body::Ray(a, tile + slot, point0 + shared.Owner[slot], values);
          for (int k = 0; k < K; ++k) shared.Values[k][slot] = values[k];
        }
      });
      block.EachLane([&](int lane) {
        if (lane >= count) return;
        const int64_t first = shared.First[lane];
        int64_t ray = first > tile ? first : tile;
        int64_t last = Body::SumEnd(a, first, shared.First[lane + 1]);
        if (last > tileEnd) last = tileEnd;
        for (; ray < last; ++ray)
          for (int k = 0; k < K; ++k) sums[lane].v[k] += shared.Values[k][ray - tile];
      });
    }
    block.EachLane([&](int lane) {
      if (lane < count)
        Body::Point(a, point0 + lane, shared.First[lane], shared.First[lane + 1], sums[lane].v);
    });
  }
};

/// Residuals and gross flags of the rays; inverse and solved vector of the points.
struct SumPoints {
  static constexpr int kValues = 9, kTileRays = 768;

  ORVO_KERNEL_CODE static void Ray(const FastArrays& a, int64_t ray, int64_t point, float* values) {
    for (int k = 0; k < kValues; ++k) values[k] = 0;
    const uint32_t image = a.Section.pRayImage[ray] & ~kGrossBit;
    if (image == kNoImage) return;
    const auto row = LoadRow<FastImageRow>(a.Work.pImage + kImageRowFloats * image);
    const RayCamera<float> camera = CameraOfImage(a, image);
    const FastXy xy = LoadXy(a.Section.pRayXy + 2 * ray);
    const FastPosition at = PositionOf(a, point);
    const uint32_t type = BitsOf(at.TypeBits);
    const RayMisclosure<float> L = ObserveRay(RayImageOf(row.Frame), camera, xy.x, xy.y, at.X, at.Y, at.Z);
    const bool gross = IsGross(a, type, L);
    a.Section.pRayImage[ray] = gross ? image | kGrossBit : image;
    StoreXy(a.Section.pRayResidual + 2 * ray, L.Lx, L.Ly);
    const FastPointRows<float> B = PointRows(MakeFastRay(camera, L), row.Frame);
    PointSumsShare(B, WeightOf(a, gross, type), L.Lx, L.Ly, values);
  }

  ORVO_KERNEL_CODE static int64_t SumEnd(const FastArrays&, int64_t first, int64_t next) {
    return SummedRaysEnd(first, next);
  }

  ORVO_KERNEL_CODE static void Point(const FastArrays& a, int64_t point, int64_t first, int64_t next,
                                     const float* v) {
    float* row = a.Section.pPoint + kPointFloats * point;
    float* begin = a.Section.pInverse + 4 * point;
    float* end = a.Section.pInverseEnd + 2 * point;
    const uint32_t type = BitsOf(row[kPointType]);
    FinishedPoint finished{{begin[0], begin[1], begin[2], begin[3], end[0], end[1]}, {0, 0, 0}};
    float height = row[kPointHeightDifference];
    if (type == 1) {
      // Not eliminated, and at large weights its inverse is not a number.
      finished = {};
    } else {
      if (next > first && IsPointFinished(point, first, next)) {
        finished = FinishPoint({v[0], v[1], v[2], v[3], v[4], v[5], v[6], v[7], v[8]}, type, a.fControlWeight,
                               height);
        height = finished.P[2];
      }
      if (point == 0 && !BlockZeroHasTail(a.Section.pFirstRay, a.Section.m, a.Section.n))
        finished = FinishPoint({}, type, a.fControlWeight, height);
    }
    for (int k = 0; k < 4; ++k) begin[k] = finished.P[k];
    end[0] = finished.P[4];
    end[1] = finished.P[5];
    for (int k = 0; k < 3; ++k) row[kPointSolved + k] = finished.e[k];
  }

  ORVO_KERNEL_CODE static bool IsGross(const FastArrays& a, uint32_t type, const RayMisclosure<float>& L) {
    const float limitX = a.fGrossFactor * a.pRms[2], limitY = a.fGrossFactor * a.pRms[3];
    return type == 0 && (L.Lx > limitX || L.Lx < -limitX || L.Ly > limitY || L.Ly < -limitY);
  }
};

/// First half of the product: h of each point.
struct ProductPoints {
  static constexpr int kValues = 3, kTileRays = 1024;

  ORVO_KERNEL_CODE static void Ray(const FastArrays& a, int64_t ray, int64_t point, float* values) {
    for (int k = 0; k < kValues; ++k) values[k] = 0;
    const uint32_t index = a.Section.pRayImage[ray];
    const uint32_t image = index & ~kGrossBit;
    const FastPosition at = PositionOf(a, point);
    const uint32_t type = BitsOf(at.TypeBits);
    if (image == kNoImage || type == 1) return;
    const auto R = LoadRow<FastFrame<float>>(a.Work.pImage + kImageRowFloats * image);
    const auto terms = LoadRow<FastTermsRow>(a.Work.pImageTerms + kImageRowFloats * image);
    const FastXy xy = LoadXy(a.Section.pRayXy + 2 * ray);
    const FastRay<float> D = MakeFastRay(R, terms.Camera, xy.x, xy.y, at.X, at.Y, at.Z);
    const FastPair<float> image_ = TimesImage(D, terms.Camera.f, terms.Turned);
    const FastPair<float> inner = TimesInner(D, terms.Inner);
    const FastVector<float> y = ProductPointShare(D, R, WeightOf(a, (index & kGrossBit) != 0, type),
                                                  FastPair<float>{image_.x + inner.x, image_.y + inner.y});
    values[0] = y.v0;
    values[1] = y.v1;
    values[2] = y.v2;
  }

  ORVO_KERNEL_CODE static int64_t SumEnd(const FastArrays&, int64_t, int64_t next) { return next; }

  ORVO_KERNEL_CODE static void Point(const FastArrays& a, int64_t point, int64_t, int64_t, const float* y) {
    float P[6];
    InverseOf(a, point, P);
    float* h = a.Section.pPoint + kPointFloats * point + kPointSolved;
    h[0] = P[0] * y[0] + P[1] * y[1] + P[2] * y[2];
    h[1] = P[1] * y[0] + P[3] * y[1] + P[4] * y[2];
    h[2] = P[2] * y[0] + P[4] * y[1] + P[5] * y[2];
  }
};

}  // namespace orvo::gpu
