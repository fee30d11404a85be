// The pass over object points for what they take off the diagonal blocks of cameras.
// Part of what each instruction set compiles for itself: see FastPassBody.cpp.
#pragma once

#include "gpu/kernels/fast/FastBlocks.h"
#include "gpu/kernels/fast/passes/FastPointPasses.h"

namespace orvo::gpu {
namespace {

/// Groups of rays of one point on one camera, gathered until the lanes are full.
template <bool kOneCamera>
class CouplingGroups {
 public:
  [[gnu::always_inline]] CouplingGroups(const FastSection& given, const FastCouplingScratch& out)
      : section(given), scratch(out) {}

  [[gnu::always_inline]] void Add(int64_t point, uint32_t camera, const float* sum) {
    for (int k = 0; k < 4; ++k) StoreQuad(G[count] + 4 * k, LoadQuad(sum + 4 * k));
    StoreQuad(P[count], LoadQuad(section.pInverse + 4 * point));
    P[count][4] = section.pInverseEnd[2 * point];
    P[count][5] = section.pInverseEnd[2 * point + 1];
    P[count][6] = P[count][7] = 0;
    cameras[count++] = camera;
    if (count == kSumLanes) Flush();
  }

  /// Behind the last group.
  [[gnu::always_inline]] void Close() {
    if (count > 0) {
      for (int k = count; k < kSumLanes; ++k) {
        __builtin_memset(G[k], 0, sizeof(G[k]));
        __builtin_memset(P[k], 0, sizeof(P[k]));
      }
      Flush();
    }
    if constexpr (kOneCamera) {
      for (int k = 0; k < kCameraShareFloats; ++k) {
        for (int part = 0; part < kParts; ++part) {
          for (int lane = 0; lane < kLanes; ++lane)
            scratch.pShare[k] += static_cast<double>(total[part][k][lane]);
        }
      }
    }
  }

 private:
  [[gnu::noinline]] void Flush() {
    for (int part = 0; part < kParts; ++part) {
      Floats g[16], p[8];
      const int top = part * kLanes;
      for (int k = 0; k < 16; k += 4)
        LoadColumns([&](int lane) { return G[top + lane] + k; }, g[k], g[k + 1], g[k + 2], g[k + 3]);
      for (int k = 0; k < 8; k += 4)
        LoadColumns([&](int lane) { return P[top + lane] + k; }, p[k], p[k + 1], p[k + 2], p[k + 3]);
      if constexpr (kOneCamera) {
        AddCoupling(g, p, total[part]);
      } else {
        Floats sum[16] = {};
        AddCoupling(g, p, sum);
        float rows[kLanes][16];
        for (int k = 0; k < 16; k += 4)
          StoreRows(rows[0] + k, 16, sum[k], sum[k + 1], sum[k + 2], sum[k + 3]);
        for (int lane = 0; lane < kLanes && top + lane < count; ++lane) {
          double* share = scratch.pShare + kCameraShareFloats * int64_t{cameras[top + lane]};
          for (int k = 0; k < kCameraShareFloats; ++k) share[k] += static_cast<double>(rows[lane][k]);
        }
      }
    }
    count = 0;
  }

  const FastSection& section;
  const FastCouplingScratch& scratch;
  int count = 0;
  alignas(64) float G[kSumLanes][16];
  alignas(64) float P[kSumLanes][8];
  uint32_t cameras[kSumLanes];
  Floats total[kParts][kCameraShareFloats] = {};
};

template <bool kOneCamera>
void CouplingPoints(const FastInput& in, int64_t first, int64_t end, const FastCouplingScratch& scratch) {
  const FastSection section = in.Section;
  CouplingGroups<kOneCamera> groups(section, scratch);
  alignas(64) float one[16] = {};
  uint32_t slotNum = 0;
  WalkPoints<16>(
      section, first, end,
      [&](int64_t ray, int64_t count, int64_t offset, Chunk<16>& chunk) {
        const Batch batch = LoadBatch(section.pRayImage + ray, section.pRayXy + 2 * ray, count);
        const ImageLanes images(batch.Index);
        const FastFrame<Floats> R = images.Frames(in.Work);
        const RayCamera<Floats> camera = images.Cameras<kOneCamera>(in);
        Floats X, Y, Z, typeBits;
        LoadColumns([&](int lane) { return chunk.Point[offset + lane]; }, X, Y, Z, typeBits);
        const FastRay<Floats> made = MakeFastRay(R, camera, batch.x, batch.y, X, Y, Z);
        const Floats s = WeightOf(in, batch.Index < 0, BitsOf(typeBits));
        Floats share[16];
        CouplingShare(made, PointRows(made, R), s, share);
        share[15] = Floats{};
        for (int k = 0; k < 15; ++k) share[k] = Where(images.Kept, share[k]);
        for (int k = 0; k < 16; k += 4)
          StoreRows(chunk.Row[offset] + k, 16, share[k], share[k + 1], share[k + 2], share[k + 3]);
      },
      [&](int64_t point, int64_t ray, int64_t stop, const float(*rows)[16]) {
        if (TypeOf(section.pPoint + kPointFloats * point) == 1) return;
        for (; ray < stop; ++ray, ++rows) {
          float* sum = one;
          if constexpr (!kOneCamera) {
            const uint32_t image = section.pRayImage[ray] & ~kGrossBit;
            if (image == kNoImage) continue;
            const uint32_t camera = in.Work.pImageCamera[image];
            uint32_t& slot = scratch.pSlots[camera];
            if (slot == kNoSlot) {
              slot = slotNum++;
              scratch.pCameras[slot] = camera;
              __builtin_memset(scratch.pSums + 16 * int64_t{slot}, 0, 16 * sizeof(float));
            }
            sum = scratch.pSums + 16 * int64_t{slot};
          }
          for (int k = 0; k < 16; k += 4) StoreQuad(sum + k, LoadQuad(sum + k) + LoadQuad(*rows + k));
        }
      },
      [&](int64_t point) {
        if constexpr (kOneCamera) {
          if (TypeOf(section.pPoint + kPointFloats * point) == 1) return;
          groups.Add(point, 0, one);
          __builtin_memset(one, 0, sizeof(one));
        } else {
          for (uint32_t slot = 0; slot < slotNum; ++slot) {
            groups.Add(point, scratch.pCameras[slot], scratch.pSums + 16 * int64_t{slot});
            scratch.pSlots[scratch.pCameras[slot]] = kNoSlot;
          }
          slotNum = 0;
        }
      });
  groups.Close();
}
}  // namespace
}  // namespace orvo::gpu
