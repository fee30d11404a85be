// Passes over images, each of which gathers its own rays.
// Part of what each instruction set compiles for itself: see FastPassBody.cpp.
#pragma once

#include "gpu/kernels/fast/FastBlocks.h"
#include "gpu/kernels/fast/passes/FastRayLanes.h"

namespace orvo::gpu {
namespace {

constexpr int64_t kRaysAhead = 64;

/// kLanes rays of one image with their points; with kInverse, the points' inverses come soon too.
template <bool kInverse = false>
struct ImageBatch {
  uint32_t Point[kLanes];
  Batch Measured;
  Ints Gross, Live;
  Floats X, Y, Z, TypeBits;

  [[gnu::always_inline]] ImageBatch(const FastSection& section, int64_t ray, int64_t count) {
    const uint32_t* points = section.pImageRayPoint + ray;
    if (count > kRaysAhead + kLanes) {
      for (int lane = 0; lane < kLanes; ++lane) {
        const int64_t ahead = points[kRaysAhead + lane] & ~kGrossBit;
        __builtin_prefetch(section.pPoint + kPointFloats * ahead);
        if constexpr (kInverse) {
          __builtin_prefetch(section.pInverse + 4 * ahead);
          __builtin_prefetch(section.pInverseEnd + 2 * ahead);
        }
      }
    }
    Measured = LoadBatch(points, section.pImageRayXy + 2 * ray, count);
    Gross = Measured.Index < 0;
    Live = LiveLanes(count);
    Store(Point, Measured.Index & 0x7fffffff);
    LoadColumns([&](int lane) { return section.pPoint + kPointFloats * int64_t{Point[lane]}; }, X, Y, Z,
                TypeBits);
  }
  [[gnu::always_inline]] FastVector<Floats> Solved(const FastSection& section) const {
    FastVector<Floats> solved;
    Floats skip;
    LoadColumns([&](int lane) { return section.pPoint + kPointFloats * int64_t{Point[lane]} + kPointSolved; },
                solved.v0, solved.v1, solved.v2, skip);
    return solved;
  }
  [[gnu::always_inline]] void Inverse(const FastSection& section, Floats* P) const {
    LoadColumns([&](int lane) { return section.pInverse + 4 * int64_t{Point[lane]}; }, P[0], P[1], P[2],
                P[3]);
    float ends[2 * kLanes];
    for (int lane = 0; lane < kLanes; ++lane)
      __builtin_memcpy(ends + 2 * lane, section.pInverseEnd + 2 * int64_t{Point[lane]}, 8);
    LoadPairs(ends, P[4], P[5]);
  }
  [[gnu::always_inline]] Floats Weight(const FastInput& in) const {
    return Where(Live, WeightOf(in, Gross, BitsOf(TypeBits)));
  }
};

/// Sums kValues numbers over the rays of one image: add(ray, count, sum) adds those of kLanes rays.
template <int kValues, class Add>
[[gnu::always_inline]] inline void SumRays(int64_t first, int64_t end, const Add& add, double* out) {
  Floats sum[kParts][kValues] = {};
  for (int64_t ray = first; ray < end; ray += kSumLanes) {
    for (int part = 0; part < kParts; ++part) {
      const int64_t from = ray + part * kLanes;
      if (from < end) add(from, end - from, sum[part]);
    }
  }
  for (int k = 0; k < kValues; ++k) {
    out[k] = 0;
    for (int part = 0; part < kParts; ++part) {
      for (int lane = 0; lane < kLanes; ++lane) out[k] += static_cast<double>(sum[part][k][lane]);
    }
  }
}

/// One image as its rays see it.
struct ImageTerms {
  const FastImageRow& Row;
  const float* pCamera;
  int64_t nFirst, nEnd;
  [[gnu::always_inline]] ImageTerms(const FastInput& in, int64_t image)
      : Row(reinterpret_cast<const FastImageRow*>(in.Work.pImage)[image]),
        pCamera(in.pIop + 5 * int64_t{in.Work.pImageCamera[image]}),
        nFirst(in.Work.pImageFirstRay[image]),
        nEnd(in.Work.pImageFirstRay[image + 1]) {}
};

void MarkImages(const FastInput& in, int64_t first, int64_t end) {
  const FastSection section = in.Section;
  const Floats limitX = Splat(in.fLimitX), limitY = Splat(in.fLimitY);
  for (int64_t image = first; image < end; ++image) {
    const ImageTerms terms(in, image);
    const RayCamera<Floats> camera = SplatCamera(terms.pCamera);
    const FastFrame<Floats> R = SplatFrame(terms.Row.Frame);
    for (int64_t ray = terms.nFirst; ray < terms.nEnd; ray += kLanes) {
      const ImageBatch<> batch(section, ray, terms.nEnd - ray);
      // Letter by letter what SumPoints decides by.
      const RayMisclosure<Floats> observed =
          ObserveRay(RayImageOf(R), camera, batch.Measured.x, batch.Measured.y, batch.X, batch.Y, batch.Z);
      const Ints gross = (BitsOf(batch.TypeBits) == 0) &
                         ((Magnitude(observed.Lx) > limitX) | (Magnitude(observed.Ly) > limitY));
      const Ints marked = (batch.Measured.Index & 0x7fffffff) | (gross & static_cast<int32_t>(kGrossBit));
      StoreSome(section.pImageRayPoint + ray, marked, terms.nEnd - ray);
    }
  }
}

/// Sums of an image's rays, eleven columns, into the unknowns.
template <int kLayout>
[[gnu::always_inline]] inline void AddUnknowns(const FastInput& in, int64_t image, const FastImageRow& row,
                                               const double* sum) {
  float out[11];
  const auto f = [&](int k) { return static_cast<float>(sum[k]); };
  TurnBack(row, {f(0), f(1), f(2), f(3), f(4), f(5)}, out);
  for (int k = 6; k < 11; ++k) out[k] = f(k);
  constexpr int kSize = kLayout == LayoutMergedEopIop ? 11 : 6;
  if constexpr (HasImages(kLayout)) {
    for (int k = 0; k < kSize; ++k) in.pOut[kSize * image + k] += out[k];
  }
  if constexpr (kLayout == LayoutIop || kLayout == LayoutEopIop) {
    for (int k = 0; k < 5; ++k) in.Work.pImageTerms[kImageRowFloats * image + k] = out[6 + k];
  }
}

/// The eleven sums as the numbers that FastRay.h adds to.
struct UnknownSums {
  FastTurned<Floats> Turned;
  FastInner<Floats> Inner;
  [[gnu::always_inline]] explicit UnknownSums(const Floats* s)
      : Turned{s[0], s[1], s[2], s[3], s[4], s[5]}, Inner{s[6], s[7], s[8], s[9], s[10]} {}
  [[gnu::always_inline]] void Store(Floats* s) const {
    const Floats values[11] = {Turned.g1, Turned.g2, Turned.g3, Turned.p, Turned.q, Turned.r,
                               Inner.f,   Inner.x0,  Inner.y0,  Inner.k1, Inner.k2};
    for (int k = 0; k < 11; ++k) s[k] = values[k];
  }
};

template <int kLayout>
void ConstImages(const FastInput& in, int64_t first, int64_t end) {
  const FastSection section = in.Section;
  for (int64_t image = first; image < end; ++image) {
    const ImageTerms terms(in, image);
    const RayCamera<Floats> camera = SplatCamera(terms.pCamera);
    const FastFrame<Floats> R = SplatFrame(terms.Row.Frame);
    double sum[11];
    SumRays<11>(
        terms.nFirst, terms.nEnd,
        [&](int64_t ray, int64_t count, Floats* lanes) {
          const ImageBatch<> batch(section, ray, count);
          const RayMisclosure<Floats> observed = ObserveRay(RayImageOf(R), camera, batch.Measured.x,
                                                            batch.Measured.y, batch.X, batch.Y, batch.Z);
          UnknownSums sums(lanes);
          AddConstShare<HasImages(kLayout), HasInner(kLayout)>(
              MakeFastRay(camera, observed), observed, R, camera.f, batch.Weight(in), batch.Solved(section),
              sums.Turned, sums.Inner);
          sums.Store(lanes);
        },
        sum);
    AddUnknowns<kLayout>(in, image, terms.Row, sum);
  }
}

template <int kLayout>
void ProductImages(const FastInput& in, int64_t first, int64_t end) {
  const FastSection section = in.Section;
  for (int64_t image = first; image < end; ++image) {
    const ImageTerms terms(in, image);
    const RayCamera<Floats> camera = SplatCamera(terms.pCamera);
    const FastFrame<Floats> R = SplatFrame(terms.Row.Frame);
    const FastTermsRow& row = reinterpret_cast<const FastTermsRow*>(in.Work.pImageTerms)[image];
    const FastTurned<Floats> turned{Splat(row.Turned.g1), Splat(row.Turned.g2), Splat(row.Turned.g3),
                                    Splat(row.Turned.p),  Splat(row.Turned.q),  Splat(row.Turned.r)};
    const FastInner<Floats> inner{Splat(row.Inner.f), Splat(row.Inner.x0), Splat(row.Inner.y0),
                                  Splat(row.Inner.k1), Splat(row.Inner.k2)};
    double sum[11];
    SumRays<11>(
        terms.nFirst, terms.nEnd,
        [&](int64_t ray, int64_t count, Floats* lanes) {
          const ImageBatch<> batch(section, ray, count);
          const FastRay<Floats> made =
              MakeFastRay(R, camera, batch.Measured.x, batch.Measured.y, batch.X, batch.Y, batch.Z);
          FastPair<Floats> Dd{};
          if constexpr (HasImages(kLayout)) Dd = TimesImage(made, camera.f, turned);
          if constexpr (HasInner(kLayout)) {
            const FastPair<Floats> byInner = TimesInner(made, inner);
            Dd.x += byInner.x;
            Dd.y += byInner.y;
          }
          const FastVector<Floats> h = batch.Solved(section);
          const FastPair<Floats> e = ProductRayShare(made, R, batch.Weight(in), Dd, h.v0, h.v1, h.v2);
          UnknownSums sums(lanes);
          if constexpr (HasImages(kLayout)) AddImageTransposed(made, camera.f, e, sums.Turned);
          if constexpr (HasInner(kLayout)) AddInnerTransposed(made, e, sums.Inner);
          sums.Store(lanes);
        },
        sum);
    AddUnknowns<kLayout>(in, image, terms.Row, sum);
  }
}

template <bool kInner>
void ImageBlocks(const FastInput& in, int64_t first, int64_t end) {
  constexpr int kSize = kInner ? 11 : 6, kElements = kSize * (kSize + 1) / 2;
  const FastSection section = in.Section;
  for (int64_t image = first; image < end; ++image) {
    const ImageTerms terms(in, image);
    const RayCamera<Floats> camera = SplatCamera(terms.pCamera);
    const FastFrame<Floats> R = SplatFrame(terms.Row.Frame);
    double sum[kElements];
    SumRays<kElements>(
        terms.nFirst, terms.nEnd,
        [&](int64_t ray, int64_t count, Floats* lanes) {
          const ImageBatch<true> batch(section, ray, count);
          const FastRay<Floats> made =
              MakeFastRay(R, camera, batch.Measured.x, batch.Measured.y, batch.X, batch.Y, batch.Z);
          Floats P[6];
          batch.Inverse(section, P);
          AddImageBlock<kInner>(made, camera.f, ReducedWeight(PointRows(made, R), batch.Weight(in), P),
                                lanes);
        },
        sum);
    AddTurnedBlock<kSize>(terms.Row, sum, in.pOut + kElements * image);
  }
}

void CameraSquares(const FastInput& in, int64_t first, int64_t end) {
  const FastSection section = in.Section;
  for (int64_t image = first; image < end; ++image) {
    const ImageTerms terms(in, image);
    const RayCamera<Floats> camera = SplatCamera(terms.pCamera);
    double sum[kCameraShareFloats];
    SumRays<kCameraShareFloats>(
        terms.nFirst, terms.nEnd,
        [&](int64_t ray, int64_t count, Floats* lanes) {
          const ImageBatch<> batch(section, ray, count);
          AddInnerSquare(MeasureFastRay(camera, batch.Measured.x, batch.Measured.y), batch.Weight(in), lanes);
        },
        sum);
    float* share = in.Work.pImageTerms + kImageRowFloats * image;
    for (int k = 0; k < kCameraShareFloats; ++k) share[k] = static_cast<float>(sum[k]);
  }
}
}  // namespace
}  // namespace orvo::gpu
