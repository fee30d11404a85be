// Body of the assembly kernels. Each instruction set compiles its own copy, so nothing in here may be shared
// between translation units: everything stands in an unnamed namespace and no library template is used.
#include "normal/AssemblyCameraSums.h"
#include "normal/AssemblyEliminate.h"
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
  using Own = typename Form::Own;
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
        eliminator(input, scratch, output, cameras),
        rays(scratch.Rays.data()),
        allNodes(scratch.Nodes.data()),
        points(scratch.Points.data()),
        own(scratch.Own.get()) {}

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
    const uintptr_t measurements = AddressOf(in.pImagePoints, begin);
    __builtin_prefetch(reinterpret_cast<const void*>(measurements));
    __builtin_prefetch(reinterpret_cast<const void*>(measurements + 64));
    const uintptr_t residuals = AddressOf(out.pResiduals, 2 * running);
    __builtin_prefetch(reinterpret_cast<const void*>(residuals), 1);
    __builtin_prefetch(reinterpret_cast<const void*>(residuals + 8 * sizeof(float)), 1);
    __builtin_prefetch(reinterpret_cast<const void*>(AddressOf(out.pGrossFlags, running)), 1);
  }

  /// Where an element stands, or would stand: as a number, for there may be no array, or it may end before.
  template <class T>
  static uintptr_t AddressOf(const T* array, int64_t element) {
    return reinterpret_cast<uintptr_t>(array) + static_cast<uintptr_t>(element) * sizeof(T);
  }

  void AddBatch(int32_t pointNum, int32_t rayNum) {
    linearizer.FormRows(rayNum);
    rayNum = linearizer.Weigh(points, pointNum);
    if (rayNum == 0) return;
    if constexpr (kHasCameras || kLayout == LayoutIop) cameraSums.Add(rayNum);
    for (int32_t p = 0; p < pointNum; ++p) eliminator.FormProducts(points[p]);
    eliminator.Invert(pointNum);
    for (int32_t p = 0; p < pointNum; ++p) {
      if constexpr (kHasCameras) {
        if (points[p].nRayNum > 0) cameras.Make(points[p]);
      }
      eliminator.MakeNodes(points[p]);
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
        for (int32_t j = 0; kLayout != LayoutIop && j < node.nRayNum; ++j) {
          AddOwnOfRay(points[p], rays[node.pRays[j]]);
        }
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
      if constexpr (kHasCameras) alone &= cameras.IsOwn(rays[node.pRays[0]]);
    }
    return alone;
  }

  /// s D'(D, L) of the only ray of a node, less what the elimination takes. As G = s (Bx' x + By' y), with x
  /// and y the rows and Bx, By their first three numbers by the image, both together are two products of the
  /// rows: s x'(x + Bx N) + s y'(y + By N).
  void AddReducedRays(int32_t first, int32_t end, int32_t k) {
    using Part = Slice<Own, kBlock>;
    AddReducedColumns<Part, 0>(first, end, k);
    if constexpr (Part::kSize < Own::kSize) AddReducedColumns<Part, Part::kSize>(first, end, k);
    if constexpr (2 * Part::kSize < Own::kSize) AddReducedColumns<Part, 2 * Part::kSize>(first, end, k);
    if constexpr (3 * Part::kSize < Own::kSize) AddReducedColumns<Part, 3 * Part::kSize>(first, end, k);
  }

  template <class Part, int kFrom>
  void AddReducedColumns(int32_t first, int32_t end, int32_t k) {
    double* const block = allNodes[points[first].nFirstRay + k].pOwn + kFrom;
    auto sums = RowSums<Part, kBlock>::Load(block, Own::kSize);
    for (int32_t p = first; p < end; ++p) {
      const Node& node = allNodes[points[p].nFirstRay + k];
      const Ray& ray = rays[node.pRays[0]];
      const double* x = ray.Row[0];
      const double* y = ray.Row[1];
      Part rowX = Part::Load(x + kFrom), rowY = Part::Load(y + kFrom);
      for (int d = 0; d < 3; ++d) {
        const Part n = Eliminator<kLayout>::template NRow<Part, kFrom>(node, d);
        rowX.AddScaled(x[Form::kB + d], n);
        rowY.AddScaled(y[Form::kB + d], n);
      }
      sums.AddProduct(x, Part::Scaled(ray.fWeight, rowX));
      sums.AddProduct(y, Part::Scaled(ray.fWeight, rowY));
    }
    sums.Store(block, Own::kSize);
  }

  /// G'N of a node.
  static void AddEliminationOfNode(const Node& node) {
    const Own n0 = Eliminator<kLayout>::template NRow<Own, 0>(node, 0),
              n1 = Eliminator<kLayout>::template NRow<Own, 0>(node, 1),
              n2 = Eliminator<kLayout>::template NRow<Own, 0>(node, 2);
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
    if constexpr (kBlock == kEopSize) {
      for (int top = 0; top < kEopSize; top += SixBySix::kRows) {
        SixBySix sum;
        for (int32_t p = first; p < end; ++p) {
          const Node* const nodes = allNodes + points[p].nFirstRay;
          sum.AddProduct(nodes[a].pN + top, nodes[b].pG);
        }
        sum.AddTo(block + kEopSize * top);
      }
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
        AddColumns<kEopSize, kIopSize>(block + Form::kA, Own::kSize,
                                       access.Block(-1, row, firstRows + cameras.OwnCamera(row)));
      }
    }
    if constexpr (kHasCameras) {
      for (int32_t camera = 0; camera < in.Layout.nCameraNum; ++camera) {
        if (out.pRowFlags[firstRows + camera] != 1) continue;
        const double* block = cameras.Own(camera);
        AddColumns<kIopSize, kIopSize>(block, 8, access.Block(-1, firstRows + camera, firstRows + camera));
        double* b = out.pConstVector + int64_t{kEopSize} * firstRows + int64_t{kIopSize} * camera;
        for (int r = 0; r < kIopSize; ++r) b[r] += block[8 * r + kIopSize];
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
  Eliminator<kLayout> eliminator;
  Ray* rays;
  Node* allNodes;
  BatchPoint* points;
  double* own;
};

template <int kLayout>
void AssemblePoints(const AssemblyInput& in, AssemblyScratch& scratch, AssemblyOutput& out, int64_t first,
                    int64_t last) {
  Assembler<kLayout>(in, scratch, out).Add(first, last);
}

}  // namespace

template <>
AssemblyKernels AssemblyKernelsOf<InstructionSet::ORVO_SET>() {
  return {NameOf(InstructionSet::ORVO_SET),
          {AssemblePoints<LayoutEop>, AssemblePoints<LayoutIop>, AssemblePoints<LayoutMergedEopIop>,
           AssemblePoints<LayoutEopIop>}};
}

}  // namespace orvo
