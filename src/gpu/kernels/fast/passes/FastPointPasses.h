// Passes over object points.
// Part of what each instruction set compiles for itself: see FastPassBody.cpp.
#pragma once

#include "gpu/kernels/PointFinish.h"
#include "gpu/kernels/RayBlocks.h"
#include "gpu/kernels/fast/passes/FastRayLanes.h"

namespace orvo::gpu {
namespace {

constexpr int kChunkRays = 256;
/// Most points have no more rays. Their loops run to here without a branch, as the processor can't guess the
/// number.
constexpr int kFewRays = 8;

/// Rows that each ray of a chunk gives to its point, and the rows of the points themselves.
template <int kRowFloats>
struct Chunk {
  alignas(64) float Point[kChunkRays + kFewRays][4];  ///< X, Y, Z, type of the point of each ray
  alignas(64) float Row[kChunkRays + kFewRays][kRowFloats];
};

/// Adds rows in their order.
template <int kRowFloats>
[[gnu::always_inline]] inline void AddRows(const float (*rows)[kRowFloats], int64_t count, Quad* sum) {
  using QuadMask [[gnu::vector_size(16)]] = int32_t;
  static constexpr int32_t kMasks[8 * kFewRays] = {
      -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,  //
      -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1};
  const int64_t few = Smaller(count, kFewRays);
  const int32_t* masks = kMasks + 4 * (kFewRays - few);
  for (int row = 0; row < kFewRays; ++row) {
    const auto mask = LoadVector<QuadMask>(masks + 4 * row);
    for (int k = 0; k < kRowFloats / 4; ++k)
      sum[k] += reinterpret_cast<Quad>(LoadVector<QuadMask>(rows[row] + 4 * k) & mask);
  }
  for (int64_t row = few; row < count; ++row) {
    for (int k = 0; k < kRowFloats / 4; ++k) sum[k] += LoadQuad(rows[row] + 4 * k);
  }
}

/// Walks the rays of points [first, end) in chunks: rays(ray, count, offset, chunk) sets the rows of kLanes
/// rays from `ray` on, `count` being what is left of the chunk and `offset` their place in it;
/// take(point, ray, end, rows) gets those of rays [ray, end) of one point; finish(point) follows when all are
/// through.
template <int kRowFloats, class Rays, class Take, class Finish>
[[gnu::always_inline]] inline void WalkPoints(const FastSection section, int64_t first, int64_t end,
                                              const Rays& rays, const Take& take, const Finish& finish) {
  Chunk<kRowFloats> chunk;
  const int64_t last = FirstRayOf(section, end);
  int64_t expanded = first, point = first;
  for (int64_t ray = FirstRayOf(section, first);;) {
    const int64_t chunkEnd = Smaller(ray + kChunkRays, last), count = chunkEnd - ray;
    for (int64_t j = 0; j < count; ++expanded) {
      const Quad row = LoadQuad(section.pPoint + kPointFloats * expanded);
      const int64_t behind = FirstRayOf(section, expanded + 1) - ray, stop = Smaller(behind, count);
      for (int k = 0; k < kFewRays; ++k) StoreQuad(chunk.Point[j + k], row);
      for (int64_t k = j + kFewRays; k < stop; ++k) StoreQuad(chunk.Point[k], row);
      j = stop;
      if (behind > count) break;
    }
    for (int64_t j = count; j % kLanes != 0; ++j) StoreQuad(chunk.Point[j], LoadQuad(chunk.Point[count - 1]));
    for (int64_t offset = 0; offset < count; offset += kLanes)
      rays(ray + offset, count - offset, offset, chunk);
    for (int64_t j = ray; point < end; ++point) {
      const int64_t behind = FirstRayOf(section, point + 1);
      const int64_t stop = Smaller(behind, chunkEnd);
      take(point, j, stop, chunk.Row + (j - ray));
      j = stop;
      if (behind > chunkEnd) break;
      finish(point);
    }
    ray = chunkEnd;
    if (ray == last) break;
  }
}

[[gnu::always_inline]] inline uint32_t TypeOf(const float* pointRow) {
  uint32_t type;
  __builtin_memcpy(&type, pointRow + kPointType, sizeof(type));
  return type;
}

/// An object point as Finish leaves it. A control point is not eliminated, so its P and e are 0 here.
[[gnu::always_inline]] inline void StoreFinished(const FastSection& section, int64_t point,
                                                 const PointSums& sums, float controlWeight,
                                                 float heightDifference) {
  float* row = section.pPoint + kPointFloats * point;
  float* inverse = section.pInverse + 4 * point;
  float* inverseEnd = section.pInverseEnd + 2 * point;
  const uint32_t type = TypeOf(row);
  FinishedPoint finished{};
  if (type != 1) finished = FinishPoint(sums, type, controlWeight, heightDifference);
  for (int k = 0; k < 3; ++k) row[kPointSolved + k] = finished.e[k];
  for (int k = 0; k < 4; ++k) inverse[k] = finished.P[k];
  inverseEnd[0] = finished.P[4];
  inverseEnd[1] = finished.P[5];
}

template <bool kOneCamera>
void SumPoints(const FastInput& in, int64_t first, int64_t end, double* sums) {
  const FastSection section = in.Section;
  for (int k = 0; k < 4; ++k) sums[k] = 0;
  float lanes[kParts][4][kLanes];
  const Floats limitX = Splat(in.fLimitX), limitY = Splat(in.fLimitY);
  Quad sum[3] = {};
  WalkPoints<12>(
      section, first, end,
      [&](int64_t ray, int64_t count, int64_t offset, Chunk<12>& chunk) {
        const Batch batch = LoadBatch(section.pRayImage + ray, section.pRayXy + 2 * ray, count);
        const ImageLanes images(batch.Index);
        const FastFrame<Floats> R = images.Frames(in.Work);
        const RayCamera<Floats> camera = images.Cameras<kOneCamera>(in);
        Floats X, Y, Z, typeBits;
        LoadColumns([&](int lane) { return chunk.Point[offset + lane]; }, X, Y, Z, typeBits);
        const RayMisclosure<Floats> observed = ObserveRay(RayImageOf(R), camera, batch.x, batch.y, X, Y, Z);
        const Floats Lx = Where(images.Kept, observed.Lx), Ly = Where(images.Kept, observed.Ly);
        const Ints type = BitsOf(typeBits);
        const Ints gross = (type == 0) & images.Kept &
                           ((Magnitude(observed.Lx) > limitX) | (Magnitude(observed.Ly) > limitY));
        const Ints marked = (batch.Index & 0x7fffffff) | (gross & static_cast<int32_t>(kGrossBit));
        StoreSome(section.pRayImage + ray, marked, count);
        if (count >= kLanes) {
          StorePairs(section.pRayResidual + 2 * ray, Lx, Ly);
        } else {
          for (int lane = 0; lane < count; ++lane) {
            section.pRayResidual[2 * (ray + lane)] = Lx[lane];
            section.pRayResidual[2 * (ray + lane) + 1] = Ly[lane];
          }
        }

        const Ints counted = images.Kept & ~gross & LiveLanes(count);
        const Floats x = Where(counted, Lx), y = Where(counted, Ly);
        const Floats figures[4] = {x, y, x * x, y * y};
        const int64_t part = offset / kLanes % kParts;
        for (int k = 0; k < 4; ++k)
          Store(lanes[part][k], offset < kSumLanes ? figures[k] : Load(lanes[part][k]) + figures[k]);

        const Floats s = WeightOf(in, gross, type);
        Floats share[9];
        PointSumsShare(PointRows(MakeFastRay(camera, observed), R), s, observed.Lx, observed.Ly, share);
        for (int k = 0; k < 9; ++k) share[k] = Where(images.Kept, share[k]);
        float* rows = chunk.Row[offset];
        StoreRows(rows, 12, share[0], share[1], share[2], share[3]);
        StoreRows(rows + 4, 12, share[4], share[5], share[6], share[7]);
        StoreRows(rows + 8, 12, share[8], Floats{}, Floats{}, Floats{});
        if (count <= kLanes) {
          for (int k = 0; k < 4; ++k) {
            for (int p = 0; p < kParts && p * kLanes < offset + count; ++p) {
              for (int lane = 0; lane < kLanes; ++lane) sums[k] += static_cast<double>(lanes[p][k][lane]);
            }
          }
        }
      },
      [&](int64_t point, int64_t ray, int64_t stop, const float(*rows)[12]) {
        stop = SummedRaysEnd(FirstRayOf(section, point), stop);
        if (ray < stop) AddRows<12>(rows, stop - ray, sum);
      },
      [&](int64_t point) {
        const int64_t firstRay = FirstRayOf(section, point), endRay = FirstRayOf(section, point + 1);
        if (endRay > firstRay && IsPointFinished(point, firstRay, endRay)) {
          const PointSums N{sum[0][0], sum[0][1], sum[0][2], sum[0][3], sum[1][0],
                            sum[1][1], sum[1][2], sum[1][3], sum[2][0]};
          StoreFinished(section, point, N, in.fControlWeight,
                        section.pPoint[kPointFloats * point + kPointHeightDifference]);
        }
        for (Quad& s : sum) s = Quad{};
      });
}

/// h = P y of points that follow each other, gathered until the lanes are full.
class ProductSolver {
 public:
  [[gnu::always_inline]] explicit ProductSolver(const FastSection& given) : section(given) {}

