// Sums over the measurements of a camera: s A'A and s A'L. Part of the assembly kernels, which each
// instruction set compiles for itself: everything stands in an unnamed namespace.
#pragma once

#include "base/simd/VectorLanes.h"
#include "normal/AssemblyForms.h"
#include "normal/AssemblyScratch.h"

namespace orvo {
namespace {

/// Sums in lanes, each a member of its own.
template <int kSums>
struct LaneSums {
  Lanes sum;
  LaneSums<kSums - 1> rest;
  template <class... Others>
  [[gnu::always_inline]] void Add(const Lanes& first, const Others&... others) {
    sum += first;
    rest.Add(others...);
  }
  [[gnu::always_inline]] void AddTo(double* p) const {
    StoreLanes(p, LoadLanes(p) + sum);
    rest.AddTo(p + 8);
  }
};
template <>
struct LaneSums<0> {
  [[gnu::always_inline]] void Add() {}
  [[gnu::always_inline]] void AddTo(double*) const {}
};

class CameraSums {
 public:
  /// `blocks`: 5 x 8 for each camera, A'A and A'L. A stands at `offset` in a ray's rows, L behind it.
  CameraSums(AssemblyScratch& scratch, int offset, double* blocks)
      : rays(scratch.Rays.data()),
        columns(scratch.Columns.get()),
        columnSize(scratch.nColumnSize),
        slots(scratch.CameraSums),
        cameraBlocks(blocks),
        rowOffset(offset) {}

  /// Adds all measurements of the batch, their rows, columns and weights.
  void Add(int32_t rayNum) {
    int32_t cameras[AssemblyScratch::kCameraSlots], cameraNum = 0;
    for (int32_t k = 0; k < rayNum; ++k) {
      const int32_t camera = rays[k].nCamera;
      int32_t c = 0;
      while (c < cameraNum && cameras[c] != camera) ++c;
      if (c < cameraNum) continue;
      if (cameraNum == AssemblyScratch::kCameraSlots) return AddOneByOne(rayNum);
      cameras[cameraNum++] = camera;
    }
    // The lanes behind the last measurement hold a copy of it, or what was moved forward.
    for (int32_t k = rayNum; k % kLanes != 0; ++k) {
      for (int column = ColumnLx; column < kAssemblyColumns; ++column) columns[column * columnSize + k] = 0;
    }
    if (cameraNum == 1) {
      AddColumns(SlotOf(cameras[0]), Column(ColumnWeight), rayNum);
      return;
    }
    double* const masked = Column(ColumnMasked);
    for (int32_t c = 0; c < cameraNum; ++c) {
      for (int32_t k = 0; k < rayNum; ++k) {
        masked[k] = rays[k].nCamera == cameras[c] ? Column(ColumnWeight)[k] : 0.0;
      }
      AddColumns(SlotOf(cameras[c]), masked, rayNum);
    }
  }

  /// Moves what the slots hold to the blocks.
  void Flush() {
    for (int k = 0; k < AssemblyScratch::kCameraSlots; ++k) Flush(slots[k]);
  }

 private:
  double* Column(AssemblyColumn column) const { return columns + column * columnSize; }

  AssemblyCameraSums& SlotOf(int32_t camera) {
    for (int k = 0; k < AssemblyScratch::kCameraSlots; ++k) {
      if (slots[k].nCamera == camera) return slots[k];
    }
    AssemblyCameraSums& slot = slots[nNextSlot];
    nNextSlot = (nNextSlot + 1) % AssemblyScratch::kCameraSlots;
    Flush(slot);
    slot.nCamera = camera;
    return slot;
  }

  void AddColumns(AssemblyCameraSums& slot, const double* weights, int32_t rayNum) {
    LaneSums<AssemblyCameraSums::kSums> sums{};
    for (int32_t k = 0; k < rayNum; k += kLanes) {
      const auto number = [&](AssemblyColumn column) { return LoadLanes(Column(column) + k); };
      const Lanes s = LoadLanes(weights + k);
      const Lanes fx = number(ColumnFocalX), fy = number(ColumnFocalY), px = number(ColumnK1X),
                  py = number(ColumnK1Y), qx = number(ColumnK2X), qy = number(ColumnK2Y),
                  Lx = number(ColumnLx), Ly = number(ColumnLy);
      const Lanes sfx = s * fx, sfy = s * fy, spx = s * px, spy = s * py, sqx = s * qx, sqy = s * qy;
      sums.Add(sfx * fx + sfy * fy, sfx, sfy, sfx * px + sfy * py, sfx * qx + sfy * qy,  //
               s, spx, sqx, spy, sqy,                                                    //
               spx * px + spy * py, spx * qx + spy * qy, sqx * qx + sqy * qy,            //
               sfx * Lx + sfy * Ly, s * Lx, s * Ly, spx * Lx + spy * Ly, sqx * Lx + sqy * Ly);
    }
    sums.AddTo(slot.Sum[0]);
  }

  void Flush(AssemblyCameraSums& slot) {
    if (slot.nCamera < 0) return;
    double t[AssemblyCameraSums::kSums];
    for (int k = 0; k < AssemblyCameraSums::kSums; ++k) {
      t[k] = SumOfLanes(LoadLanes(slot.Sum[k]));
      StoreLanes(slot.Sum[k], Lanes{});
    }
    const double full[kIopSize][kIopSize + 1] = {{t[0], t[1], t[2], t[3], t[4], t[13]},
                                                 {t[1], t[5], 0, t[6], t[7], t[14]},
                                                 {t[2], 0, t[5], t[8], t[9], t[15]},
                                                 {t[3], t[6], t[8], t[10], t[11], t[16]},
                                                 {t[4], t[7], t[9], t[11], t[12], t[17]}};
    double* block = cameraBlocks + int64_t{40} * slot.nCamera;
    for (int r = 0; r < kIopSize; ++r) {
      for (int c = 0; c <= kIopSize; ++c) block[8 * r + c] += full[r][c];
    }
    slot.nCamera = -1;
  }

  /// For batches of many cameras.
  void AddOneByOne(int32_t rayNum) {
    for (int32_t k = 0; k < rayNum; ++k) {
      const double* x = rays[k].Row[0] + rowOffset;
      const double* y = rays[k].Row[1] + rowOffset;
      const double weight = rays[k].fWeight;
      const Row8 sx = Row8::Scaled(weight, Row8::Load(x)), sy = Row8::Scaled(weight, Row8::Load(y));
      double* block = cameraBlocks + int64_t{40} * rays[k].nCamera;
      for (int r = 0; r < kIopSize; ++r) {
        Row8 sum = Row8::Load(block + 8 * r);
        sum.AddScaled(x[r], sx);
        sum.AddScaled(y[r], sy);
        sum.Store(block + 8 * r);
      }
    }
  }

  const Ray* rays;
  double* columns;
  int64_t columnSize;
  AssemblyCameraSums* slots;
  double* cameraBlocks;
  int rowOffset;
  int nNextSlot = 0;
};

}  // namespace
}  // namespace orvo
