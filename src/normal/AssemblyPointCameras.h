// The cameras of a point where they have block rows behind the images. Part of the assembly kernels, which
// each instruction set compiles for itself: everything stands in an unnamed namespace.
#pragma once

#include "normal/AssemblyForms.h"
#include "normal/AssemblyScratch.h"
#include "normal/VectorBlocks.h"

namespace orvo {
namespace {

using BatchPoint = AssemblyPoint;
using Camera = AssemblyCamera;
using Node = AssemblyNode;

class PointCameras {
  static constexpr int kA = RowForm<LayoutEopIop>::kA;

 public:
  PointCameras(const AssemblyInput& input, AssemblyScratch& scratch, AssemblyOutput& output)
      : in(input),
        access{input, output},
        rays(scratch.Rays.data()),
        all(scratch.Cameras.data()),
        cameraOwn(scratch.CameraOwn.get()),
        ownCamera(scratch.OwnCamera.data()) {}

  /// The cameras of the point, each with the sums over its rays and with -Q, which belongs to the whole
  /// point.
  void Make(BatchPoint& point) {
    Camera* const cameras = all + point.nFirstCamera;
    point.nCameraNum = 0;
    const int32_t firstRow = in.Layout.nImageNum;
    if (!point.bOneCamera || !access.IsNoted(firstRow + rays[point.nFirstRay].nCamera)) {
      for (int32_t k = point.nFirstRay; k < point.nFirstRay + point.nRayNum; ++k) {
        access.NoteRow(point.nPoint, firstRow + rays[k].nCamera, rays[k].nImagePoint);
      }
    }
    if (point.bOneCamera) {
      cameras[0].nCamera = rays[point.nFirstRay].nCamera;
      point.nCameraNum = 1;
      for (int d = 0; d < 3; ++d) Row8::Load(point.Sum[d] + kA).Store(cameras[0].Sum[d]);
    } else {
      Sum(point, cameras);
    }
    if (!point.bEliminated) return;
    for (int32_t c = 0; c < point.nCameraNum; ++c) EliminateCamera(point, cameras[c]);
  }

  /// What of the elimination belongs to the columns of an image's own camera. A camera without rays in the
  /// point has nothing there but -M^-1 times -Q.
  const double (*OwnColumns(const BatchPoint& point, int32_t row))[8] {
    const Camera* const camera = Find(point, ownCamera[row]);
    if (__builtin_expect(camera != nullptr, 1)) return camera->N;
    Camera& none = all[point.nFirstCamera + point.nCameraNum];
    for (int d = 0; d < 3; ++d) {
      for (int k = 0; k < 8; ++k) none.Sum[d][k] = k == 5 ? point.Sum[d][kA + 5] : 0.0;
    }
    EliminateCamera(point, none);
    return none.N;
  }

  /// An image's own block holds its coupling to the first camera that it was seen with.
  void NoteOwnCamera(const Ray& ray) {
    if (__builtin_expect(ownCamera[ray.nImage] < 0, 0)) ownCamera[ray.nImage] = ray.nCamera;
  }
  bool IsOwn(const Ray& ray) const { return __builtin_expect(ray.nCamera == ownCamera[ray.nImage], 1); }

  /// A measurement of an image with another camera couples in the store, and its rows leave the camera's
  /// columns free.
  void SeparateForeign(const BatchPoint& point, const Ray& ray, Row16& rowX, Row16& rowY) {
    if (IsOwn(ray)) return;
    double x[8], y[8];
    rowX.b.Store(x);
    rowY.b.Store(y);
    double* block = access.Block(point.nPoint, ray.nImage, in.Layout.nImageNum + ray.nCamera);
    for (int r = 0; r < kEopSize; ++r) {
      for (int c = 0; c < kIopSize; ++c)
        block[kIopSize * r + c] += ray.Row[0][r] * x[c] + ray.Row[1][r] * y[c];
    }
    for (int c = 0; c < kIopSize; ++c) x[c] = y[c] = 0;
    rowX.b = Row8::Load(x);
    rowY.b = Row8::Load(y);
  }

  /// What the elimination takes from the cameras' own blocks. Points of one camera that follow each other are
  /// summed in registers.
  void AddOwnElimination(const BatchPoint* points, int32_t pointNum) {
    for (int32_t p = 0; p < pointNum;) {
      if (!points[p].bEliminated) {
        ++p;
        continue;
      }
      if (!points[p].bOneCamera) {
        for (int32_t c = 0; c < points[p].nCameraNum; ++c) {
          const Camera& camera = all[points[p].nFirstCamera + c];
          double* const block = cameraOwn + int64_t{40} * camera.nCamera;
          auto sums = RowSums<Row8, kIopSize>::Load(block, 8);
          AddCamera(camera, sums);
          sums.Store(block, 8);
        }
        ++p;
        continue;
      }
      const int32_t number = all[points[p].nFirstCamera].nCamera;
      double* const block = cameraOwn + int64_t{40} * number;
      auto sums = RowSums<Row8, kIopSize>::Load(block, 8);
      for (; p < pointNum && points[p].bEliminated && points[p].bOneCamera; ++p) {
        const Camera& camera = all[points[p].nFirstCamera];
        if (camera.nCamera != number) break;
        AddCamera(camera, sums);
      }
      sums.Store(block, 8);
    }
  }

