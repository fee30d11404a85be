// Body of the assembly kernels. Each instruction set compiles its own copy, so nothing in here may be shared
// between translation units: everything stands in an unnamed namespace and no library template is used.
#pragma once

#include "normal/AssemblyCameraSums.h"
#include "normal/AssemblyForms.h"
#include "normal/AssemblyKernel.h"
#include "normal/AssemblyLinearize.h"
#include "normal/AssemblyPointCameras.h"
#include "normal/VectorBlocks.h"

namespace orvo {
namespace {

/// Works batch by batch, each step on the whole batch before the next: a step then reads what has long left
/// the store queue, and the long chains of one point overlap with those of others.
template <int kLayout>
class Assembler {
  using Form = RowForm<kLayout>;
  using Row = typename Form::Row;
  using Own = typename Form::Own;
  using Kept = typename Form::Kept;
  static constexpr int kKept = Form::kKept;
  static constexpr int kBlock = Form::kBlock;
  static constexpr int kOwnSize = kBlock * Own::kSize;
  static constexpr bool kHasCameras = kLayout == LayoutEopIop;
  static constexpr int32_t Ray::*kKey = kLayout == LayoutIop ? &Ray::nCamera : &Ray::nImage;

 public:
  Assembler(const AssemblyInput& input, AssemblyScratch& scratch, AssemblyOutput& output)
      : in(input),
        out(output),
        access{input, output},
        linearizer(input, scratch, output),
        cameraSums(scratch, Form::kA, kHasCameras ? scratch.CameraOwn.get() : scratch.Own.get()),
        cameras(input, scratch, output),
        rays(scratch.Rays.data()),
        allNodes(scratch.Nodes.data()),
        points(scratch.Points.data()),
        order(scratch.Order.data()),
        own(scratch.Own.get()),
        allG(scratch.G.get()),
        allN(scratch.N.get()) {}

  void Add(int64_t first, int64_t last) {
    const int64_t base = first <= last ? in.pObjectPoints[first].nFirstImagePoint : 0;
    for (int64_t next = first; next <= last;) {
      int32_t pointNum = 0, rayNum = 0;
      do {
        const int64_t p = PointAt(next++, first);
        const ObjectPointRecord& record = in.pObjectPoints[p];
        BatchPoint& point = points[pointNum++];
        point.nPoint = p;
        point.nFirstCamera = rayNum + pointNum;
        linearizer.Collect(record, point, rayNum,
                           out.pPointOrder ? record.nFirstImagePoint - base : out.nPointNum);
        rayNum += point.nRayNum;
        if (out.pPointOrder) CallFor(next, first, last);
      } while (next <= last && pointNum < AssemblyScratch::kBatch &&
               rayNum + in.pObjectPoints[PointAt(next, first)].nImagePointNum <= AssemblyScratch::kBatch);
      AddBatch(pointNum, rayNum);
    }
    Flush();
  }

 private:
  int64_t PointAt(int64_t place, int64_t first) const {
    return out.pPointOrder ? out.pPointOrder[place - first] : place;
  }

  /// Calls for points that stand anywhere in memory, and for their places in the listing, some time before
  /// they are due.
  void CallFor(int64_t next, int64_t first, int64_t last) const {
    if (next + 32 > last) return;
    const auto* record = reinterpret_cast<const char*>(in.pObjectPoints + PointAt(next + 32, first));
    __builtin_prefetch(record);
    __builtin_prefetch(record + sizeof(ObjectPointRecord) - 1);
    const int64_t begin = in.pObjectPoints[PointAt(next + 16, first)].nFirstImagePoint;
    const int64_t running = begin - in.pObjectPoints[first].nFirstImagePoint;
    const auto* measurements = reinterpret_cast<const char*>(in.pImagePoints + begin);
    __builtin_prefetch(measurements);
    __builtin_prefetch(measurements + 64);
    __builtin_prefetch(out.pResiduals + 2 * running, 1);
    __builtin_prefetch(out.pResiduals + 2 * running + 8, 1);
    __builtin_prefetch(out.pGrossFlags + running, 1);
  }