  [[gnu::always_inline]] void Add(int64_t point, Quad sum) {
    StoreQuad(sums[count], sum);
    if (++count == kLanes) Solve(point + 1 - kLanes);
  }
  /// Behind the last point.
  [[gnu::always_inline]] void Close(int64_t end) {
    for (int k = 0; k < count; ++k) SolveOne(end - count + k, sums[k]);
  }

 private:
  /// A control point is not eliminated; its sum may be not a number.
  [[gnu::always_inline]] void Solve(int64_t first) {
    float* rows = section.pPoint + kPointFloats * first;
    const float* inverse = section.pInverse + 4 * first;
    Floats y0, y1, y2, skip, P00, P01, P02, P11, P12, P22, typeBits, heightDifference;
    LoadColumns([&](int lane) { return sums[lane]; }, y0, y1, y2, skip);
    LoadColumns([&](int lane) { return inverse + 4 * lane; }, P00, P01, P02, P11);
    LoadPairs(section.pInverseEnd + 2 * first, P12, P22);
    LoadColumns([&](int lane) { return rows + kPointFloats * lane; }, skip, skip, skip, typeBits);
    LoadColumns([&](int lane) { return rows + kPointFloats * lane + kPointSolved; }, skip, skip, skip,
                heightDifference);
    const Ints solved = BitsOf(typeBits) != 1;
    StoreRows(rows + kPointSolved, kPointFloats, Where(solved, P00 * y0 + P01 * y1 + P02 * y2),
              Where(solved, P01 * y0 + P11 * y1 + P12 * y2), Where(solved, P02 * y0 + P12 * y1 + P22 * y2),
              heightDifference);
    count = 0;
  }
  [[gnu::always_inline]] void SolveOne(int64_t point, const float* y) {
    float* row = section.pPoint + kPointFloats * point;
    const float* P = section.pInverse + 4 * point;
    const float* last = section.pInverseEnd + 2 * point;
    const bool bControl = TypeOf(row) == 1;
    row[kPointSolved] = bControl ? 0 : P[0] * y[0] + P[1] * y[1] + P[2] * y[2];
    row[kPointSolved + 1] = bControl ? 0 : P[1] * y[0] + P[3] * y[1] + last[0] * y[2];
    row[kPointSolved + 2] = bControl ? 0 : P[2] * y[0] + last[0] * y[1] + last[1] * y[2];
  }

