// Body of the assembly kernels. Each instruction set compiles its own copy, so nothing in here may be shared
// between translation units: everything stands in an unnamed namespace and no library template is used.
#pragma once

#include "normal/AssemblyForms.h"
#include "normal/AssemblyKernel.h"
#include "normal/VectorRows.h"

namespace orvo {
namespace {

using Node = AssemblyNode;
using Camera = AssemblyCamera;
using BatchPoint = AssemblyBatchPoint;

template <int kLayout>
class Assembler {
  using Form = RowForm<kLayout>;
  using Row = typename Form::Row;
  using Own = typename Form::Own;
  static constexpr int kBlock = Form::kBlock;
  static constexpr int kOwnSize = kBlock * Own::kSize;
  static constexpr bool kHasCameras = kLayout == LayoutEopIop;
  static constexpr int32_t Ray::*kKey = kLayout == LayoutIop ? &Ray::nCamera : &Ray::nImage;

 public:
  Assembler(const AssemblyInput& input, AssemblyScratch& scratch, AssemblyOutput& output)
      : in(input),
        out(output),
        rays(scratch.Rays.data()),
        nodes(scratch.Nodes.data()),
        cameras(scratch.Cameras.data()),
        points(scratch.Points.data()),
        order(scratch.Order.data()),
        own(scratch.Own.data()),
        cameraOwn(scratch.CameraOwn.data()),
        ownCamera(scratch.OwnCamera.data()) {}

  void Add(int64_t first, int64_t last) {
    for (int64_t next = first; next <= last;) {
      // Measurements first, products later: the products then read rows that have long left the store queue.
      int32_t pointNum = 0, rayNum = 0;
      do {
        BatchPoint& point = points[pointNum++];
        point.nPoint = next;
        point.nFirstRay = rayNum;
        Linearize(in.pObjectPoints[next], point);
        rayNum += point.nRayNum;
        ++next;
      } while (next <= last && pointNum < AssemblyScratch::kBatch &&
               rayNum + in.pObjectPoints[next].nImagePointNum <= AssemblyScratch::kBatch);
      for (int32_t k = 0; k < pointNum; ++k) {
        if (points[k].nRayNum > 0) AddPoint(points[k]);
      }
    }
    Flush();
  }

 private:
  /// Linearises the point's measurements into the batch and keeps the residual figures.
  void Linearize(const ObjectPointRecord& point, BatchPoint& batchPoint) {
    int64_t begin = point.nFirstImagePoint, count = point.nImagePointNum;
    if (begin < 0) begin = 0;
    if (begin > in.nImagePointNum) begin = in.nImagePointNum;
    if (count > in.nImagePointNum - begin) count = in.nImagePointNum - begin;
    batchPoint.nType = point.nType;
    batchPoint.bOneCamera = true;
    Ray* const firstRay = rays + batchPoint.nFirstRay;
    Ray* ray = firstRay;
    for (int64_t j = begin; j < begin + count; ++j) {
      const int64_t running = out.nPointNum++;
      const ImagePointRecord& measurement = in.pImagePoints[j];
      double* x = ray->Row[0];
      double* y = ray->Row[1];
      // A point in the plane through the projection centre has no equation, and one whose coordinates have
      // left all bounds would spoil every unknown: both are left out.
      if (!in.Layout.Holds(measurement) ||
          !LinearizeImagePoint(
              measurement.x, measurement.y, point.X, point.Y, point.Z, in.pImages[measurement.nImage],
              in.pCameras[measurement.nCamera],
              {{x + Form::kB, y + Form::kB}, {x + Form::kA, y + Form::kA}, {x + Form::kL, y + Form::kL}}) ||
          !IsBounded(x[Form::kL], y[Form::kL], x[Form::kB], y[Form::kB + 1])) {
        ++out.nLeftOutNum;
        continue;
      }
      const double Lx = x[Form::kL], Ly = y[Form::kL];
      out.pResiduals[2 * running] = static_cast<float>(Lx);
      out.pResiduals[2 * running + 1] = static_cast<float>(Ly);
      ray->fWeight = Weigh(point.nType, Lx, Ly, running);
      ray->nImage = measurement.nImage;
      ray->nCamera = measurement.nCamera;
      ray->nImagePoint = j;
      batchPoint.bOneCamera &= measurement.nCamera == firstRay->nCamera;
      ++ray;
    }
    batchPoint.nRayNum = static_cast<int32_t>(ray - firstRay);
  }

  static bool IsBounded(double a, double b, double c, double d) {
    return a * a + b * b + c * c + d * d < 1e200;
  }