  double* GOfRay(int32_t ray) const { return allG + int64_t{3 * kKept} * ray; }

  void AddBatch(int32_t pointNum, int32_t rayNum) {
    linearizer.FormRows(rayNum);
    rayNum = linearizer.Weigh(points, pointNum);
    if (rayNum == 0) return;
    if constexpr (kHasCameras || kLayout == LayoutIop) cameraSums.Add(rayNum);
    for (int32_t p = 0; p < pointNum; ++p) FormProducts(points[p]);
    Invert(pointNum);
    for (int32_t p = 0; p < pointNum; ++p) {
      if constexpr (kHasCameras) {
        if (points[p].nRayNum > 0) cameras.Make(points[p]);
      }
      MakeNodes(points[p]);
    }
    for (int32_t p = 0, end = 0; p < pointNum; p = end) {
      end = EndOfRun(p, pointNum);
      AddOwnBlocks(p, end);
      AddCouplings(p, end);
    }
    if constexpr (kHasCameras) {
      cameras.AddOwnElimination(points, pointNum);
      for (int32_t p = 0; p < pointNum; ++p) {
        if (points[p].bEliminated) cameras.AddCouplings(points[p], allNodes + points[p].nFirstRay);
      }
    }
  }

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

  static bool InvertOne(BatchPoint& point) {
    const double* const row[3] = {point.Sum[0] + Form::kB, point.Sum[1] + Form::kB, point.Sum[2] + Form::kB};
    const double M[6] = {row[0][0], row[0][1], row[0][2], row[1][1], row[1][2], row[2][2]};
    for (int k = 0; k < 6; ++k) point.MinusInverse[k] = M[k];
    if (!InvertPointMatrix(point.MinusInverse)) return false;
    for (int k = 0; k < 6; ++k) point.MinusInverse[k] = -point.MinusInverse[k];
    return true;
  }