  /// What it takes from their couplings, the own ones of the images excepted.
  void AddCouplings(const BatchPoint& point, const Node* nodes) {
    const Camera* const cameras = all + point.nFirstCamera;
    const int32_t rowBase = in.Layout.nImageNum;
    for (int32_t a = 0; a < point.nNodeNum; ++a) {
      if (point.bOneCamera && cameras[0].nCamera == ownCamera[nodes[a].nRow]) continue;
      const double* n = nodes[a].pN;
      for (int32_t c = 0; c < point.nCameraNum; ++c) {
        if (cameras[c].nCamera == ownCamera[nodes[a].nRow]) continue;
        const double(*h)[8] = cameras[c].Sum;
        AddThreeProducts<kEopSize, kIopSize>(
            access.Block(point.nPoint, nodes[a].nRow, rowBase + cameras[c].nCamera), n, n + 8, n + 16, h[0],
            h[1], h[2]);
      }
    }
    for (int32_t a = 0; a < point.nCameraNum; ++a) {
      for (int32_t b = a + 1; b < point.nCameraNum; ++b) {
        const bool inOrder = cameras[a].nCamera < cameras[b].nCamera;
        const Camera& left = inOrder ? cameras[a] : cameras[b];
        const Camera& right = inOrder ? cameras[b] : cameras[a];
        AddThreeProducts<kIopSize, kIopSize>(
            access.Block(point.nPoint, rowBase + left.nCamera, rowBase + right.nCamera), left.N[0], left.N[1],
            left.N[2], right.Sum[0], right.Sum[1], right.Sum[2]);
      }
    }
  }

  int32_t OwnCamera(int32_t row) const { return ownCamera[row]; }
  /// A'A and A'L of a camera, 5 x 8.
  const double* Own(int32_t camera) const { return cameraOwn + int64_t{40} * camera; }

 private:
  [[gnu::always_inline]] static void AddCamera(const Camera& camera, RowSums<Row8, kIopSize>& sums) {
    for (int d = 0; d < 3; ++d) sums.AddProduct(camera.N[d], Row8::Load(camera.Sum[d]));
  }

  static void EliminateCamera(const BatchPoint& point, Camera& camera) {
    Eliminate(point.MinusInverse, Row8::Load(camera.Sum[0]), Row8::Load(camera.Sum[1]),
              Row8::Load(camera.Sum[2]), camera.N[0], 8);
  }

  void Sum(BatchPoint& point, Camera* cameras) {
    for (int32_t k = point.nFirstRay; k < point.nFirstRay + point.nRayNum; ++k) {
      const Ray& ray = rays[k];
      int32_t c = 0;
      while (c < point.nCameraNum && cameras[c].nCamera != ray.nCamera) ++c;
      Camera& camera = cameras[c];
      if (c == point.nCameraNum) {
        ++point.nCameraNum;
        camera.nCamera = ray.nCamera;
        for (int d = 0; d < 3; ++d) Row8{}.Store(camera.Sum[d]);
      }
      const Row8 rowX = Row8::Scaled(ray.fWeight, Row8::Load(ray.Row[0] + kA));
      const Row8 rowY = Row8::Scaled(ray.fWeight, Row8::Load(ray.Row[1] + kA));
      for (int d = 0; d < 3; ++d) {
        Row8 sum = Row8::Load(camera.Sum[d]);
        sum.AddScaled(ray.Row[0][d], rowX);
        sum.AddScaled(ray.Row[1][d], rowY);
        sum.Store(camera.Sum[d]);
      }
    }
    for (int32_t c = 0; c < point.nCameraNum; ++c) {
      for (int d = 0; d < 3; ++d) cameras[c].Sum[d][5] = point.Sum[d][kA + 5];
    }
  }

  const Camera* Find(const BatchPoint& point, int32_t camera) const {
    const Camera* const cameras = all + point.nFirstCamera;
    for (int32_t c = 0; c < point.nCameraNum; ++c) {
      if (cameras[c].nCamera == camera) return cameras + c;
    }
    return nullptr;
  }

  const AssemblyInput& in;
  BlockAccess access;
  const Ray* rays;
  Camera* all;
  double* cameraOwn;
  int32_t* ownCamera;
};

}  // namespace
}  // namespace orvo
