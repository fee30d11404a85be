// Steps by image: a block takes one image, its lanes stride over the rays of the image, which stand together
// in memory, and their sums are added as a tree.
#pragma once

#include "gpu/kernels/fast/FastBlocks.h"
#include "gpu/kernels/fast/steps/FastPointSteps.h"
#include "gpu/kernels/fast/steps/FastStep.h"

namespace orvo::gpu {

struct FastNothing {};

/// `Body` says what to do:
///   kSums
///   Start(a, image)               what all rays of the image read
///   Ray(a, start, ray, sums)
///   Finish(a, image, start, sums) one lane does it
template <class Body>
struct ImageStep {
  static constexpr int kSums = Body::kSums;
  using Shared = FastScratch<kSums>;
  static constexpr int kThreads = 256;
  static constexpr int kMinBlocks = kSums > 21 ? 1 : kSums > 11 ? 2 : 3;

  FastArrays a;

  template <class Block>
  ORVO_KERNEL_CODE void Run(Block& block, Shared& shared) const {
    const int64_t image = block.Index();
    const int64_t begin = a.Work.pImageFirstRay[image], end = a.Work.pImageFirstRay[image + 1];
    typename Block::template PerLane<FastSums<kSums>> sums;
    typename Block::template PerLane<typename Body::StartType> start;
    block.EachLane([&](int lane) {
      for (int k = 0; k < kSums; ++k) sums[lane].v[k] = 0;
      start[lane] = Body::Start(a, image);
#ifdef __CUDA_ARCH__
#pragma unroll 2
#endif
      for (int64_t ray = begin + lane; ray < end; ray += block.Lanes())
        Body::Ray(a, start[lane], ray, sums[lane].v);
    });
    block.template SumLanes<kSums>(sums, shared);
    block.EachLane([&](int lane) {
      if (lane == 0) Body::Finish(a, image, start[lane], shared.Total);
    });
  }
};

/// The gross flags once more, for the rays in image order: the same arithmetic decides as in point order.
struct FlagImageRays {
  using Shared = FastNothing;
  static constexpr int kThreads = 256;
  static constexpr int kMinBlocks = 4;

  FastArrays a;

  template <class Block>
  ORVO_KERNEL_CODE void Run(Block& block, Shared&) const {
    const int64_t image = block.Index();
    const int64_t begin = a.Work.pImageFirstRay[image], end = a.Work.pImageFirstRay[image + 1];
    block.EachLane([&](int lane) {
      const auto row = LoadRow<FastImageRow>(a.Work.pImage + kImageRowFloats * image);
      const RayCamera<float> camera = CameraOfImage(a, image);
      for (int64_t ray = begin + lane; ray < end; ray += block.Lanes()) {
        const uint32_t point = a.Section.pImageRayPoint[ray] & ~kGrossBit;
        const FastXy xy = LoadXy(a.Section.pImageRayXy + 2 * ray);
        const FastPosition at = PositionOf(a, point);
        const RayMisclosure<float> L =
            ObserveRay(RayImageOf(row.Frame), camera, xy.x, xy.y, at.X, at.Y, at.Z);
        const bool gross = SumPoints::IsGross(a, BitsOf(at.TypeBits), L);
        a.Section.pImageRayPoint[ray] = gross ? point | kGrossBit : point;
      }
    });
  }
};

/// Where an image's sums by its own unknowns, in the camera frame, and by those of its camera go.
ORVO_KERNEL_CODE void AddImageShares(const FastArrays& a, int64_t image, const FastImageRow& row,
                                     const float* sums, float* vector) {
  if (HasImageBlocks(a.nMode)) {
    float* to = vector + (a.nMode == LayoutMergedEopIop ? 11 : 6) * image;
    float turned[6];
    TurnBack(row, {sums[0], sums[1], sums[2], sums[3], sums[4], sums[5]}, turned);
    for (int k = 0; k < 6; ++k) to[k] += turned[k];
    if (a.nMode == LayoutMergedEopIop)
      for (int k = 6; k < 11; ++k) to[k] += sums[k];
  }
  if (HasCameraBlocks(a.nMode)) {
    float* share = a.Work.pImageTerms + kImageRowFloats * image;
    for (int k = 0; k < 5; ++k) share[k] = sums[6 + k];
  }
}

/// The reduced constant vector.
struct ConstImages {
  static constexpr int kSums = 11;

