// Body of the Cholesky kernels. Each instruction set compiles its own copy, so everything stands in an
// unnamed namespace and no library template is used.
#include "base/simd/Registers.h"
#include "solver/CholeskyKernel.h"

namespace orvo {
namespace {

// A tile of kRows rows of a strip is what fits into the registers beside a row of the strip.
constexpr int kLanes = kRegisterBytes / sizeof(double);
constexpr int kVectors = kLanes > 2 ? 3 : 2, kRows = kLanes > 4 ? 8 : 4;
constexpr int kStrip = kLanes * kVectors;
static_assert(kStrip % kRows == 0 && kCholeskyPanel % kStrip == 0);

using Vector [[gnu::vector_size(kRegisterBytes)]] = double;

// Copies, not references to a vector type of lesser alignment: compilers may forget that on the way.
[[gnu::always_inline]] inline Vector LoadVector(const double* p) {
  Vector v;
  __builtin_memcpy(&v, p, sizeof(v));
  return v;
}
[[gnu::always_inline]] inline void StoreVector(double* p, Vector v) { __builtin_memcpy(p, &v, sizeof(v)); }

/// kRows rows by kStrip columns.
struct Tile {
  Vector Row[kRows][kVectors];

  [[gnu::always_inline]] void Load(const double* from, int64_t stride) {
    for (int r = 0; r < kRows; ++r) {
      for (int v = 0; v < kVectors; ++v) {
        Row[r][v] = LoadVector(from + r * stride + v * kLanes);
      }
    }
  }
  [[gnu::always_inline]] void StoreRow(int r, double* to) const {
    for (int v = 0; v < kVectors; ++v) StoreVector(to + v * kLanes, Row[r][v]);
  }
  [[gnu::always_inline]] void Store(double* to, int64_t stride) const {
    for (int r = 0; r < kRows; ++r) StoreRow(r, to + r * stride);
  }
  /// Row r -= sum over k of left[k][r] right[k], both with kStrip elements from one k to the next.
  [[gnu::always_inline]] void SubtractProduct(const double* left, const double* right, int32_t depth) {
    for (int32_t k = 0; k < depth; ++k, left += kStrip, right += kStrip) {
      Vector b[kVectors];
      for (int v = 0; v < kVectors; ++v) b[v] = LoadVector(right + v * kLanes);
      for (int r = 0; r < kRows; ++r) {
        for (int v = 0; v < kVectors; ++v) Row[r][v] -= left[r] * b[v];
      }
    }
  }
};

/// Asks for the memory of a tile ahead of its use; it need not be there, so its addresses are numbers.
[[gnu::always_inline]] inline void FetchTile(const double* tile, int64_t stride) {
  constexpr int kLine = 8;
  const auto begin = reinterpret_cast<uintptr_t>(tile);
  const auto fetch = [begin](int64_t element) {
    const uintptr_t address = begin + static_cast<uintptr_t>(element) * sizeof(double);
    __builtin_prefetch(reinterpret_cast<const void*>(address), 1);
  };
  for (int r = 0; r < kRows; ++r) {
    for (int c = 0; c < kStrip; c += kLine) fetch(r * stride + c);
    fetch(r * stride + kStrip - 1);
  }
}

inline int32_t Least(int64_t a, int64_t b) { return static_cast<int32_t>(a < b ? a : b); }

/// A part of the matrix up to the size of a tile, for tiles over its borders.
struct Border {
  double Values[kRows * kStrip];

