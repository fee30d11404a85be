// Products of rank three that are summed into blocks. Part of the kernels that are compiled for several
// instruction sets: everything stands in an unnamed namespace, so that no copy is shared between them.
#pragma once

#include "normal/VectorRows.h"

namespace orvo {
namespace {

/// Rows of a sum of six by six, in registers until they go to a block of thirty-six numbers without padding:
/// all six, or two where the registers are few. The left and right factors of a product are three rows each,
/// at distances of eight.
#ifdef __AVX512F__

class SixBySix {
 public:
  static constexpr int kRows = 6;
  [[gnu::always_inline]] void AddProduct(const double* left, const double* right) {
    for (int d = 0; d < 3; ++d) {
      const Row8 g = Row8::Load(right + 8 * d);
      const double* n = left + 8 * d;
      r0.AddScaled(n[0], g);
      r1.AddScaled(n[1], g);
      r2.AddScaled(n[2], g);
      r3.AddScaled(n[3], g);
      r4.AddScaled(n[4], g);
      r5.AddScaled(n[5], g);
    }
  }
  [[gnu::always_inline]] void AddTo(double* block) const {
    Store8(block, Load8(block) + __builtin_shufflevector(r0.a, r1.a, 0, 1, 2, 3, 4, 5, 8, 9));
    Store8(block + 8, Load8(block + 8) + __builtin_shufflevector(r1.a, r2.a, 2, 3, 4, 5, 8, 9, 10, 11));
    Store8(block + 16, Load8(block + 16) + __builtin_shufflevector(r2.a, r3.a, 4, 5, 8, 9, 10, 11, 12, 13));
    Store8(block + 24, Load8(block + 24) + __builtin_shufflevector(r4.a, r5.a, 0, 1, 2, 3, 4, 5, 8, 9));
    Store4(block + 32, Load4(block + 32) + __builtin_shufflevector(r5.a, r5.a, 2, 3, 4, 5));
  }

 private:
  Row8 r0{}, r1{}, r2{}, r3{}, r4{}, r5{};
};

#else

/// Two rows: the first four numbers of each, then the last two of both.
class TwoOfSix {
 public:
  static constexpr int kRows = 2;
  [[gnu::always_inline]] void AddProduct(const double* left, const double* right) {
    for (int d = 0; d < 3; ++d) {
      const double* n = left + 8 * d;
      const Vec4 low = Load4(right + 8 * d), last = Load4(right + 8 * d + 2);
      const Vec2 both = Load2(n);
      first += Splat4(n[0]) * low;
      second += Splat4(n[1]) * low;
      ends +=
          __builtin_shufflevector(both, both, 0, 0, 1, 1) * __builtin_shufflevector(last, last, 2, 3, 2, 3);
    }
  }
  [[gnu::always_inline]] void AddTo(double* block) const {
    Store4(block, Load4(block) + first);
    Store4(block + 4, Load4(block + 4) + __builtin_shufflevector(ends, second, 0, 1, 4, 5));
    Store4(block + 8, Load4(block + 8) + __builtin_shufflevector(second, ends, 2, 3, 6, 7));
  }

 private:
  Vec4 first{}, second{}, ends{};
};

#ifdef __AVX2__
class SixBySix {
 public:
  static constexpr int kRows = 6;
  [[gnu::always_inline]] void AddProduct(const double* left, const double* right) {
    top0.AddProduct(left, right);
    top2.AddProduct(left + 2, right);
    top4.AddProduct(left + 4, right);
  }
  [[gnu::always_inline]] void AddTo(double* block) const {
    top0.AddTo(block);
    top2.AddTo(block + 12);
    top4.AddTo(block + 24);
  }

 private:
  TwoOfSix top0, top2, top4;
};
#else
using SixBySix = TwoOfSix;
#endif

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