  struct StartType {
    FastImageRow Row;
    RayCamera<float> Camera;
  };

  ORVO_KERNEL_CODE static StartType Start(const FastArrays& a, int64_t image) {
    return {LoadRow<FastImageRow>(a.Work.pImage + kImageRowFloats * image), CameraOfImage(a, image)};
  }

  ORVO_KERNEL_CODE static void Ray(const FastArrays& a, const StartType& image, int64_t ray, float* sums) {
    const uint32_t index = a.Section.pImageRayPoint[ray];
    const FastXy xy = LoadXy(a.Section.pImageRayXy + 2 * ray);
    const FastPoint point = PointOf(a, index & ~kGrossBit);
    const FastPosition& at = point.Position;
    const uint32_t type = BitsOf(at.TypeBits);
    const RayMisclosure<float> L =
        ObserveRay(RayImageOf(image.Row.Frame), image.Camera, xy.x, xy.y, at.X, at.Y, at.Z);
    FastVector<float> e{0, 0, 0};
    if (type != 1) e = {point.Solved.v0, point.Solved.v1, point.Solved.v2};
    FastTurned<float> own{sums[0], sums[1], sums[2], sums[3], sums[4], sums[5]};
    FastInner<float> inner{sums[6], sums[7], sums[8], sums[9], sums[10]};
    AddConstShare<true, true>(MakeFastRay(image.Camera, L), L, image.Row.Frame, image.Camera.f,
                              WeightOf(a, (index & kGrossBit) != 0, type), e, own, inner);
    Keep(own, inner, sums);
  }

  ORVO_KERNEL_CODE static void Finish(const FastArrays& a, int64_t image, const StartType& start,
                                      const float* sums) {
    AddImageShares(a, image, start.Row, sums, a.pConst);
  }

  ORVO_KERNEL_CODE static void Keep(const FastTurned<float>& own, const FastInner<float>& inner,
                                    float* sums) {
    sums[0] = own.g1;
    sums[1] = own.g2;
    sums[2] = own.g3;
    sums[3] = own.p;
    sums[4] = own.q;
    sums[5] = own.r;
    sums[6] = inner.f;
    sums[7] = inner.x0;
    sums[8] = inner.y0;
    sums[9] = inner.k1;
    sums[10] = inner.k2;
  }
};

/// Second half of the product: h is there.
struct ProductImages {
  static constexpr int kSums = 11;

  struct StartType {
    FastImageRow Row;
    FastTermsRow Terms;
  };

  ORVO_KERNEL_CODE static StartType Start(const FastArrays& a, int64_t image) {
    StartType start;
    start.Row = LoadRow<FastImageRow>(a.Work.pImage + kImageRowFloats * image);
    // Not as a row that nobody writes: the shares of the image take its place in the end.
    memcpy(&start.Terms, a.Work.pImageTerms + kImageRowFloats * image, sizeof start.Terms);
    return start;
  }

  ORVO_KERNEL_CODE static void Ray(const FastArrays& a, const StartType& image, int64_t ray, float* sums) {
    const uint32_t index = a.Section.pImageRayPoint[ray];
    const FastXy xy = LoadXy(a.Section.pImageRayXy + 2 * ray);
    const FastPoint point = PointOf(a, index & ~kGrossBit);
    const FastPosition& at = point.Position;
    const FastFrame<float>& R = image.Row.Frame;
    const RayCamera<float>& camera = image.Terms.Camera;
    const FastRay<float> D = MakeFastRay(R, camera, xy.x, xy.y, at.X, at.Y, at.Z);
    const FastPair<float> own = TimesImage(D, camera.f, image.Terms.Turned);
    const FastPair<float> inner = TimesInner(D, image.Terms.Inner);
    // h of control points is 0.
    const FastPair<float> e = ProductRayShare(
        D, R, WeightOf(a, (index & kGrossBit) != 0, BitsOf(at.TypeBits)),
        FastPair<float>{own.x + inner.x, own.y + inner.y}, point.Solved.v0, point.Solved.v1, point.Solved.v2);
    FastTurned<float> ownSum{sums[0], sums[1], sums[2], sums[3], sums[4], sums[5]};
    FastInner<float> innerSum{sums[6], sums[7], sums[8], sums[9], sums[10]};
    AddImageTransposed(D, camera.f, e, ownSum);
    AddInnerTransposed(D, e, innerSum);
    ConstImages::Keep(ownSum, innerSum, sums);
  }