  const FastSection section;
  int count = 0;
  alignas(64) float sums[kLanes][4];
};

template <int kLayout, bool kOneCamera>
void ProductPoints(const FastInput& in, int64_t first, int64_t end) {
  const FastSection section = in.Section;
  ProductSolver solver(section);
  Quad sum{};
  WalkPoints<4>(
      section, first, end,
      [&](int64_t ray, int64_t count, int64_t offset, Chunk<4>& chunk) {
        const Batch batch = LoadBatch(section.pRayImage + ray, section.pRayXy + 2 * ray, count);
        const ImageLanes images(batch.Index);
        const FastFrame<Floats> R = images.Frames(in.Work);
        Floats X, Y, Z, typeBits;
        LoadColumns([&](int lane) { return chunk.Point[offset + lane]; }, X, Y, Z, typeBits);
        FastTurned<Floats> turned;
        FastInner<Floats> inner;
        RayCamera<Floats> camera;
        Floats skip;
        const float* terms = in.Work.pImageTerms;
        if constexpr (HasImages(kLayout)) {
          images.Columns<0>(terms, turned.g1, turned.g2, turned.g3, turned.p);
          images.Columns<4>(terms, turned.q, turned.r, inner.f, inner.x0);
        } else if constexpr (!kOneCamera) {
          images.Columns<4>(terms, skip, skip, inner.f, inner.x0);
        }
        if constexpr (!kOneCamera) {
          images.Columns<8>(terms, inner.y0, inner.k1, inner.k2, camera.f);
          images.Columns<12>(terms, camera.x0, camera.y0, camera.k1, camera.k2);
        } else {
          camera = SplatCamera(in.pIop);
          const FastInner<float>& one = reinterpret_cast<const FastTermsRow*>(terms)->Inner;
          inner = {Splat(one.f), Splat(one.x0), Splat(one.y0), Splat(one.k1), Splat(one.k2)};
        }
        const FastRay<Floats> made = MakeFastRay(R, camera, batch.x, batch.y, X, Y, Z);
        FastPair<Floats> Dd{};
        if constexpr (HasImages(kLayout)) Dd = TimesImage(made, camera.f, turned);
        if constexpr (HasInner(kLayout)) {
          const FastPair<Floats> byInner = TimesInner(made, inner);
          Dd.x += byInner.x;
          Dd.y += byInner.y;
        }
        const Floats s = WeightOf(in, batch.Index < 0, BitsOf(typeBits));
        const FastVector<Floats> share = ProductPointShare(made, R, s, Dd);
        StoreRows(chunk.Row[offset], 4, Where(images.Kept, share.v0), Where(images.Kept, share.v1),
                  Where(images.Kept, share.v2), Floats{});
      },
      [&](int64_t, int64_t ray, int64_t stop, const float(*rows)[4]) { AddRows<4>(rows, stop - ray, &sum); },
      [&](int64_t point) {
        solver.Add(point, sum);
        sum = Quad{};
      });
  solver.Close(end);
}

}  // namespace
}  // namespace orvo::gpu
