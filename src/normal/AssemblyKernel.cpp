#include "normal/AssemblyKernel.h"

#include <algorithm>
#include <cmath>

#include "geometry/OrvoMatrix.h"

namespace orvo {

int32_t OwnBlockSize(int32_t layoutMode) {
  switch (layoutMode) {
    case LayoutIop:
      return 5 * 8;
    case LayoutMergedEopIop:
      return 11 * 12;
    case LayoutEopIop:
      return 6 * 16;
    default:
      return 6 * 8;
  }
}

AssemblyScratch::AssemblyScratch(int64_t measurementNum, const UnknownLayout& layout) {
  // The lanes behind the last measurement are computed too.
  const size_t rayNum = static_cast<size_t>(std::max<int64_t>(measurementNum, kBatch)) + 8;
  Rays.resize(rayNum);
  Nodes.resize(rayNum);
  G = ZeroedArray(rayNum * 48);
  N = ZeroedArray(rayNum * 48);
  if (layout.nLayoutMode == LayoutEopIop) {
    Cameras.resize(rayNum + kBatch);
    OwnCamera.assign(static_cast<size_t>(layout.FirstRows()), -1);
  }
  Points.resize(kBatch + 8);
  nColumnSize = static_cast<int64_t>((rayNum + 7) / 8 * 8);
  Columns = ZeroedArray(static_cast<size_t>(nColumnSize) * kAssemblyColumns);
  Order.resize(rayNum);
  Own = ZeroedArray(static_cast<size_t>(layout.FirstRows()) *
                    static_cast<size_t>(OwnBlockSize(layout.nLayoutMode)));
  CameraOwn = ZeroedArray(static_cast<size_t>(layout.SecondRows()) * 40);
  for (AssemblyCameraSums& sums : CameraSums) sums = {.Sum = {}, .nCamera = -1};
}

std::vector<AssemblyKernels> UsableAssemblyKernels() {
  return ForUsableSets([]<InstructionSet kSet>() { return AssemblyKernelsOf<kSet>(); });
}

void SortManyRays(int32_t* order, int32_t count, const AssemblyRay* rays, int32_t AssemblyRay::*key) {
  std::stable_sort(order, order + count, [=](int32_t a, int32_t b) { return rays[a].*key < rays[b].*key; });
}

void RememberMissingBlock(AssemblyOutput& out, const MissingBlock& block) { out.pMissing->push_back(block); }

bool InvertPointMatrix(double* M) {
  double full[9] = {M[0], M[1], M[2], M[1], M[3], M[4], M[2], M[4], M[5]};
  if (InvertGaussJordan(full, 3) != 1) return false;
  for (const double element : full) {
    if (!std::isfinite(element)) return false;
  }
  const int upper[6] = {0, 1, 2, 4, 5, 8};
  for (int k = 0; k < 6; ++k) M[k] = full[upper[k]];
  return true;
}

}  // namespace orvo