  ORVO_KERNEL_CODE static void Finish(const FastArrays& a, int64_t image, const StartType& start,
                                      const float* sums) {
    AddImageShares(a, image, start.Row, sums, a.pProduct);
  }
};

/// Diagonal blocks of the images, in the merged layout with the camera's unknowns.
template <bool kInner>
struct ImageBlocks {
  static constexpr int kSize = kInner ? 11 : 6;
  static constexpr int kSums = kSize * (kSize + 1) / 2;
  using StartType = ConstImages::StartType;

  ORVO_KERNEL_CODE static StartType Start(const FastArrays& a, int64_t image) {
    return ConstImages::Start(a, image);
  }

  ORVO_KERNEL_CODE static void Ray(const FastArrays& a, const StartType& image, int64_t ray, float* sums) {
    const uint32_t index = a.Section.pImageRayPoint[ray];
    const FastXy xy = LoadXy(a.Section.pImageRayXy + 2 * ray);
    const FastPosition at = PositionOf(a, index & ~kGrossBit);
    const uint32_t type = BitsOf(at.TypeBits);
    const FastRay<float> D = MakeFastRay(image.Row.Frame, image.Camera, xy.x, xy.y, at.X, at.Y, at.Z);
    float P[6] = {};
    if (type != 1) InverseOf(a, index & ~kGrossBit, P);
    AddImageBlock<kInner>(
        D, image.Camera.f,
        ReducedWeight(PointRows(D, image.Row.Frame), WeightOf(a, (index & kGrossBit) != 0, type), P), sums);
  }

  ORVO_KERNEL_CODE static void Finish(const FastArrays& a, int64_t image, const StartType& start,
                                      const float* sums) {
    double packed[kSums];
    for (int k = 0; k < kSums; ++k) packed[k] = sums[k];
    AddTurnedBlock<kSize>(start.Row, packed, a.pPrecond + kSums * image);
  }
};

/// Rotations of the images, from their orientation.
struct MakeImageRows {
  using Shared = FastNothing;
  static constexpr int kThreads = 128;
  static constexpr int kMinBlocks = 4;

  FastArrays a;

  template <class Block>
  ORVO_KERNEL_CODE void Run(Block& block, Shared&) const {
    block.EachLane([&](int lane) {
      const int64_t image = block.Index() * block.Lanes() + lane;
      if (image >= a.nImages) return;
      const FastImageRow row = MakeFastImageRow(a.pEop + 6 * image);
      memcpy(a.Work.pImage + kImageRowFloats * image, &row, sizeof row);
    });
  }
};

/// The direction in each image's frame.
struct MakeImageTerms {
  using Shared = FastNothing;
  static constexpr int kThreads = 128;
  static constexpr int kMinBlocks = 4;

  FastArrays a;

  template <class Block>
  ORVO_KERNEL_CODE void Run(Block& block, Shared&) const {
    block.EachLane([&](int lane) {
      const int64_t image = block.Index() * block.Lanes() + lane;
      if (image >= a.nImages) return;
      const bool merged = a.nMode == LayoutMergedEopIop;
      FastTermsRow terms{{0, 0, 0, 0, 0, 0}, {0, 0, 0, 0, 0}, CameraOfImage(a, image)};
      const float* d = a.pDirection + (merged ? 11 : 6) * image;
      if (HasImageBlocks(a.nMode))
        terms.Turned = TurnDirection(LoadRow<FastImageRow>(a.Work.pImage + kImageRowFloats * image), d);
      if (HasCameraBlocks(a.nMode)) d = a.pDirection + CameraPosition(a, a.Work.pImageCamera[image]) - 6;
      if (merged || HasCameraBlocks(a.nMode)) terms.Inner = {d[6], d[7], d[8], d[9], d[10]};
      memcpy(a.Work.pImageTerms + kImageRowFloats * image, &terms, sizeof terms);
    });
  }
};

}  // namespace orvo::gpu