  Border(const double* from, int64_t stride, int32_t rows, int32_t cols) : Values{} {
    for (int32_t r = 0; r < rows; ++r) {
      for (int32_t c = 0; c < cols; ++c) Values[r * kStrip + c] = from[r * stride + c];
    }
  }
  /// Back again, of row r the columns from firstCol + r on.
  void CopyTo(double* to, int64_t stride, int32_t rows, int32_t cols, int32_t firstCol) const {
    for (int32_t r = 0; r < rows; ++r) {
      for (int32_t c = firstCol + r > 0 ? firstCol + r : 0; c < cols; ++c) {
        to[r * stride + c] = Values[r * kStrip + c];
      }
    }
  }
};

bool IsZero(const double* values, int32_t count) {
  bool zero = true;
  for (int32_t k = 0; k < count; ++k) zero &= values[k] == 0;
  return zero;
}

void MarkUsed(const CholeskyPanel& panel, int32_t firstStrip, int32_t endStrip) {
  // Along the rows: across them every element would be on another page of memory.
  for (int32_t r = 0; r < panel.nDepth; ++r) {
    const double* const row = panel.N + (panel.nFirst + r) * panel.nOrder;
    for (int32_t strip = firstStrip; strip < endStrip; ++strip) {
      if (panel.pUsed[strip] != 0) continue;
      const int64_t column = panel.nFirst + int64_t{strip} * kStrip;
      const int64_t cols = panel.nOrder - column;
      panel.pUsed[strip] =
          cols >= kStrip ? !IsZero(row + column, kStrip) : !IsZero(row + column, Least(kStrip, cols));
    }
  }
}

bool SolveStrip(const CholeskyPanel& panel, int32_t strip) {
  const int64_t column = panel.nFirst + int64_t{strip} * kStrip;
  const int32_t cols = Least(kStrip, panel.nOrder - column), before = strip * kStrip;
  const bool onDiagonal = before < panel.nDepth;
  double* const solved = panel.pStrips + int64_t{strip} * kCholeskyPanel * kStrip;
  const int32_t depth = Least(panel.nDepth, onDiagonal ? before + kStrip : panel.nDepth);
  for (int32_t top = 0; top < depth; top += kRows) {
    double* const target = panel.N + (panel.nFirst + top) * panel.nOrder + column;
    const int32_t rows = Least(kRows, panel.nDepth - top);
    const double* const left = panel.pStrips + int64_t{top / kStrip} * kCholeskyPanel * kStrip + top % kStrip;
    const bool hasDiagonal = top >= before;
    Tile tile;
    if (rows == kRows && cols == kStrip) {
      tile.Load(target, panel.nOrder);
    } else {
      tile.Load(Border(target, panel.nOrder, rows, cols).Values, kStrip);
    }
    if (top + kRows < depth) FetchTile(target + kRows * panel.nOrder, panel.nOrder);
    tile.SubtractProduct(left, solved, top);
    double* const out = solved + top * kStrip;
    for (int r = 0; r < kRows; ++r) {
      const double* const factors = left + (top + r) * kStrip;
      if (hasDiagonal && r < rows) {
        tile.StoreRow(r, out + r * kStrip);
        const double pivot = factors[r];
        if (!(pivot > 0 && pivot <= 1.7976931348623157e308)) return false;
        panel.pInverse[top + r] = 1 / __builtin_sqrt(pivot);
      }
      const double inverse = r < rows ? panel.pInverse[top + r] : 0.0;
      for (int v = 0; v < kVectors; ++v) tile.Row[r][v] *= inverse;
      tile.StoreRow(r, out + r * kStrip);
      // On the diagonal the factors are in the row that has just been stored.
      for (int s = r + 1; s < kRows; ++s) {
        for (int v = 0; v < kVectors; ++v) tile.Row[s][v] -= factors[s] * tile.Row[r][v];
      }
    }
    if (rows == kRows && cols == kStrip && !hasDiagonal) {
      tile.Store(target, panel.nOrder);
    } else {
      Border border(out, kStrip, rows, cols);
      border.CopyTo(target, panel.nOrder, rows, cols, hasDiagonal ? top - before : -kRows);
    }
  }
  return true;
}

void UpdateStrip(const CholeskyPanel& panel, const int32_t* rowStrips, int32_t rowStripNum, int32_t strip) {
  const int64_t column = panel.nFirst + int64_t{strip} * kStrip;
  const int32_t cols = Least(kStrip, panel.nOrder - column);
  const double* const right = panel.pStrips + int64_t{strip} * kCholeskyPanel * kStrip;
  for (int32_t k = 0; k < rowStripNum; ++k) {
    const int32_t i = rowStrips[k];
    if (i > strip) continue;
    const double* const left = panel.pStrips + int64_t{i} * kCholeskyPanel * kStrip;
    for (int32_t sub = 0; sub < kStrip; sub += kRows) {
      const int64_t row = panel.nFirst + int64_t{i} * kStrip + sub;
      if (row >= panel.nOrder) break;
      double* const target = panel.N + row * panel.nOrder + column;
      const int32_t rows = Least(kRows, panel.nOrder - row);
      Tile tile;
      if (i < strip && cols == kStrip) {
        // The target is needed only after the product, which takes long enough to fetch it.
        FetchTile(target, panel.nOrder);
        for (int r = 0; r < kRows; ++r) {
          for (int v = 0; v < kVectors; ++v) tile.Row[r][v] = Vector{};
        }
        tile.SubtractProduct(left + sub, right, panel.nDepth);
        for (int r = 0; r < kRows; ++r) {
          for (int v = 0; v < kVectors; ++v) {
            double* const out = target + r * panel.nOrder + v * kLanes;
            StoreVector(out, LoadVector(out) + tile.Row[r][v]);
          }
        }
      } else {
        Border border(target, panel.nOrder, rows, cols);
        tile.Load(border.Values, kStrip);
        tile.SubtractProduct(left + sub, right, panel.nDepth);
        tile.Store(border.Values, kStrip);
        border.CopyTo(target, panel.nOrder, rows, cols, i == strip ? sub : -kRows);
      }
    }
  }
}

constexpr int kChains = 4;

template <bool kDot, bool kSubtract>
[[gnu::always_inline]] inline double WalkRow(const double* a, const double* b, double factor, double* y,
                                             int64_t count) {
  Vector sums[kChains] = {};
  int64_t i = 0;
  for (; i + kChains * kLanes <= count; i += kChains * kLanes) {
    for (int chain = 0; chain < kChains; ++chain) {
      const int64_t at = i + chain * kLanes;
      const Vector row = LoadVector(a + at);
      if (kDot) sums[chain] += row * LoadVector(b + at);
      if (kSubtract) StoreVector(y + at, LoadVector(y + at) - factor * row);
    }
  }
  double sum = 0;
  for (; i < count; ++i) {
    if (kDot) sum += a[i] * b[i];
    if (kSubtract) y[i] -= factor * a[i];
  }
  const Vector all = (sums[0] + sums[1]) + (sums[2] + sums[3]);
  for (int lane = 0; lane < kLanes; ++lane) sum += all[lane];
  return sum;
}

double Dot(const double* a, const double* b, int64_t count) {
  return WalkRow<true, false>(a, b, 0, nullptr, count);
}
void Subtract(double factor, const double* a, double* y, int64_t count) {
  WalkRow<false, true>(a, nullptr, factor, y, count);
}
double DotAndSubtract(const double* a, const double* b, double factor, double* y, int64_t count) {
  return WalkRow<true, true>(a, b, factor, y, count);
}

}  // namespace

template <>
CholeskyKernels CholeskyKernelsOf<InstructionSet::ORVO_SET>() {
  return {NameOf(InstructionSet::ORVO_SET),
          kStrip,
          MarkUsed,
          SolveStrip,
          UpdateStrip,
          Dot,
          Subtract,
          DotAndSubtract};
}

}  // namespace orvo
