#include "rigorous/PointElimination.h"

#include <algorithm>

namespace orvo::rigorous {
namespace {

/// Columns of a ray within one node.
struct ColumnRun {
  int32_t nFirst = 0, nNum = 0;
  const double* Rows[2] = {};
};

/// block (at the rows of a and the columns of b) += J_a' w J_b
void AddProduct(const ColumnRun& a, const ColumnRun& b, double weight, int32_t stride, double* block) {
  double* row = block + static_cast<int64_t>(a.nFirst) * stride + b.nFirst;
  for (int32_t i = 0; i < a.nNum; ++i, row += stride) {
    const double x = weight * a.Rows[0][i], y = weight * a.Rows[1][i];
    for (int32_t k = 0; k < b.nNum; ++k) row[k] += x * b.Rows[0][k] + y * b.Rows[1][k];
  }
}

/// n -= J' w r
void AddConstants(const ColumnRun& a, const Vector2& residual, double weight, double* n) {
  const double x = weight * residual[0], y = weight * residual[1];
  for (int32_t i = 0; i < a.nNum; ++i) n[a.nFirst + i] -= a.Rows[0][i] * x + a.Rows[1][i] * y;
}

/// The three columns of G += J' w C
void AddCoupling(const ColumnRun& a, const RayRows& rows, double weight, int32_t stride, double* G) {
  for (int k = 0; k < 3; ++k) {
    const double x = weight * rows.Point[0][k], y = weight * rows.Point[1][k];
    double* const column = G + k * stride + a.nFirst;
    for (int32_t i = 0; i < a.nNum; ++i) column[i] += a.Rows[0][i] * x + a.Rows[1][i] * y;
  }
}

/// G becomes V = G Q.
void MultiplyByFactor(const Matrix3& Q, int32_t stride, double* G) {
  for (int32_t i = 0; i < stride; ++i) {
    const Vector3 row = MultiplyTransposed(Q, {G[i], G[stride + i], G[2 * stride + i]});
    for (int k = 0; k < 3; ++k) G[k * stride + i] = row[k];
  }
}

/// block -= V_a V_b'
void TakeOff(const double* a, int32_t rowNum, int32_t strideA, const double* b, int32_t strideB,
             double* block) {
  for (int32_t i = 0; i < rowNum; ++i, block += strideB) {
    const double x = a[i], y = a[strideA + i], z = a[2 * strideA + i];
    for (int32_t k = 0; k < strideB; ++k) {
      block[k] -= x * b[k] + y * b[strideB + k] + z * b[2 * strideB + k];
    }
  }
}

}  // namespace

PointElimination::PointElimination(const PointSurroundings& around, ChunkEquations& chunk)
    : Around(around), pChunk(&chunk) {}

void PointElimination::Add(const PointObservations& point, const PointPlace& place) {
  if (!place.bInUse) return;
  CollectShares(point, place);
  for (size_t r = 0; r < point.Rays.size(); ++r) {
    if (place.vWeights[r] > 0) AddRay(point.Rays[r], place.vRows[r], place.vWeights[r]);
  }
  if (place.Factor.RankNum() > 0) Reduce(place);
}

void PointElimination::CollectShares(const PointObservations& point, const PointPlace& place) {
  vShares.clear();
  for (size_t r = 0; r < point.Rays.size(); ++r) {
    if (!(place.vWeights[r] > 0)) continue;
    const auto image = static_cast<size_t>(point.Rays[r].nImage);
    AddShare(Around.pPlan->vImageNode[image]);
    const CameraColumns& camera =
        Around.pPlan->vCameras[static_cast<size_t>(Around.Of.vImages[image].nCamera)];
    if (camera.Layout.Num > 0) AddShare(camera.nNode);
  }
  int64_t next = 0;
  for (Share& share : vShares) {
    share.nLocal = pChunk->LocalOf(share.nNode);
    share.nStride = StrideOf(pChunk->SizeOf(share.nLocal));
    share.nFirst = next;
    next += 3 * share.nStride;
  }
  vV.assign(static_cast<size_t>(next), 0.0);
}

void PointElimination::AddShare(int32_t node) {
  if (node < 0) return;
  auto place = vShares.end();
  while (place != vShares.begin() && (place - 1)->nNode >= node) --place;
  if (place == vShares.end() || place->nNode != node) vShares.insert(place, {node, 0, 0, 0});
}

const PointElimination::Share& PointElimination::ShareOf(int32_t node) const {
  return *std::ranges::lower_bound(vShares, node, {}, &Share::nNode);
}

void PointElimination::AddRay(const Ray& ray, const RayRows& rows, double weight) {
  const auto image = static_cast<size_t>(ray.nImage);
  const CameraColumns& camera = Around.pPlan->vCameras[static_cast<size_t>(Around.Of.vImages[image].nCamera)];
  const int32_t nodes[2] = {Around.pPlan->vImageNode[image], camera.Layout.Num > 0 ? camera.nNode : -1};
  const ColumnRun runs[2] = {{0, 6, {rows.Image[0], rows.Image[1]}},
                             {camera.nLens, camera.Layout.Num, {rows.Camera[0], rows.Camera[1]}}};
  for (int i = 0; i < 2; ++i) {
    if (nodes[i] < 0) continue;
    const Share& share = ShareOf(nodes[i]);
    AddCoupling(runs[i], rows, weight, share.nStride, vV.data() + share.nFirst);
    AddConstants(runs[i], rows.Residual, weight, pChunk->Constants(share.nLocal));
    // The camera stands behind the image, in the same node or in one of its own.
    for (int k = i; k < 2; ++k) {
      if (nodes[k] < 0) continue;
      const Share& other = ShareOf(nodes[k]);
      const int64_t block = pChunk->PlaceOf(share.nLocal, other.nLocal);
      AddProduct(runs[i], runs[k], weight, other.nStride, pChunk->Values() + block);
    }
  }
}

void PointElimination::Reduce(const PointPlace& place) {
  for (const Share& share : vShares) {
    double* const V = vV.data() + share.nFirst;
    MultiplyByFactor(place.Factor.Q, share.nStride, V);
    double* const n = pChunk->Constants(share.nLocal);
    for (int32_t i = 0; i < pChunk->SizeOf(share.nLocal); ++i) {
      for (int k = 0; k < 3; ++k) n[i] -= V[k * share.nStride + i] * place.Reduced[k];
    }
  }
  for (size_t a = 0; a < vShares.size(); ++a) {
    const Share& row = vShares[a];
    const int32_t rowNum = pChunk->SizeOf(row.nLocal);
    for (size_t b = a; b < vShares.size(); ++b) {
      const Share& column = vShares[b];
      const int64_t block = pChunk->PlaceOf(row.nLocal, column.nLocal);
      TakeOff(vV.data() + row.nFirst, rowNum, row.nStride, vV.data() + column.nFirst, column.nStride,
              pChunk->Values() + block);
    }
  }
}

}  // namespace orvo::rigorous