  /// The weight of an observation; counts it and, unless it is gross, adds it to the residual figures.
  double Weigh(int32_t type, double Lx, double Ly, int64_t running) {
    if (type == 0 && (__builtin_fabs(Lx) > in.fGrossX || __builtin_fabs(Ly) > in.fGrossY)) {
      out.pGrossFlags[running] = -1;
      ++out.nGrossNum;
      return 0.000001;
    }
    out.fSumX += Lx;
    out.fSumY += Ly;
    out.fSquareSumX += Lx * Lx;
    out.fSquareSumY += Ly * Ly;
    if (Lx > out.fMaxX) out.fMaxX = Lx;
    if (Ly > out.fMaxY) out.fMaxY = Ly;
    if (Lx < out.fMinX) out.fMinX = Lx;
    // Deliberate: the smallest residual in y is noted by its residual in x.
    if (Ly < out.fMinY) out.fMinY = Lx;
    return type == 1 ? in.fControlWeight : 1.0;
  }

  void AddPoint(const BatchPoint& point) {
    nPoint = point.nPoint;
    pointRays = rays + point.nFirstRay;
    FormProducts(point.nRayNum);
    bEliminated = point.nType != 1 && Invert();
    // Before the rays of one image are merged: these may have different cameras.
    if constexpr (kHasCameras) MakeCameras(point);
    const int32_t nodeNum = MakeNodes(point.nRayNum);
    AddOwnBlocks(nodeNum);
    if constexpr (kHasCameras) AddCameras(point, nodeNum);
    if (bEliminated) AddCouplings(nodeNum);
  }

  /// G of every ray, and the sums over the point that hold M and Q.
  void FormProducts(int32_t rayNum) {
    Row s0{}, s1{}, s2{};
    for (int32_t k = 0; k < rayNum; ++k) {
      Ray& ray = pointRays[k];
      order[k] = k;
      const double* x = ray.Row[0] + Form::kB;
      const double* y = ray.Row[1] + Form::kB;
      const Row rowX = Row::Scaled(ray.fWeight, Row::Load(ray.Row[0]));
      const Row rowY = Row::Scaled(ray.fWeight, Row::Load(ray.Row[1]));
      Row g0 = Row::Scaled(x[0], rowX), g1 = Row::Scaled(x[1], rowX), g2 = Row::Scaled(x[2], rowX);
      g0.AddScaled(y[0], rowY);
      g1.AddScaled(y[1], rowY);
      g2.AddScaled(y[2], rowY);
      g0.Store(ray.G[0]);
      g1.Store(ray.G[1]);
      g2.Store(ray.G[2]);
      s0.Add(g0);
      s1.Add(g1);
      s2.Add(g2);
    }
    s0.Store(Sum[0]);
    s1.Store(Sum[1]);
    s2.Store(Sum[2]);
  }

  bool Invert() {
    const double* const row[3] = {Sum[0] + Form::kB, Sum[1] + Form::kB, Sum[2] + Form::kB};
    const double M[6] = {row[0][0], row[0][1], row[0][2], row[1][1], row[1][2], row[2][2]};
    if (InvertWellConditioned(M, Inverse)) return true;
    for (int k = 0; k < 6; ++k) Inverse[k] = M[k];
    return InvertPointMatrix(Inverse);
  }

  /// -M^-1 times three rows.
  template <class R>
  void Eliminate(const double* g0, const double* g1, const double* g2, double* n0, double* n1,
                 double* n2) const {
    const R r0 = R::Load(g0), r1 = R::Load(g1), r2 = R::Load(g2);
    const double* m = Inverse;
    R n = R::Scaled(-m[0], r0);
    n.AddScaled(-m[1], r1);
    n.AddScaled(-m[2], r2);
    n.Store(n0);
    n = R::Scaled(-m[1], r0);
    n.AddScaled(-m[3], r1);
    n.AddScaled(-m[4], r2);
    n.Store(n1);
    n = R::Scaled(-m[2], r0);
    n.AddScaled(-m[4], r1);
    n.AddScaled(-m[5], r2);
    n.Store(n2);
  }

