// From linearised measurements to the eliminated points of a batch: products, inverses, nodes. Part of the
// assembly kernels, which each instruction set compiles for itself: everything stands in an unnamed
// namespace.
#pragma once

#include "base/simd/VectorLanes.h"
#include "normal/AssemblyForms.h"
#include "normal/AssemblyPointCameras.h"
#include "normal/AssemblyScratch.h"
#include "normal/VectorRows.h"

namespace orvo {
namespace {

template <int kLayout>
class Eliminator {
  using Form = RowForm<kLayout>;
  using Row = typename Form::Row;
  using Own = typename Form::Own;
  using Kept = typename Form::Kept;
  static constexpr int kKept = Form::kKept;
  static constexpr int kOwnSize = Form::kBlock * Own::kSize;
  static constexpr bool kHasCameras = kLayout == LayoutEopIop;
  static constexpr int32_t Ray::*kKey = kLayout == LayoutIop ? &Ray::nCamera : &Ray::nImage;

 public:
  Eliminator(const AssemblyInput& input, AssemblyScratch& scratch, AssemblyOutput& output,
             PointCameras& pointCameras)
      : access{input, output},
        cameras(pointCameras),
        rays(scratch.Rays.data()),
        allNodes(scratch.Nodes.data()),
        points(scratch.Points.data()),
        allOrder(scratch.Order.data()),
        own(scratch.Own.get()),
        allG(scratch.G.get()),
        allN(scratch.N.get()) {}

  /// G of every ray, and the sums over the point that hold M and Q.
  void FormProducts(BatchPoint& point) {
    Row s0{}, s1{}, s2{};
    for (int32_t k = point.nFirstRay; k < point.nFirstRay + point.nRayNum; ++k) {
      const Ray& ray = rays[k];
      const double* x = ray.Row[0] + Form::kB;
      const double* y = ray.Row[1] + Form::kB;
      const Row rowX = Row::Scaled(ray.fWeight, Row::Load(ray.Row[0]));
      const Row rowY = Row::Scaled(ray.fWeight, Row::Load(ray.Row[1]));
      Row g0 = Row::Scaled(x[0], rowX), g1 = Row::Scaled(x[1], rowX), g2 = Row::Scaled(x[2], rowX);
      g0.AddScaled(y[0], rowY);
      g1.AddScaled(y[1], rowY);
      g2.AddScaled(y[2], rowY);
      double* const g = GOfRay(k);
      FirstOf<Kept>(g0).Store(g);
      FirstOf<Kept>(g1).Store(g + kKept);
      FirstOf<Kept>(g2).Store(g + 2 * kKept);
      s0.Add(g0);
      s1.Add(g1);
      s2.Add(g2);
    }
    s0.Store(point.Sum[0]);
    s1.Store(point.Sum[1]);
    s2.Store(point.Sum[2]);
  }

  /// The inverses of the points' M, several at a time; the lanes behind the last point mean nothing.
  void Invert(int32_t pointNum) {
    for (int32_t p = 0; p < pointNum; p += kLanes) {
      Lanes row[3][8], minusInverse[8] = {};
      for (int d = 0; d < 3; ++d) {
        const double* sources[kLanes];
        for (int lane = 0; lane < kLanes; ++lane) sources[lane] = points[p + lane].Sum[d] + Form::kB;
        GatherColumns<8>(sources, row[d]);
      }
      const Lanes M[6] = {row[0][0], row[0][1], row[0][2], row[1][1], row[1][2], row[2][2]};
      const auto wellConditioned = InvertWellConditioned(M, minusInverse);
      ScatterColumns<8>(minusInverse, points[p].MinusInverse, sizeof(BatchPoint) / sizeof(double));
      for (int32_t lane = 0; lane < kLanes && p + lane < pointNum; ++lane) {
        BatchPoint& point = points[p + lane];
        point.bEliminated =
            point.nType != 1 && point.nRayNum > 0 && (wellConditioned[lane] != 0 || InvertOne(point));
      }
    }
  }

