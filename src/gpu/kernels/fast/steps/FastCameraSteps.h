// Steps whose sums go over the whole section: those of cameras, and the residual sums. Stretches of the
// section are summed first, then the stretches in their order.
#pragma once

#include "gpu/kernels/fast/FastBlocks.h"
#include "gpu/kernels/fast/steps/FastImageSteps.h"
#include "gpu/kernels/fast/steps/FastStep.h"

namespace orvo::gpu {

/// Begin of stretch k of `count` things.
ORVO_KERNEL_CODE int64_t StretchBegin(int64_t count, int64_t k) {
  return count / kStretches * k + count % kStretches * k / kStretches;
}

/// Sums of Lx, Ly, Lx Lx, Ly Ly over the rays of one stretch that are not gross.
struct ResidualStretches {
  using Shared = FastScratch<4>;
  static constexpr int kThreads = 512;
  static constexpr int kMinBlocks = 1;

  FastArrays a;

  template <class Block>
  ORVO_KERNEL_CODE void Run(Block& block, Shared& shared) const {
    const int64_t begin = StretchBegin(a.Section.n, block.Index());
    const int64_t end = StretchBegin(a.Section.n, block.Index() + 1);
    typename Block::template PerLane<FastSums<4>> sums;
    block.EachLane([&](int lane) {
      for (int k = 0; k < 4; ++k) sums[lane].v[k] = 0;
      for (int64_t ray = begin + lane; ray < end; ray += block.Lanes()) {
        const uint32_t index = a.Section.pRayImage[ray];
        if ((index & kGrossBit) != 0 || index == kNoImage) continue;
        const FastXy L = LoadXy(a.Section.pRayResidual + 2 * ray);
        sums[lane].v[0] += L.x;
        sums[lane].v[1] += L.y;
        sums[lane].v[2] += L.x * L.x;
        sums[lane].v[3] += L.y * L.y;
      }
    });
    block.template SumLanes<4>(sums, shared);
    block.EachLane([&](int lane) {
      if (lane < 4) a.pRms[4 + 4 * block.Index() + lane] = shared.Total[lane];
    });
  }
};

/// The four sums of the section in front of those of the stretches.
struct ResidualTotal {
  using Shared = FastNothing;
  static constexpr int kThreads = 32;
  static constexpr int kMinBlocks = 1;

  FastArrays a;

  template <class Block>
  ORVO_KERNEL_CODE void Run(Block& block, Shared&) const {
    block.EachLane([&](int lane) {
      if (lane >= 4) return;
      float sum = 0;
      for (int k = 1; k <= kStretches; ++k) sum += a.pRms[4 * k + lane];
      a.pRms[lane] = sum;
    });
  }
};

/// The shares of a camera's images, added to the camera's place in `pVector`.
struct CameraShares {
  using Shared = FastScratch<5>;
  static constexpr int kThreads = 256;
  static constexpr int kMinBlocks = 1;

  FastArrays a;
  float* pVector = nullptr;

  template <class Block>
  ORVO_KERNEL_CODE void Run(Block& block, Shared& shared) const {
    const int64_t camera = block.Index();
    const int64_t begin = a.Work.pCameraFirst[camera], end = a.Work.pCameraFirst[camera + 1];
    typename Block::template PerLane<FastSums<5>> sums;
    block.EachLane([&](int lane) {
      for (int k = 0; k < 5; ++k) sums[lane].v[k] = 0;
      for (int64_t i = begin + lane; i < end; i += block.Lanes()) {
        const float* share = a.Work.pImageTerms + kImageRowFloats * a.Work.pCameraImages[i];
        for (int k = 0; k < 5; ++k) sums[lane].v[k] += share[k];
      }
    });
    block.template SumLanes<5>(sums, shared);
    block.EachLane([&](int lane) {
      if (lane < 5) pVector[CameraPosition(a, camera) + lane] += shared.Total[lane];
    });
  }
};

/// What the points of one stretch give to the diagonal blocks of the cameras. In each turn every lane takes
/// the next camera of its point; then the block adds them up lane by lane.
struct StretchBlocks {
  static constexpr int kThreads = 256;
  static constexpr int kMinBlocks = 1;
  struct Shared {
    float Values[kThreads][kCameraShareFloats];
    uint32_t Camera[kThreads];
  };
  static constexpr uint32_t kNoCamera = 0xffffffffu;

  FastArrays a;

