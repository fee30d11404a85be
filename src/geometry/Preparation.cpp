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
  Unknowns.nEopSize = 6;
  Unknowns.nIopSize = 5;
  if (!Settings.Set_EOP_Unknown && !Settings.Set_IOP_Unknown) {
    LogPrintf("Error!No unknown parameter is defined!\n");
    return 0;
  }
  Unknowns.nLayoutMode = ChooseLayout(Settings.Set_EOP_Unknown, Settings.Set_IOP_Unknown,
                                      Cameras.nCameraNum == Images.nUnknownImageNum);
  if (Unknowns.nLayoutMode != LayoutIop) PreparePosUnknowns();
  if (CountUnknowns() == 0 || AllocateUnknowns() == 0) {
    LogPrintf("Error!Not enough memory for normal matrix!\n");
    return 0;
  }
  // A project that lost all of its images has nothing to adjust, and must not replace the results of one that
  // had.
  if (Images.nUnknownImageNum < 1 || Unknowns.nUnknownNum == 0) {
    LogPrintf("Error!No unknown parameter is defined!\n");
    return 0;
  }
  return TransformToObjectFrame();
}

void CBundleAdjustment::PreparePosUnknowns() {
  if (!Limits.Correct_Const_Error && !Limits.Correct_LinearError) Limits.Correct_Const_Error = true;
  if (Images.nGroupNum < 2) {
    // A single strip can't tell drift from orientation.
    Limits.GPS_WeightXY = 0.001;
    Limits.GPS_WeightZ = 0.00001;
    Limits.Correct_LinearError = false;
  }
  const int32_t perSensor = 3 * (Limits.Correct_Const_Error + Limits.Correct_LinearError);
  if (Limits.Apply_GPS_Data) Unknowns.nPosSize += perSensor;
  if (Limits.Apply_IMU_Data) Unknowns.nPosSize += perSensor;
}

int CBundleAdjustment::CountUnknowns() {
  SystemSizes sizes{Unknowns.nBlockRowNum, Unknowns.nUnknownNum, 0, 0};
  switch (Unknowns.nLayoutMode) {
    case LayoutEop:
      sizes.AddBlocks(Images.nUnknownImageNum, Unknowns.nEopSize);
      break;
    case LayoutIop:
      sizes.AddBlocks(Cameras.nCameraNum, Unknowns.nIopSize);
      break;
    case LayoutMergedEopIop:
      sizes.AddBlocks(Images.nUnknownImageNum, Unknowns.nEopSize + Unknowns.nIopSize);
      break;
    default:
      sizes.AddBlocks(Images.nUnknownImageNum, Unknowns.nEopSize);
      sizes.AddBlocks(Cameras.nCameraNum, Unknowns.nIopSize);
  }
  if (Unknowns.nLayoutMode != LayoutIop && (Limits.Apply_GPS_Data || Limits.Apply_IMU_Data))
    sizes.AddBlocks(Images.nGroupNum, Unknowns.nPosSize);
  if (!sizes.Fit()) return 0;
  Unknowns.nBlockRowNum = static_cast<int32_t>(sizes.blockRows);
  Unknowns.nUnknownNum = static_cast<int32_t>(sizes.unknowns);
  Unknowns.nDiagSize = static_cast<int32_t>(sizes.diagonal);
  Unknowns.nDiagUpperSize = static_cast<int32_t>(sizes.diagonalUpper);
  return 1;
}

int CBundleAdjustment::AllocateUnknowns() {
  const int64_t elementCount = static_cast<int64_t>(Unknowns.nUnknownNum) * Unknowns.nUnknownNum;
  const bool isDense = !Limits.Apply_GPU && !Limits.Apply_PCG_Model;
  if (isDense) {
    // Elements against bytes, so that matrices up to 7.2 times the free memory pass. Deliberate.
    const auto freeBytes = static_cast<double>(std::max<int64_t>(System.FreePhysicalBytes(), 0));
    if (static_cast<double>(elementCount) / freeBytes > 0.9) return 0;
  }
  try {
    const AnswersLackOfMemory answers;
    if (Images.nGroupNum > 0) {
      Normal.pPosParams.assign(static_cast<size_t>(Images.nGroupNum) * static_cast<size_t>(Unknowns.nPosSize),
                               0.0);
    }
    Normal.pConstVector.assign(static_cast<size_t>(Unknowns.nUnknownNum), 0.0);
    Normal.pSubMatrixRows.assign(static_cast<size_t>(Unknowns.nBlockRowNum), SubMatrixRow());
    if (isDense) Normal.pDenseNormal = ZeroedArray(static_cast<size_t>(elementCount), false);
  } catch (const std::bad_alloc&) {
    return 0;
  }
  return 1;
}

int CBundleAdjustment::TransformToObjectFrame() {
  if (Points.nControlPointNum >= kControlPointsForTransform) {
    if (ComputeSevenParametersFromGcp(Paths.szGcpPath) != 1) {
      LogPrintf("Error! Compute Seven Parameters with GCP failed!\n");
      return -1;
    }
    ApplySevenParameters();
    Frame.bSevenParamApplied = true;
  } else if (Limits.Apply_GPS_Data) {
    ComputeSevenParametersFromGps();
    ApplySevenParameters();
  }
  return 1;
}

}  // namespace orvo
