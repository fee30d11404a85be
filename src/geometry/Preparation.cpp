// What the unknowns of an adjustment are, how many, and whether their equations fit in memory.
#include <algorithm>
#include <limits>
#include <new>

#include "base/MemoryPurpose.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

/// With this many control points the block is transformed onto them first.
constexpr int32_t kControlPointsForTransform = 4;

/// Sizes of the reduced system, wide enough for any block.
struct SystemSizes {
  int64_t blockRows, unknowns, diagonal, diagonalUpper;

  void AddBlocks(int64_t count, int64_t size) {
    blockRows += count;
    unknowns += count * size;
    diagonal += count * size * size;
    diagonalUpper += count * size * (size + 1) / 2;
  }
  bool Fit() const {
    constexpr int64_t limit = std::numeric_limits<int32_t>::max();
    return blockRows <= limit && unknowns <= limit && diagonal <= limit && diagonalUpper <= limit;
  }
};

LayoutMode ChooseLayout(bool eopUnknown, bool iopUnknown, bool oneCameraPerImage) {
  if (!iopUnknown) return LayoutEop;
  if (!eopUnknown) return LayoutIop;
  return oneCameraPerImage ? LayoutMergedEopIop : LayoutEopIop;
}

}  // namespace

int CBundleAdjustment::PrepareAdjustment() {
  const MemoryPurpose purpose("the unknowns");
  nEopSize = 6;
  nIopSize = 5;
  if (!Set_EOP_Unknown && !Set_IOP_Unknown) {
    LogPrintf("Error!No unknown parameter is defined!\n");
    return 0;
  }
  nLayoutMode = ChooseLayout(Set_EOP_Unknown, Set_IOP_Unknown, nCameraNum == nUnknownImageNum);
  if (nLayoutMode != LayoutIop) PreparePosUnknowns();
  if (CountUnknowns() == 0 || AllocateUnknowns() == 0) {
    LogPrintf("Error!Not enough memory for normal matrix!\n");
    return 0;
  }
  // A project that lost all of its images has nothing to adjust, and must not replace the results of one that
  // had.
  if (nUnknownImageNum < 1 || nUnknownNum == 0) {
    LogPrintf("Error!No unknown parameter is defined!\n");
    return 0;
  }
  return TransformToObjectFrame();
}

void CBundleAdjustment::PreparePosUnknowns() {
  if (!Correct_Const_Error && !Correct_LinearError) Correct_Const_Error = true;
  if (nGroupNum < 2) {
    // A single strip can't tell drift from orientation.
    GPS_WeightXY = 0.001;
    GPS_WeightZ = 0.00001;
    Correct_LinearError = false;
  }
  const int32_t perSensor = 3 * (Correct_Const_Error + Correct_LinearError);
  if (Apply_GPS_Data) nPosSize += perSensor;
  if (Apply_IMU_Data) nPosSize += perSensor;
}

int CBundleAdjustment::CountUnknowns() {
  SystemSizes sizes{nBlockRowNum, nUnknownNum, 0, 0};
  switch (nLayoutMode) {
    case LayoutEop:
      sizes.AddBlocks(nUnknownImageNum, nEopSize);
      break;
    case LayoutIop:
      sizes.AddBlocks(nCameraNum, nIopSize);
      break;
    case LayoutMergedEopIop:
      sizes.AddBlocks(nUnknownImageNum, nEopSize + nIopSize);
      break;
    default:
      sizes.AddBlocks(nUnknownImageNum, nEopSize);
      sizes.AddBlocks(nCameraNum, nIopSize);
  }
  if (nLayoutMode != LayoutIop && (Apply_GPS_Data || Apply_IMU_Data)) sizes.AddBlocks(nGroupNum, nPosSize);
  if (!sizes.Fit()) return 0;
  nBlockRowNum = static_cast<int32_t>(sizes.blockRows);
  nUnknownNum = static_cast<int32_t>(sizes.unknowns);
  nDiagSize = static_cast<int32_t>(sizes.diagonal);
  nDiagUpperSize = static_cast<int32_t>(sizes.diagonalUpper);
  return 1;
}

int CBundleAdjustment::AllocateUnknowns() {
  const int64_t elementCount = static_cast<int64_t>(nUnknownNum) * nUnknownNum;
  const bool isDense = !Apply_GPU && !Apply_PCG_Model;
  if (isDense) {
    // Elements against bytes, so that matrices up to 7.2 times the free memory pass. Deliberate.
    const auto freeBytes = static_cast<double>(std::max<int64_t>(System.FreePhysicalBytes(), 0));
    if (static_cast<double>(elementCount) / freeBytes > 0.9) return 0;
  }
  try {
    const AnswersLackOfMemory answers;
    if (nGroupNum > 0) {
      pPosParams.assign(static_cast<size_t>(nGroupNum) * static_cast<size_t>(nPosSize), 0.0);
    }
    pConstVector.assign(static_cast<size_t>(nUnknownNum), 0.0);
    pSubMatrixRows.assign(static_cast<size_t>(nBlockRowNum), SubMatrixRow());
    if (isDense) pDenseNormal = ZeroedArray(static_cast<size_t>(elementCount), false);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return 1;
}

int CBundleAdjustment::TransformToObjectFrame() {
  if (nControlPointNum >= kControlPointsForTransform) {
    if (ComputeSevenParametersFromGcp(szGcpPath) != 1) {
      LogPrintf("Error! Compute Seven Parameters with GCP failed!\n");
      return -1;
    }
    ApplySevenParameters();
    bSevenParamApplied = true;
  } else if (Apply_GPS_Data) {
    ComputeSevenParametersFromGps();
    ApplySevenParameters();
  }
  return 1;
}

}  // namespace orvo