  /// One node for each block row of the point, ascending. The first ray of a row takes over the G of the
  /// others, whose own products are added at once.
  int32_t MakeNodes(int32_t rayNum) {
    SortRays(order, rayNum, pointRays, kKey);
    int32_t nodeNum = 0;
    for (int32_t k = 0; k < rayNum; ++k) {
      Ray& ray = pointRays[order[k]];
      const int32_t row = ray.*kKey;
      if (nodeNum > 0 && nodes[nodeNum - 1].nRow == row) {
        Ray& first = pointRays[nodes[nodeNum - 1].nRay];
        for (int d = 0; d < 3; ++d) {
          Row g = Row::Load(first.G[d]);
          g.Add(Row::Load(ray.G[d]));
          g.Store(first.G[d]);
        }
        NoteRow(row, ray);
        AddOwnOfRay(ray, nodes[nodeNum - 1].pOwn);
        continue;
      }
      Node& node = nodes[nodeNum++];
      node.nRow = row;
      node.nRay = order[k];
      node.pOwn = own + static_cast<int64_t>(row) * kOwnSize;
      NoteRow(row, ray);
      if constexpr (kHasCameras) {
        if (ownCamera[row] < 0) ownCamera[row] = ray.nCamera;
      }
    }
    if (!bEliminated) return nodeNum;
    for (int32_t k = 0; k < nodeNum; ++k) {
      const Ray& ray = pointRays[nodes[k].nRay];
      double(*n)[12] = nodes[k].N;
      Eliminate<Own>(ray.G[0], ray.G[1], ray.G[2], n[0], n[1], n[2]);
    }
    return nodeNum;
  }

  /// Flags the block row; without a diagonal block in the pattern every measurement on it is told.
  void NoteRow(int32_t row, const Ray& ray) {
    uint8_t& flag = out.pRowFlags[row];
    if (flag == 1) return;
    flag = OffsetOfBlock(in.Index, row, row) < 0 ? 2 : 1;
    if (flag == 2) RememberMissingBlock(out, {nPoint, ray.nImagePoint, row, row});
  }

  /// s D'(D, L) of one ray.
  void AddOwnOfRay(const Ray& ray, double* block) {
    const double* x = ray.Row[0];
    const double* y = ray.Row[1];
    Own rowX = Own::Scaled(ray.fWeight, Own::Load(x)), rowY = Own::Scaled(ray.fWeight, Own::Load(y));
    if constexpr (kHasCameras) SeparateForeignCamera(ray, rowX, rowY);
    for (int r = 0; r < kBlock; ++r) {
      Own sum = Own::Load(block + r * Own::kSize);
      sum.AddScaled(x[r], rowX);
      sum.AddScaled(y[r], rowY);
      sum.Store(block + r * Own::kSize);
    }
  }

  /// What stands at the right of N in an own block: G of the node, and where its own columns end the sums
  /// over the point (and the camera): H and -Q.
  Own EliminationRow(const Ray& ray, const double (*sums)[16], int d) const {
    constexpr int kFromSums = kHasCameras ? 6 : Form::kL;
    return BlendRows<kFromSums>(Own::Load(ray.G[d]), Own::Load(sums[d]));
  }

  void AddOwnBlocks(int32_t nodeNum) {
    for (int32_t k = 0; k < nodeNum; ++k) {
      const Node& node = nodes[k];
      const Ray& ray = pointRays[node.nRay];
      if (!bEliminated) {
        AddOwnOfRay(ray, node.pOwn);
        continue;
      }
      const double* x = ray.Row[0];
      const double* y = ray.Row[1];
      Own rowX = Own::Scaled(ray.fWeight, Own::Load(x)), rowY = Own::Scaled(ray.fWeight, Own::Load(y));
      const double(*sums)[16] = Sum;
      if constexpr (kHasCameras) {
        SeparateForeignCamera(ray, rowX, rowY);
        sums = SumsOfCamera(ownCamera[node.nRow]);
      }
      const Own e0 = EliminationRow(ray, sums, 0), e1 = EliminationRow(ray, sums, 1),
                e2 = EliminationRow(ray, sums, 2);
      double* block = node.pOwn;
      for (int r = 0; r < kBlock; ++r) {
        Own sum = Own::Load(block + r * Own::kSize);
        sum.AddScaled(x[r], rowX);
        sum.AddScaled(y[r], rowY);
        sum.AddScaled(node.N[0][r], e0);
        sum.AddScaled(node.N[1][r], e1);
        sum.AddScaled(node.N[2][r], e2);
        sum.Store(block + r * Own::kSize);
      }
    }
  }

  double* Block(int32_t row, int32_t column) {
    int64_t offset = OffsetOfBlock(in.Index, row, column);
    if (__builtin_expect(offset < 0, 0)) {
      RememberMissingBlock(out, {nPoint, -1, row, column});
      offset = in.nSpareOffset;
    }
    return out.pBlocks + offset;
  }

