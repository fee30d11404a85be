// Rays side by side in vector registers, as the passes of the fast kernels read them.
// Part of what each instruction set compiles for itself: see FastPassBody.cpp.
#pragma once

#include "base/simd/FloatLanes.h"
#include "gpu/kernels/fast/FastRay.h"
#include "gpu/kernels/fast/passes/FastPasses.h"
#include "records/UnknownLayout.h"

namespace orvo::gpu {
namespace {

/// Sums over rays run in so many lanes with every instruction set, so that all of them give the same numbers.
constexpr int kSumLanes = 16;
constexpr int kParts = kSumLanes / kLanes;

constexpr bool HasImages(int layout) { return layout != LayoutIop; }
constexpr bool HasInner(int layout) { return layout != LayoutEop; }

[[gnu::always_inline]] inline int64_t Smaller(int64_t a, int64_t b) { return a < b ? a : b; }
[[gnu::always_inline]] inline int64_t FirstRayOf(const FastSection& section, int64_t point) {
  return point < section.m ? section.pFirstRay[point] : section.n;
}
/// kLanes rays of either order; lanes behind the last ray repeat it.
struct Batch {
  Ints Index;
  Floats x, y;
};

[[gnu::always_inline]] inline Batch LoadBatch(const uint32_t* index, const float* xy, int64_t count) {
  Batch batch;
  if (count >= kLanes) {
    batch.Index = Load(index);
    LoadPairs(xy, batch.x, batch.y);
    return batch;
  }
  uint32_t indices[kLanes];
  float pairs[2 * kLanes];
  for (int lane = 0; lane < kLanes; ++lane) {
    const int64_t from = lane < count ? lane : count - 1;
    indices[lane] = index[from];
    pairs[2 * lane] = xy[2 * from];
    pairs[2 * lane + 1] = xy[2 * from + 1];
  }
  batch.Index = Load(indices);
  LoadPairs(pairs, batch.x, batch.y);
  return batch;
}

template <class T, class Number>
[[gnu::always_inline]] inline void StoreSome(Number* p, T values, int64_t count) {
  if (count >= kLanes) {
    Store(p, values);
    return;
  }
  for (int lane = 0; lane < count; ++lane) p[lane] = static_cast<Number>(values[lane]);
}

[[gnu::always_inline]] inline Ints LiveLanes(int64_t count) {
  return LaneNumbers() < SplatInt(static_cast<int32_t>(count < kLanes ? count : kLanes));
}

[[gnu::always_inline]] inline Floats WeightOf(const FastInput& in, Ints gross, Ints type) {
  const Floats byType = type == 1 ? Splat(in.fControlWeight) : Splat(1.0f);
  return gross ? Splat(in.fGrossWeight) : byType;
}

[[gnu::always_inline]] inline RayCamera<Floats> SplatCamera(const float* iop) {
  return {Splat(iop[0]), Splat(iop[1]), Splat(iop[2]), Splat(iop[3]), Splat(iop[4])};
}
[[gnu::always_inline]] inline FastFrame<Floats> SplatFrame(const FastFrame<float>& R) {
  return {Splat(R.a1), Splat(R.a2), Splat(R.a3), Splat(R.X),  Splat(R.b1), Splat(R.b2),
          Splat(R.b3), Splat(R.Y),  Splat(R.c1), Splat(R.c2), Splat(R.c3), Splat(R.Z)};
}

/// The images of rays in point order.
struct ImageLanes {
  uint32_t Row[kLanes];  ///< image of each lane, 0 for a ray that is left out
  Ints Kept;

  [[gnu::always_inline]] explicit ImageLanes(Ints index) {
    const Ints image = index & 0x7fffffff;
    Kept = image != static_cast<int32_t>(kNoImage);
    Store(Row, image & Kept);
  }
  template <int kFirst>
  [[gnu::always_inline]] void Columns(const float* rows, Floats& c0, Floats& c1, Floats& c2,
                                      Floats& c3) const {
    LoadColumns([&](int lane) { return rows + kImageRowFloats * int64_t{Row[lane]} + kFirst; }, c0, c1, c2,
                c3);
  }
  [[gnu::always_inline]] FastFrame<Floats> Frames(const FastWork& work) const {
    FastFrame<Floats> R;
    Columns<0>(work.pImage, R.a1, R.a2, R.a3, R.X);
    Columns<4>(work.pImage, R.b1, R.b2, R.b3, R.Y);
    Columns<8>(work.pImage, R.c1, R.c2, R.c3, R.Z);
    return R;
  }
  template <bool kOneCamera>
  [[gnu::always_inline]] RayCamera<Floats> Cameras(const FastInput& in) const {
    if constexpr (kOneCamera) return SplatCamera(in.pIop);
    Floats skip;
    RayCamera<Floats> camera;
    Columns<8>(in.Work.pImageTerms, skip, skip, skip, camera.f);
    Columns<12>(in.Work.pImageTerms, camera.x0, camera.y0, camera.k1, camera.k2);
    return camera;
  }
};
}  // namespace
}  // namespace orvo::gpu
