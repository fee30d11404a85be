// Body of the point kernels. Each instruction set compiles its own copy, so nothing in here may be shared
// between translation units: everything stands in an unnamed namespace and no library template is used.
#include "rigorous/PointKernels.h"
#include "rigorous/RayLanes.h"

namespace orvo::rigorous {
namespace {

constexpr int kRegisters = kRowNumbers / kLanes;

/// Eight numbers in a row.
struct Row {
  Lanes a[kRegisters];

  [[gnu::always_inline]] static Row Load(const double* p) {
    Row row;
    for (int k = 0; k < kRegisters; ++k) row.a[k] = LoadLanes(p + k * kLanes);
    return row;
  }
  [[gnu::always_inline]] void Store(double* p) const {
    for (int k = 0; k < kRegisters; ++k) StoreLanes(p + k * kLanes, a[k]);
  }
  [[gnu::always_inline]] void Add(double s, const Row& b) {
    for (int k = 0; k < kRegisters; ++k) a[k] += s * b.a[k];
  }
};

void Linearize(const RayBatch& batch, PlaceRow* rows, double* squares) {
  if (batch.bCorrected) {
    LinearizeRays<true>(batch, rows, squares);
  } else {
    LinearizeRays<false>(batch, rows, squares);
  }
}

void SumPoint(const PlaceRow* rows, const double* weights, int32_t rayNum, double* M, double* n) {
  double m[6] = {}, r[3] = {};
  for (int32_t k = 0; k < rayNum; ++k) {
    const double weight = weights[k];
    if (!(weight > 0)) continue;
    for (int i = 0; i < 2; ++i) {
      const double* const J = rows[k].Point[i];
      const double x = weight * J[0], y = weight * J[1], z = weight * J[2], residual = rows[k].Residual[i];
      m[0] += x * J[0];
      m[1] += x * J[1];
      m[2] += x * J[2];
      m[3] += y * J[1];
      m[4] += y * J[2];
      m[5] += z * J[2];
      r[0] -= x * residual;
      r[1] -= y * residual;
      r[2] -= z * residual;
    }
  }
  for (int k = 0; k < 6; ++k) M[k] = m[k];
  for (int k = 0; k < 3; ++k) n[k] = r[k];
}

/// Most nodes are images without a camera of their own: loops of this length are laid out in full.
constexpr int32_t kImageSize = 6;

/// block += J_a' w J_b. kSize: a.nEnd, or 0 for any.
template <int32_t kSize>
[[gnu::always_inline]] inline void AddProduct(const ShareRows& a, const ShareRows& b, double weight,
                                              int32_t stride, double* block) {
  const int32_t size = kSize > 0 ? kSize : a.nEnd;
  for (int32_t column = 0; column < b.nWidth; column += kRowNumbers) {
    const Row x = Row::Load(b.Rows[0] + column), y = Row::Load(b.Rows[1] + column);
    double* to = block + column;
    for (int32_t i = 0; i < size; ++i, to += stride) {
      Row row = Row::Load(to);
      row.Add(weight * a.Rows[0][i], x);
      row.Add(weight * a.Rows[1][i], y);
      row.Store(to);
    }
  }
}

/// n -= J' w r, and the three columns of G += J' w C.
[[gnu::always_inline]] inline void AddColumns(const ShareRows& a, const PlaceRow& ray, double weight,
                                              const NodeShare& share) {
  for (int32_t i = 0; i < a.nWidth; i += kRowNumbers) {
    const Row x = Row::Load(a.Rows[0] + i), y = Row::Load(a.Rows[1] + i);
    Row n = Row::Load(share.pConstants + i);
    n.Add(-weight * ray.Residual[0], x);
    n.Add(-weight * ray.Residual[1], y);
    n.Store(share.pConstants + i);
    for (int k = 0; k < 3; ++k) {
      double* const column = share.pV + k * share.nStride + i;
      Row G = Row::Load(column);
      G.Add(weight * ray.Point[0][k], x);
      G.Add(weight * ray.Point[1][k], y);
      G.Store(column);
    }
  }
}

void AddRay(const WeightedRay& ray, const ShareBlocks& blocks) {
  for (int i = 0; i < 2; ++i) {
    const ShareRows& a = ray.Parts[i];
    if (a.nShare < 0) continue;
    AddColumns(a, *ray.pRow, ray.fWeight, blocks.pShares[a.nShare]);
    for (int k = i; k < 2; ++k) {
      const ShareRows& b = ray.Parts[k];
      if (b.nShare < 0) continue;
      const int32_t stride = blocks.pShares[b.nShare].nStride;
      double* const block = blocks.At(a.nShare, b.nShare);
      if (a.nEnd == kImageSize) {
        AddProduct<kImageSize>(a, b, ray.fWeight, stride, block);
      } else {
        AddProduct<0>(a, b, ray.fWeight, stride, block);
      }
    }
  }
}

void AddRays(const WeightedRay* rays, int32_t rayNum, const ShareBlocks& blocks) {
  for (int32_t r = 0; r < rayNum; ++r) AddRay(rays[r], blocks);
}

/// G becomes V = G Q, and n loses V Q'n.
[[gnu::always_inline]] inline void FormV(const double* Q, const double* reduced, const NodeShare& share) {
  for (int32_t i = 0; i < share.nStride; i += kRowNumbers) {
    Row G[3], n = Row::Load(share.pConstants + i);
    for (int k = 0; k < 3; ++k) G[k] = Row::Load(share.pV + k * share.nStride + i);
    for (int k = 0; k < 3; ++k) {
      Row V{};
      for (int j = 0; j < 3; ++j) V.Add(Q[3 * j + k], G[j]);
      n.Add(-reduced[k], V);
      V.Store(share.pV + k * share.nStride + i);
    }
    n.Store(share.pConstants + i);
  }
}

/// block -= V_a V_b'. kSize: a.nSize, of a single stride; or 0 for any.
template <int32_t kSize>
[[gnu::always_inline]] inline void TakeOff(const NodeShare& a, const NodeShare& b, double* block) {
  const int32_t size = kSize > 0 ? kSize : a.nSize, stride = kSize > 0 ? kRowNumbers : a.nStride;
  const double *const x = a.pV, *const y = x + stride, *const z = y + stride;
  for (int32_t column = 0; column < b.nStride; column += kRowNumbers) {
    const Row p = Row::Load(b.pV + column), q = Row::Load(b.pV + b.nStride + column),
              r = Row::Load(b.pV + 2 * b.nStride + column);
    double* to = block + column;
    for (int32_t i = 0; i < size; ++i, to += b.nStride) {
      Row row = Row::Load(to);
      row.Add(-x[i], p);
      row.Add(-y[i], q);
      row.Add(-z[i], r);
      row.Store(to);
    }
  }
}

void Reduce(const double* Q, const double* reduced, const ShareBlocks& blocks) {
  for (int32_t a = 0; a < blocks.nShares; ++a) FormV(Q, reduced, blocks.pShares[a]);
  for (int32_t a = 0; a < blocks.nShares; ++a) {
    const NodeShare& share = blocks.pShares[a];
    for (int32_t b = a; b < blocks.nShares; ++b) {
      if (share.nSize == kImageSize) {
        TakeOff<kImageSize>(share, blocks.pShares[b], blocks.At(a, b));
      } else {
        TakeOff<0>(share, blocks.pShares[b], blocks.At(a, b));
      }
    }
  }
}

}  // namespace

template <>
PointKernels PointKernelsOf<InstructionSet::ORVO_SET>() {
  return {Linearize, SumPoint, AddRays, Reduce};
}

}  // namespace orvo::rigorous
