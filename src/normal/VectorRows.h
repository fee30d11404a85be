// Rows of eight, twelve and sixteen doubles in vector registers. Part of the kernels that are compiled for
// several instruction sets: everything stands in an unnamed namespace, so that no copy is shared between
// them.
#pragma once

#include <cstdint>

namespace orvo {
namespace {

using Vec2 [[gnu::vector_size(16), gnu::aligned(8), gnu::may_alias]] = double;
using Vec4 [[gnu::vector_size(32), gnu::aligned(8), gnu::may_alias]] = double;

[[gnu::always_inline]] inline Vec2 Load2(const double* p) { return *reinterpret_cast<const Vec2*>(p); }
[[gnu::always_inline]] inline Vec4 Load4(const double* p) { return *reinterpret_cast<const Vec4*>(p); }
[[gnu::always_inline]] inline void Store2(double* p, Vec2 v) { *reinterpret_cast<Vec2*>(p) = v; }
[[gnu::always_inline]] inline void Store4(double* p, Vec4 v) { *reinterpret_cast<Vec4*>(p) = v; }
[[gnu::always_inline]] inline Vec4 Splat4(double x) { return Vec4{x, x, x, x}; }

#ifdef __AVX512F__

using Vec8 [[gnu::vector_size(64), gnu::aligned(8), gnu::may_alias]] = double;
[[gnu::always_inline]] inline Vec8 Load8(const double* p) { return *reinterpret_cast<const Vec8*>(p); }
[[gnu::always_inline]] inline void Store8(double* p, Vec8 v) { *reinterpret_cast<Vec8*>(p) = v; }
[[gnu::always_inline]] inline Vec8 Splat8(double x) { return Vec8{x, x, x, x, x, x, x, x}; }

struct Row8 {
  Vec8 a;
  static constexpr int kSize = 8;
  [[gnu::always_inline]] static Row8 Load(const double* p) { return {Load8(p)}; }
  [[gnu::always_inline]] void Store(double* p) const { Store8(p, a); }
  [[gnu::always_inline]] static Row8 Scaled(double x, const Row8& r) { return {Splat8(x) * r.a}; }
  [[gnu::always_inline]] void Add(const Row8& r) { a += r.a; }
  [[gnu::always_inline]] void AddScaled(double x, const Row8& r) { a += Splat8(x) * r.a; }
};

struct Row12 {
  Vec8 a;
  Vec4 b;
  static constexpr int kSize = 12;
  [[gnu::always_inline]] static Row12 Load(const double* p) { return {Load8(p), Load4(p + 8)}; }
  [[gnu::always_inline]] void Store(double* p) const {
    Store8(p, a);
    Store4(p + 8, b);
  }
  [[gnu::always_inline]] static Row12 Scaled(double x, const Row12& r) {
    return {Splat8(x) * r.a, Splat4(x) * r.b};
  }
  [[gnu::always_inline]] void Add(const Row12& r) {
    a += r.a;
    b += r.b;
  }
  [[gnu::always_inline]] void AddScaled(double x, const Row12& r) {
    a += Splat8(x) * r.a;
    b += Splat4(x) * r.b;
  }
};

/// The first columns of `g`, those from kFrom on of `s`.
template <int kFrom>
[[gnu::always_inline]] inline Row8 BlendRows(const Row8& g, const Row8& s) {
  static_assert(kFrom == 5 || kFrom == 6);
  return {__builtin_shufflevector(g.a, s.a, 0, 1, 2, 3, 4, kFrom == 5 ? 13 : 5, 14, 15)};
}
template <int kFrom>
[[gnu::always_inline]] inline Row12 BlendRows(const Row12& g, const Row12& s) {
  static_assert(kFrom == 11);
  return {g.a, __builtin_shufflevector(g.b, s.b, 0, 1, 2, 7)};
}

#else

struct Row8 {
  Vec4 a, b;
  static constexpr int kSize = 8;
  [[gnu::always_inline]] static Row8 Load(const double* p) { return {Load4(p), Load4(p + 4)}; }
  [[gnu::always_inline]] void Store(double* p) const {
    Store4(p, a);
    Store4(p + 4, b);
  }
  [[gnu::always_inline]] static Row8 Scaled(double x, const Row8& r) {
    const Vec4 s = Splat4(x);
    return {s * r.a, s * r.b};
  }
  [[gnu::always_inline]] void Add(const Row8& r) {
    a += r.a;
    b += r.b;
  }
  [[gnu::always_inline]] void AddScaled(double x, const Row8& r) {
    const Vec4 s = Splat4(x);
    a += s * r.a;
    b += s * r.b;
  }
};

struct Row12 {
  Vec4 a, b, c;
  static constexpr int kSize = 12;
  [[gnu::always_inline]] static Row12 Load(const double* p) { return {Load4(p), Load4(p + 4), Load4(p + 8)}; }
  [[gnu::always_inline]] void Store(double* p) const {
    Store4(p, a);
    Store4(p + 4, b);
    Store4(p + 8, c);
  }
  [[gnu::always_inline]] static Row12 Scaled(double x, const Row12& r) {
    const Vec4 s = Splat4(x);
    return {s * r.a, s * r.b, s * r.c};
  }
  [[gnu::always_inline]] void Add(const Row12& r) {
    a += r.a;
    b += r.b;
    c += r.c;
  }
  [[gnu::always_inline]] void AddScaled(double x, const Row12& r) {
    const Vec4 s = Splat4(x);
    a += s * r.a;
    b += s * r.b;
    c += s * r.c;
  }
};

template <int kFrom>
[[gnu::always_inline]] inline Row8 BlendRows(const Row8& g, const Row8& s) {
  static_assert(kFrom == 5 || kFrom == 6);
  return {g.a, __builtin_shufflevector(g.b, s.b, 0, kFrom == 5 ? 5 : 1, 6, 7)};
}
template <int kFrom>
[[gnu::always_inline]] inline Row12 BlendRows(const Row12& g, const Row12& s) {
  static_assert(kFrom == 11);
  return {g.a, g.b, __builtin_shufflevector(g.c, s.c, 0, 1, 2, 7)};
}

#endif

struct Row16 {
  Row8 a, b;
  static constexpr int kSize = 16;
  [[gnu::always_inline]] static Row16 Load(const double* p) { return {Row8::Load(p), Row8::Load(p + 8)}; }
  [[gnu::always_inline]] void Store(double* p) const {
    a.Store(p);
    b.Store(p + 8);
  }
  [[gnu::always_inline]] static Row16 Scaled(double x, const Row16& r) {
    return {Row8::Scaled(x, r.a), Row8::Scaled(x, r.b)};
  }
  [[gnu::always_inline]] void Add(const Row16& r) {
    a.Add(r.a);
    b.Add(r.b);
  }
  [[gnu::always_inline]] void AddScaled(double x, const Row16& r) {
    a.AddScaled(x, r.a);
    b.AddScaled(x, r.b);
  }
};

/// The front of a row, or all of it.
template <class R>
[[gnu::always_inline]] inline R FirstOf(const R& row) {
  return row;
}
template <class R>
[[gnu::always_inline]] inline Row8 FirstOf(const Row16& row) {
  return row.a;
}

/// Blocks of six by six, thirty-six numbers without padding, as sums of products left x right of rank three.
/// The right factors come cut into the phases in which the vectors of a block meet a row of six.
#ifdef __AVX512F__

[[gnu::always_inline]] inline void SetPhases(double* phases, const double* row) {
  const Vec8 g = Load8(row);
  Store8(phases, __builtin_shufflevector(g, g, 0, 1, 2, 3, 4, 5, 0, 1));
  Store8(phases + 8, __builtin_shufflevector(g, g, 2, 3, 4, 5, 0, 1, 2, 3));
  Store8(phases + 16, __builtin_shufflevector(g, g, 4, 5, 0, 1, 2, 3, 4, 5));
}

/// The left factors, in registers for as long as one block row is worked on.
struct LeftFactors {
  Vec8 v[3][4];
  Vec4 last[3];
  /// Three rows at distances of eight.
  [[gnu::always_inline]] explicit LeftFactors(const double* rows) {
    for (int d = 0; d < 3; ++d) {
      const Vec8 n = Load8(rows + 8 * d);
      v[d][0] = __builtin_shufflevector(n, n, 0, 0, 0, 0, 0, 0, 1, 1);
      v[d][1] = __builtin_shufflevector(n, n, 1, 1, 1, 1, 2, 2, 2, 2);
      v[d][2] = __builtin_shufflevector(n, n, 2, 2, 3, 3, 3, 3, 3, 3);
      v[d][3] = __builtin_shufflevector(n, n, 4, 4, 4, 4, 4, 4, 5, 5);
      last[d] = Splat4(rows[8 * d + 5]);
    }
  }
  [[gnu::always_inline]] void AddTo(double* block, const double* phases) const {
    Vec8 s0 = Load8(block), s1 = Load8(block + 8), s2 = Load8(block + 16), s3 = Load8(block + 24);
    Vec4 s4 = Load4(block + 32);
    for (int d = 0; d < 3; ++d) {
      const Vec8 p0 = Load8(phases + 24 * d), p1 = Load8(phases + 24 * d + 8),
                 p2 = Load8(phases + 24 * d + 16);
      s0 += v[d][0] * p0;
      s1 += v[d][1] * p1;
      s2 += v[d][2] * p2;
      s3 += v[d][3] * p0;
      s4 += last[d] * Load4(phases + 24 * d + 8);
    }
    Store8(block, s0);
    Store8(block + 8, s1);
    Store8(block + 16, s2);
    Store8(block + 24, s3);
    Store4(block + 32, s4);
  }
};

#else

[[gnu::always_inline]] inline void SetPhases(double* phases, const double* row) {
  const Vec4 low = Load4(row), high = Load4(row + 4);
  Store4(phases, low);
  Store4(phases + 4, __builtin_shufflevector(high, low, 0, 1, 4, 5));
  Store4(phases + 8, __builtin_shufflevector(low, high, 2, 3, 4, 5));
}

struct LeftFactors {
  const double* n;
  [[gnu::always_inline]] explicit LeftFactors(const double* rows) : n(rows) {}
  [[gnu::always_inline]] void AddTo(double* block, const double* phases) const {
    for (int pair = 0; pair < 3; ++pair) {
      double* out = block + 12 * pair;
      Vec4 s0 = Load4(out), s1 = Load4(out + 4), s2 = Load4(out + 8);
      for (int d = 0; d < 3; ++d) {
        const double a = n[8 * d + 2 * pair], b = n[8 * d + 2 * pair + 1];
        s0 += Splat4(a) * Load4(phases + 24 * d);
        s1 += Vec4{a, a, b, b} * Load4(phases + 24 * d + 4);
        s2 += Splat4(b) * Load4(phases + 24 * d + 8);
      }
      Store4(out, s0);
      Store4(out + 4, s1);
      Store4(out + 8, s2);
    }
  }
};

#endif

/// block (kRows x kCols, row-major) += the sum of three products left x right.
template <int kRows, int kCols>
[[gnu::always_inline]] inline void AddThreeProducts(double* block, const double* l0, const double* l1,
                                                    const double* l2, const double* r0, const double* r1,
                                                    const double* r2) {
  static_assert(kCols == 5 || kCols == 11);
  for (int r = 0; r < kRows; ++r) {
    double* out = block + kCols * r;
    const double a = l0[r], b = l1[r], c = l2[r];
    int k = 0;
    for (; k + 4 <= kCols; k += 4) {
      Store4(out + k, Load4(out + k) + Splat4(a) * Load4(r0 + k) + Splat4(b) * Load4(r1 + k) +
                          Splat4(c) * Load4(r2 + k));
    }
    if constexpr (kCols == 11) {
      Store2(out + k, Load2(out + k) + Vec2{a, a} * Load2(r0 + k) + Vec2{b, b} * Load2(r1 + k) +
                          Vec2{c, c} * Load2(r2 + k));
      k += 2;
    }
    out[k] += a * r0[k] + b * r1[k] + c * r2[k];
  }
}

}  // namespace
}  // namespace orvo