  template <class Block>
  ORVO_KERNEL_CODE void Run(Block& block, Shared& shared) const {
    float* shares = a.Work.pStretchShare + kCameraShareFloats * a.nCameras * block.Index();
    const int64_t begin = StretchBegin(a.Section.m, block.Index());
    const int64_t end = StretchBegin(a.Section.m, block.Index() + 1);
    typename Block::template PerLane<int64_t> next;
    typename Block::template PerLane<bool> more;
    block.EachLane([&](int lane) {
      for (int64_t k = lane; k < kCameraShareFloats * a.nCameras; k += block.Lanes()) shares[k] = 0;
    });
    for (int64_t points = begin; points < end; points += block.Lanes()) {
      block.EachLane([&](int lane) {
        next[lane] = points + lane < end ? FirstRayOf(a, points + lane) : 0;
        more[lane] = true;
      });
      while (block.Any(more)) {
        block.EachLane([&](int lane) {
          shared.Camera[lane] = kNoCamera;
          more[lane] = false;
          if (points + lane >= end) return;
          more[lane] = NextCamera(points + lane, next[lane], shared.Camera[lane]);
          if (more[lane]) AddPoint(points + lane, next[lane]++, shared.Camera[lane], shared.Values[lane]);
        });
        block.EachLane([&](int lane) {
          if (lane < kCameraShareFloats) AddLanes(shared, block.Lanes(), lane, shares);
        });
      }
    }
  }

  ORVO_KERNEL_CODE uint32_t CameraOfRay(int64_t ray) const {
    const uint32_t image = a.Section.pRayImage[ray] & ~kGrossBit;
    return image == kNoImage ? kNoCamera : a.Work.pImageCamera[image];
  }

  /// Moves `ray` on to the first ray of its point on a camera that no ray before it is on.
  ORVO_KERNEL_CODE bool NextCamera(int64_t point, int64_t& ray, uint32_t& camera) const {
    const int64_t first = FirstRayOf(a, point), last = FirstRayOf(a, point + 1);
    for (; ray < last; ++ray) {
      camera = CameraOfRay(ray);
      if (camera == kNoCamera) continue;
      int64_t before = ray - 1;
      while (before >= first && CameraOfRay(before) != camera) --before;
      if (before < first) return true;
    }
    camera = kNoCamera;
    return false;
  }

  /// The direct terms of the point's rays on one camera, less their elimination.
  ORVO_KERNEL_CODE void AddPoint(int64_t point, int64_t first, uint32_t cameraIndex, float* values) const {
    const FastPosition at = PositionOf(a, point);
    const uint32_t type = BitsOf(at.TypeBits);
    const RayCamera<float> camera = MakeRayCamera(a.pIop + 5 * int64_t{cameraIndex});
    const int64_t last = FirstRayOf(a, point + 1);
    float sum[kCameraShareFloats] = {}, G[15] = {};
    for (int64_t ray = first; ray < last; ++ray) {
      if (CameraOfRay(ray) != cameraIndex) continue;
      const uint32_t index = a.Section.pRayImage[ray];
      const auto R = LoadRow<FastFrame<float>>(a.Work.pImage + kImageRowFloats * int64_t{index & ~kGrossBit});
      const FastXy xy = LoadXy(a.Section.pRayXy + 2 * ray);
      const FastRay<float> D = MakeFastRay(R, camera, xy.x, xy.y, at.X, at.Y, at.Z);
      const float s = WeightOf(a, (index & kGrossBit) != 0, type);
      AddInnerSquare(D, s, sum);
      float share[15];
      CouplingShare(D, PointRows(D, R), s, share);
      for (int k = 0; k < 15; ++k) G[k] += share[k];
    }
    float coupling[kCameraShareFloats] = {};
    if (type != 1) {
      float P[6];
      InverseOf(a, point, P);
      AddCoupling(G, P, coupling);
    }
    for (int k = 0; k < kCameraShareFloats; ++k) values[k] = sum[k] - coupling[k];
  }

  /// One number of each lane's block, in the order of the lanes; runs on one camera are added up before they
  /// reach memory.
  ORVO_KERNEL_CODE static void AddLanes(const Shared& shared, int lanes, int k, float* shares) {
    float sum = 0;
    uint32_t camera = kNoCamera;
    for (int lane = 0; lane < lanes; ++lane) {
      const uint32_t here = shared.Camera[lane];
      if (here == kNoCamera) continue;
      if (here != camera) {
        if (camera != kNoCamera) shares[kCameraShareFloats * int64_t{camera} + k] += sum;
        camera = here;
        sum = 0;
      }
      sum += shared.Values[lane][k];
    }
    if (camera != kNoCamera) shares[kCameraShareFloats * int64_t{camera} + k] += sum;
  }
};

/// The shares of the stretches, added to the cameras' diagonal blocks.
struct CameraBlocks {
  using Shared = FastNothing;
  static constexpr int kThreads = 128;
  static constexpr int kMinBlocks = 1;

  FastArrays a;

  template <class Block>
  ORVO_KERNEL_CODE void Run(Block& block, Shared&) const {
    block.EachLane([&](int lane) {
      const int64_t k = block.Index() * block.Lanes() + lane, all = kCameraShareFloats * a.nCameras;
      if (k >= all) return;
      float sum = 0;
      for (int64_t stretch = 0; stretch < kStretches; ++stretch)
        sum += a.Work.pStretchShare[all * stretch + k];
      a.pPrecond[(a.nMode == LayoutEopIop ? 21 * a.nEopBlocks : 0) + k] += sum;
    });
  }
};

}  // namespace orvo::gpu
