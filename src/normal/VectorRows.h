// Rows of eight, twelve and sixteen doubles in vector registers. Part of the kernels that are compiled for
// several instruction sets: everything stands in an unnamed namespace, so that no copy is shared between
// them.
#pragma once

#include <cstdint>

namespace orvo {
namespace {

// Loaded and passed by value only: behind a reference, compilers may take such a vector for an aligned one.
using Vec2 [[gnu::vector_size(16), gnu::aligned(8), gnu::may_alias]] = double;
using Vec4 [[gnu::vector_size(32), gnu::aligned(8), gnu::may_alias]] = double;

[[gnu::always_inline]] inline Vec2 Load2(const double* p) { return *reinterpret_cast<const Vec2*>(p); }
[[gnu::always_inline]] inline Vec4 Load4(const double* p) { return *reinterpret_cast<const Vec4*>(p); }
[[gnu::always_inline]] inline void Store2(double* p, Vec2 v) { *reinterpret_cast<Vec2*>(p) = v; }
[[gnu::always_inline]] inline void Store4(double* p, Vec4 v) { *reinterpret_cast<Vec4*>(p) = v; }
[[gnu::always_inline]] inline Vec4 Splat4(double x) { return Vec4{x, x, x, x}; }

struct Row4 {
  Vec4 a;
  static constexpr int kSize = 4;
  [[gnu::always_inline]] static Row4 Load(const double* p) { return {Load4(p)}; }
  [[gnu::always_inline]] void Store(double* p) const { Store4(p, a); }
  [[gnu::always_inline]] static Row4 Scaled(double x, const Row4& r) { return {Splat4(x) * r.a}; }
  [[gnu::always_inline]] void AddScaled(double x, const Row4& r) { a += Splat4(x) * r.a; }
};

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

/// Rows of a block, each a member of its own: an array of them would be written to memory besides.
template <class R, int kRows>
struct RowSums {
  R row;
  RowSums<R, kRows - 1> rest;
  [[gnu::always_inline]] static RowSums Load(const double* p, int stride) {
    return {R::Load(p), RowSums<R, kRows - 1>::Load(p + stride, stride)};
  }
  [[gnu::always_inline]] void Store(double* p, int stride) const {
    row.Store(p);
    rest.Store(p + stride, stride);
  }
  /// Row r takes factors[r] times `r`.
  [[gnu::always_inline]] void AddProduct(const double* factors, const R& r) {
    row.AddScaled(factors[0], r);
    rest.AddProduct(factors + 1, r);
  }
};
template <class R>
struct RowSums<R, 0> {
  [[gnu::always_inline]] static RowSums Load(const double*, int) { return {}; }
  [[gnu::always_inline]] void Store(double*, int) const {}
  [[gnu::always_inline]] void AddProduct(const double*, const R&) {}
};

/// As many columns of a block's rows as the registers hold for all rows at once.
#if defined(__AVX512F__)
template <class Own, int kRows>
using Slice = Own;
#elif defined(__AVX2__)
template <int kRows>
struct SliceOfRows {
  using Type = Row8;
};
template <>
struct SliceOfRows<11> {
  using Type = Row4;
};
template <class Own, int kRows>
using Slice = typename SliceOfRows<kRows>::Type;
#else
template <class Own, int kRows>
using Slice = Row4;
#endif

/// The front of a row, or all of it.
template <class R>
[[gnu::always_inline]] inline R FirstOf(const R& row) {
  return row;
}
template <class R>
[[gnu::always_inline]] inline Row8 FirstOf(const Row16& row) {
  return row.a;
}

}  // namespace
}  // namespace orvo