  /// One node for each block row of the point, ascending. The first ray of a row takes over the G of the
  /// others.
  void MakeNodes(BatchPoint& point) {
    Node* const nodes = allNodes + point.nFirstRay;
    int32_t nodeNum = 0;
    int32_t* const order = allOrder + point.nFirstRay;
    bool inOrder = true;
    for (int32_t k = 0; k < point.nRayNum; ++k) {
      order[k] = point.nFirstRay + k;
      inOrder &= k == 0 || rays[order[k] - 1].*kKey <= rays[order[k]].*kKey;
    }
    if (!inOrder) SortRays(order, point.nRayNum, rays, kKey);
    for (int32_t k = 0; k < point.nRayNum; ++k) {
      const Ray& ray = rays[order[k]];
      const int32_t row = ray.*kKey;
      access.NoteRow(point.nPoint, row, ray.nImagePoint);
      if constexpr (kHasCameras) cameras.NoteOwnCamera(ray);
      if (nodeNum > 0 && nodes[nodeNum - 1].nRow == row) {
        Node& node = nodes[nodeNum - 1];
        ++node.nRayNum;
        if (kLayout == LayoutIop && point.bOneCamera) continue;
        const double* const g = GOfRay(order[k]);
        for (int d = 0; d < 3; ++d) {
          Kept sum = Kept::Load(node.pG + d * kKept);
          sum.Add(Kept::Load(g + d * kKept));
          sum.Store(node.pG + d * kKept);
        }
        continue;
      }
      Node& node = nodes[nodeNum];
      node.nRow = row;
      node.pRays = order + k;
      node.nRayNum = 1;
      node.pG = GOfRay(order[k]);
      node.pN = allN + int64_t{3 * kKept} * (point.nFirstRay + nodeNum++);
      node.pOwn = own + static_cast<int64_t>(row) * kOwnSize;
      if (kLayout == LayoutIop && point.bOneCamera) {
        for (int d = 0; d < 3; ++d) Kept::Load(point.Sum[d]).Store(node.pG + d * kKept);
      }
    }
    point.nNodeNum = nodeNum;
    if (!point.bEliminated) return;
    for (int32_t k = 0; k < nodeNum; ++k) EliminateNode(point, nodes[k]);
  }

  /// Minus M^-1 G of a node, and behind it what belongs to its other own columns; from one column on.
  template <class Part, int kFrom>
  static Part NRow(const Node& node, int d) {
    if constexpr (kHasCameras && Part::kSize > 8) {
      return {Row8::Load(node.pN + d * kKept), Row8::Load(node.pCameraN[d])};
    } else if constexpr (kHasCameras && kFrom >= 8) {
      return Part::Load(node.pCameraN[d] + (kFrom - 8));
    } else {
      return Part::Load(node.pN + d * kKept + kFrom);
    }
  }

 private:
  double* GOfRay(int32_t ray) const { return allG + int64_t{3 * kKept} * ray; }

  static bool InvertOne(BatchPoint& point) {
    const double* const row[3] = {point.Sum[0] + Form::kB, point.Sum[1] + Form::kB, point.Sum[2] + Form::kB};
    const double M[6] = {row[0][0], row[0][1], row[0][2], row[1][1], row[1][2], row[2][2]};
    for (int k = 0; k < 6; ++k) point.MinusInverse[k] = M[k];
    if (!InvertPointMatrix(point.MinusInverse)) return false;
    for (int k = 0; k < 6; ++k) point.MinusInverse[k] = -point.MinusInverse[k];
    return true;
  }

  void EliminateNode(const BatchPoint& point, Node& node) {
    Eliminate(point.MinusInverse, GRow(point, node, 0), GRow(point, node, 1), GRow(point, node, 2), node.pN,
              kKept);
    if constexpr (kHasCameras) node.pCameraN = cameras.OwnColumns(point, node.nRow);
  }

  /// G of a node, and behind the columns of the unknowns -Q of the point, where cameras have no columns of
  /// their own.
  static Kept GRow(const BatchPoint& point, const Node& node, int d) {
    const Kept g = Kept::Load(node.pG + d * kKept);
    if constexpr (kHasCameras) {
      return g;
    } else {
      return BlendRows<Form::kL>(g, Kept::Load(point.Sum[d]));
    }
  }

  BlockAccess access;
  PointCameras& cameras;
  const Ray* rays;
  Node* allNodes;
  BatchPoint* points;
  int32_t* allOrder;
  double* own;
  double* allG;
  double* allN;
};

}  // namespace
}  // namespace orvo