  /// One node for each block row of the point, ascending. The first ray of a row takes over the G of the
  /// others.
  void MakeNodes(BatchPoint& point) {
    Node* const nodes = allNodes + point.nFirstRay;
    int32_t nodeNum = 0;
    bool inOrder = true;
    for (int32_t k = 0; k < point.nRayNum; ++k) {
      order[k] = point.nFirstRay + k;
      inOrder &= k == 0 || rays[order[k] - 1].*kKey <= rays[order[k]].*kKey;
    }
    if (!inOrder) SortRays(order, point.nRayNum, rays, kKey);
    for (int32_t k = 0; k < point.nRayNum; ++k) {
      Ray& ray = rays[order[k]];
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
        // In LayoutIop the sums over the cameras are complete already.
        if constexpr (kLayout != LayoutIop) AddOwnOfRay(point, ray);
        continue;
      }
      Node& node = nodes[nodeNum];
      node.nRow = row;
      node.nRay = order[k];
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

  /// Minus M^-1 G of a node, and behind it what belongs to its other own columns.
  static Own NRow(const Node& node, int d) {
    if constexpr (kHasCameras) {
      return {Row8::Load(node.pN + d * kKept), Row8::Load(node.pCameraN[d])};
    } else {
      return Kept::Load(node.pN + d * kKept);
    }
  }

  /// s D'(D, L) of one ray.
  void AddOwnOfRay(const BatchPoint& point, const Ray& ray) {
    Own rowX = Own::Scaled(ray.fWeight, Own::Load(ray.Row[0])),
        rowY = Own::Scaled(ray.fWeight, Own::Load(ray.Row[1]));
    if constexpr (kHasCameras) cameras.SeparateForeign(point, ray, rowX, rowY);
    AddTwoProducts(ray, rowX, rowY, own + static_cast<int64_t>(ray.*kKey) * kOwnSize);
  }

  static void AddTwoProducts(const Ray& ray, const Own& rowX, const Own& rowY, double* block) {
    const double* x = ray.Row[0];
    const double* y = ray.Row[1];
    for (int r = 0; r < kBlock; ++r) {
      Own sum = Own::Load(block + r * Own::kSize);
      sum.AddScaled(x[r], rowX);
      sum.AddScaled(y[r], rowY);
      sum.Store(block + r * Own::kSize);
    }
  }

  /// Points that follow each other and were measured on the same images, as neighbours often are. What they
  /// add to a block is summed in registers. The first point behind the run.
  int32_t EndOfRun(int32_t first, int32_t pointNum) const {
    const BatchPoint& point = points[first];
    const Node* const nodes = allNodes + point.nFirstRay;
    int32_t end = first + 1;
    for (; end < pointNum; ++end) {
      const BatchPoint& other = points[end];
      if (other.bEliminated != point.bEliminated || other.nNodeNum != point.nNodeNum) break;
      const Node* const otherNodes = allNodes + other.nFirstRay;
      int32_t k = 0;
      while (k < point.nNodeNum && otherNodes[k].nRow == nodes[k].nRow) ++k;
      if (k < point.nNodeNum) break;
    }
    return end;
  }

  void AddOwnBlocks(int32_t first, int32_t end) {
    for (int32_t k = 0; k < points[first].nNodeNum; ++k) {
      if (points[first].bEliminated && AllAlone(first, end, k)) {
        AddReducedRays(first, end, k);
        continue;
      }
      for (int32_t p = first; p < end; ++p) {
        const Node& node = allNodes[points[p].nFirstRay + k];
        // In LayoutIop the sums over the cameras are complete already.
        if constexpr (kLayout != LayoutIop) AddOwnOfRay(points[p], rays[node.nRay]);
        if (points[p].bEliminated) AddEliminationOfNode(node);
      }
    }
  }

  /// True where the points have one ray each in the row of node k, and it with the image's own camera.
  bool AllAlone(int32_t first, int32_t end, int32_t k) const {
    if constexpr (kLayout == LayoutIop) return false;
    bool alone = true;
    for (int32_t p = first; p < end; ++p) {
      const Node& node = allNodes[points[p].nFirstRay + k];
      alone &= node.nRayNum == 1;
      if constexpr (kHasCameras) alone &= cameras.IsOwn(rays[node.nRay]);
    }
    return alone;
  }

  /// s D'(D, L) of the only ray of a node, less what the elimination takes. As G = s (Bx' x + By' y), with x
  /// and y the rows and Bx, By their first three numbers by the image, both together are two products of the
  /// rows: s x'(x + Bx N) + s y'(y + By N).
  void AddReducedRays(int32_t first, int32_t end, int32_t k) {
    double* const block = allNodes[points[first].nFirstRay + k].pOwn;
    auto sums = RowSums<Own, kBlock>::Load(block);
    for (int32_t p = first; p < end; ++p) {
      const Node& node = allNodes[points[p].nFirstRay + k];
      const Ray& ray = rays[node.nRay];
      const double* x = ray.Row[0];
      const double* y = ray.Row[1];
      Own rowX = Own::Load(x), rowY = Own::Load(y);
      for (int d = 0; d < 3; ++d) {
        const Own n = NRow(node, d);
        rowX.AddScaled(x[Form::kB + d], n);
        rowY.AddScaled(y[Form::kB + d], n);
      }
      rowX = Own::Scaled(ray.fWeight, rowX);
      rowY = Own::Scaled(ray.fWeight, rowY);
      sums.AddProduct(x, rowX);
      sums.AddProduct(y, rowY);
    }
    sums.Store(block);
  }

  /// G'N of a node.
  static void AddEliminationOfNode(const Node& node) {
    const Own n0 = NRow(node, 0), n1 = NRow(node, 1), n2 = NRow(node, 2);
    const double* const g = node.pG;
    for (int r = 0; r < kBlock; ++r) {
      Own sum = Own::Load(node.pOwn + r * Own::kSize);
      sum.AddScaled(g[r], n0);
      sum.AddScaled(g[kKept + r], n1);
      sum.AddScaled(g[2 * kKept + r], n2);
      sum.Store(node.pOwn + r * Own::kSize);
    }
  }

  /// Couplings among the first block rows of a run, N'G.
  void AddCouplings(int32_t first, int32_t end) {
    const BatchPoint& point = points[first];
    if (!point.bEliminated) return;
    const Node* const nodes = allNodes + point.nFirstRay;
    for (int32_t a = 0; a + 1 < point.nNodeNum; ++a) {
      const FirstBlocksOfRow row(in.Index, nodes[a].nRow);
      for (int32_t b = a + 1; b < point.nNodeNum; ++b) {
        int64_t offset = row.Offset(nodes[b].nRow);
        if (__builtin_expect(offset < 0, 0))
          offset = access.Offset(point.nPoint, nodes[a].nRow, nodes[b].nRow);
        AddCoupling(first, end, a, b, out.pBlocks + offset);
      }
    }
  }

  void AddCoupling(int32_t first, int32_t end, int32_t a, int32_t b, double* block) {
    if constexpr (kBlock == 6) {
      SixBySix sum;
      for (int32_t p = first; p < end; ++p) {
        const Node* const nodes = allNodes + points[p].nFirstRay;
        sum.AddProduct(nodes[a].pN, nodes[b].pG);
      }
      sum.AddTo(block);
    } else {
      for (int32_t p = first; p < end; ++p) {
        const Node* const nodes = allNodes + points[p].nFirstRay;
        const double* n = nodes[a].pN;
        const double* g = nodes[b].pG;
        AddThreeProducts<kBlock, kBlock>(block, n, n + kKept, n + 2 * kKept, g, g + kKept, g + 2 * kKept);
      }
    }
  }

  /// Moves the own blocks to the store and to the right-hand side.
  void Flush() {
    if constexpr (kHasCameras || kLayout == LayoutIop) cameraSums.Flush();
    const int32_t firstRows = in.Layout.FirstRows();
    for (int32_t row = 0; row < firstRows; ++row) {
      if (out.pRowFlags[row] != 1) continue;
      const double* block = own + static_cast<int64_t>(row) * kOwnSize;
      AddColumns<kBlock, kBlock>(block, Own::kSize, access.Block(-1, row, row));
      double* b = out.pConstVector + static_cast<int64_t>(row) * kBlock;
      for (int r = 0; r < kBlock; ++r) b[r] += block[r * Own::kSize + Form::kL];
      if constexpr (kHasCameras) {
        AddColumns<6, 5>(block + Form::kA, Own::kSize,
                         access.Block(-1, row, firstRows + cameras.OwnCamera(row)));
      }
    }
    if constexpr (kHasCameras) {
      for (int32_t camera = 0; camera < in.Layout.nCameraNum; ++camera) {
        if (out.pRowFlags[firstRows + camera] != 1) continue;
        const double* block = cameras.Own(camera);
        AddColumns<5, 5>(block, 8, access.Block(-1, firstRows + camera, firstRows + camera));
        double* b = out.pConstVector + int64_t{6} * firstRows + int64_t{5} * camera;
        for (int r = 0; r < 5; ++r) b[r] += block[8 * r + 5];
      }
    }
  }

  template <int kRows, int kCols>
  static void AddColumns(const double* from, int stride, double* block) {
    for (int r = 0; r < kRows; ++r) {
      for (int c = 0; c < kCols; ++c) block[kCols * r + c] += from[stride * r + c];
    }
  }

  const AssemblyInput& in;
  AssemblyOutput& out;
  BlockAccess access;
  Linearizer<kLayout> linearizer;
  CameraSums cameraSums;
  PointCameras cameras;
  Ray* rays;
  Node* allNodes;
  BatchPoint* points;
  int32_t* order;
  double* own;
  double* allG;
  double* allN;
};

template <int kLayout>
void AssemblePoints(const AssemblyInput& in, AssemblyScratch& scratch, AssemblyOutput& out, int64_t first,
                    int64_t last) {
  Assembler<kLayout>(in, scratch, out).Add(first, last);
}

AssemblyKernels KernelsOfThisFile(const char* name) {
  return {name,
          {AssemblePoints<LayoutEop>, AssemblePoints<LayoutIop>, AssemblePoints<LayoutMergedEopIop>,
           AssemblePoints<LayoutEopIop>}};
}

}  // namespace
}  // namespace orvo