  /// Couplings among the first block rows.
  void AddCouplings(int32_t nodeNum) {
    if constexpr (kBlock == 6) {
      for (int32_t k = 1; k < nodeNum; ++k) {
        const Ray& ray = pointRays[nodes[k].nRay];
        for (int d = 0; d < 3; ++d) SetPhases(nodes[k].Phases[d], ray.G[d]);
      }
      for (int32_t a = 0; a + 1 < nodeNum; ++a) {
        const LeftFactors left(nodes[a].N);
        for (int32_t b = a + 1; b < nodeNum; ++b) {
          left.AddTo(Block(nodes[a].nRow, nodes[b].nRow), nodes[b].Phases);
        }
      }
    } else {
      for (int32_t a = 0; a + 1 < nodeNum; ++a) {
        const double(*n)[12] = nodes[a].N;
        for (int32_t b = a + 1; b < nodeNum; ++b) {
          const double(*g)[12] = pointRays[nodes[b].nRay].G;
          AddThreeProducts<kBlock, kBlock>(Block(nodes[a].nRow, nodes[b].nRow), n[0], n[1], n[2], g[0], g[1],
                                           g[2]);
        }
      }
    }
  }

  // ---- Cameras behind the images ----

  /// The cameras of the point, each with the sums over its rays and with -Q, which belongs to the whole
  /// point.
  void MakeCameras(const BatchPoint& point) {
    cameraNum = 0;
    for (int d = 0; d < 3; ++d) NoCamera[d][Form::kL] = Sum[d][Form::kL];
    for (int32_t k = 0; k < point.nRayNum; ++k) {
      const Ray& ray = pointRays[k];
      NoteRow(in.Layout.nImageNum + ray.nCamera, ray);
      if (point.bOneCamera && k > 0) continue;
      int32_t place = 0;
      while (place < cameraNum && cameras[place].nCamera != ray.nCamera) ++place;
      Camera& camera = cameras[place];
      if (place == cameraNum) {
        ++cameraNum;
        camera.nCamera = ray.nCamera;
        for (int d = 0; d < 3; ++d) {
          if (point.bOneCamera) {
            Row::Load(Sum[d]).Store(camera.Sum[d]);
          } else {
            Row{}.Store(camera.Sum[d]);
          }
        }
      }
    }
    if (!point.bOneCamera) SumByCamera(point.nRayNum);
    if (!bEliminated) return;
    for (int32_t c = 0; c < cameraNum; ++c) {
      double(*h)[16] = cameras[c].Sum;
      double(*n)[8] = cameras[c].N;
      Eliminate<Row8>(h[0] + 6, h[1] + 6, h[2] + 6, n[0], n[1], n[2]);
    }
  }

  void SumByCamera(int32_t rayNum);

  /// Sums of a camera; without rays of it in this point there is nothing but -Q.
  const double (*SumsOfCamera(int32_t camera))[16] {
    for (int32_t c = 0; c < cameraNum; ++c) {
      if (cameras[c].nCamera == camera) return cameras[c].Sum;
    }
    return NoCamera;
  }

  /// An image's own block holds its coupling to one camera. A measurement of the image with another camera
  /// couples in the store, and its rows leave the camera's columns free.
  void SeparateForeignCamera(const Ray& ray, Own& rowX, Own& rowY) {
    if (__builtin_expect(ray.nCamera == ownCamera[ray.nImage], 1)) return;
    double x[12], y[12];
    rowX.Store(x);
    rowY.Store(y);
    double* block = Block(ray.nImage, in.Layout.nImageNum + ray.nCamera);
    for (int r = 0; r < 6; ++r) {
      for (int c = 0; c < 5; ++c) block[5 * r + c] += ray.Row[0][r] * x[6 + c] + ray.Row[1][r] * y[6 + c];
    }
    for (int c = 6; c < 11; ++c) x[c] = y[c] = 0;
    rowX = Own::Load(x);
    rowY = Own::Load(y);
  }

  void AddCameras(const BatchPoint& point, int32_t nodeNum) {
    if (point.bOneCamera) {
      AddCameraRays(point.nRayNum, cameras[0]);
    } else {
      for (int32_t c = 0; c < cameraNum; ++c) AddCameraRays(point.nRayNum, cameras[c]);
    }
    if (!bEliminated) return;
    const int32_t rowBase = in.Layout.nImageNum;
    for (int32_t a = 0; a < nodeNum; ++a) {
      const int32_t ownCameraOfImage = ownCamera[nodes[a].nRow];
      const double(*n)[12] = nodes[a].N;
      for (int32_t c = 0; c < cameraNum; ++c) {
        if (cameras[c].nCamera == ownCameraOfImage) continue;
        const double(*h)[16] = cameras[c].Sum;
        AddThreeProducts<6, 5>(Block(nodes[a].nRow, rowBase + cameras[c].nCamera), n[0], n[1], n[2], h[0] + 6,
                               h[1] + 6, h[2] + 6);
      }
    }
    for (int32_t a = 0; a < cameraNum; ++a) {
      for (int32_t b = a + 1; b < cameraNum; ++b) {
        const bool inOrder = cameras[a].nCamera < cameras[b].nCamera;
        const Camera& left = inOrder ? cameras[a] : cameras[b];
        const Camera& right = inOrder ? cameras[b] : cameras[a];
        AddThreeProducts<5, 5>(Block(rowBase + left.nCamera, rowBase + right.nCamera), left.N[0], left.N[1],
                               left.N[2], right.Sum[0] + 6, right.Sum[1] + 6, right.Sum[2] + 6);
      }
    }
  }

  /// s A'(A, L) of the camera's rays and what the elimination takes from it.
  void AddCameraRays(int32_t rayNum, const Camera& camera) {
    double* block = cameraOwn + static_cast<int64_t>(camera.nCamera) * 40;
    Row8 sum[5];
    for (int r = 0; r < 5; ++r) sum[r] = Row8::Load(block + 8 * r);
    for (int32_t k = 0; k < rayNum; ++k) {
      const Ray& ray = pointRays[k];
      if (ray.nCamera != camera.nCamera) continue;
      const double* x = ray.Row[0] + 6;
      const double* y = ray.Row[1] + 6;
      const Row8 rowX = Row8::Scaled(ray.fWeight, Row8::Load(x)),
                 rowY = Row8::Scaled(ray.fWeight, Row8::Load(y));
      for (int r = 0; r < 5; ++r) {
        sum[r].AddScaled(x[r], rowX);
        sum[r].AddScaled(y[r], rowY);
      }
    }
    if (bEliminated) {
      for (int d = 0; d < 3; ++d) {
        const Row8 h = Row8::Load(camera.Sum[d] + 6);
        for (int r = 0; r < 5; ++r) sum[r].AddScaled(camera.N[d][r], h);
      }
    }
    for (int r = 0; r < 5; ++r) sum[r].Store(block + 8 * r);
  }

  // ---- End of the pass ----

  /// Moves the own blocks to the store and to the right-hand side.
  void Flush() {
    nPoint = -1;
    const int32_t firstRows = in.Layout.FirstRows();
    for (int32_t row = 0; row < firstRows; ++row) {
      if (out.pRowFlags[row] != 1) continue;
      const double* block = own + static_cast<int64_t>(row) * kOwnSize;
      AddColumns<kBlock, kBlock>(block, Own::kSize, Block(row, row));
      double* b = out.pConstVector + static_cast<int64_t>(row) * kBlock;
      for (int r = 0; r < kBlock; ++r) b[r] += block[r * Own::kSize + Form::kL];
      if constexpr (kHasCameras) {
        AddColumns<6, 5>(block + 6, Own::kSize, Block(row, firstRows + ownCamera[row]));
      }
    }
    if constexpr (kHasCameras) {
      for (int32_t camera = 0; camera < in.Layout.nCameraNum; ++camera) {
        if (out.pRowFlags[firstRows + camera] != 1) continue;
        const double* block = cameraOwn + static_cast<int64_t>(camera) * 40;
        AddColumns<5, 5>(block, 8, Block(firstRows + camera, firstRows + camera));
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
  Ray* rays;
  Node* nodes;
  Camera* cameras;
  BatchPoint* points;
  int32_t* order;
  double* own;
  double* cameraOwn;
  int32_t* ownCamera;

  // The point in hand.
  int64_t nPoint = 0;
  Ray* pointRays = nullptr;
  int32_t cameraNum = 0;
  bool bEliminated = false;
  double Sum[3][16] = {};  ///< G summed over all rays: holds M, minus Q and the sum of H
  double NoCamera[3][16] = {};
  double Inverse[6];
};

template <int kLayout>
void Assembler<kLayout>::SumByCamera(int32_t rayNum) {
  for (int32_t k = 0; k < rayNum; ++k) {
    const Ray& ray = pointRays[k];
    int32_t c = 0;
    while (cameras[c].nCamera != ray.nCamera) ++c;
    for (int d = 0; d < 3; ++d) {
      for (int column = 6; column < 11; ++column) cameras[c].Sum[d][column] += ray.G[d][column];
    }
  }
  for (int d = 0; d < 3; ++d) {
    for (int32_t c = 0; c < cameraNum; ++c) cameras[c].Sum[d][Form::kL] = Sum[d][Form::kL];
  }
}

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
