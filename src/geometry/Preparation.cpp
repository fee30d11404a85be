#include "geometry/Preparation.h"

#include <limits>

namespace orvo {
namespace {

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

/// Settles the switches of POS data, and the unknowns of one group.
int32_t PreparePosUnknowns(int32_t groupNum, RunLimits& limits) {
  if (!limits.Correct_Const_Error && !limits.Correct_LinearError) limits.Correct_Const_Error = true;
  if (groupNum < 2) {
    // A single strip can't tell drift from orientation.
    limits.GPS_WeightXY = 0.001;
    limits.GPS_WeightZ = 0.00001;
    limits.Correct_LinearError = false;
  }
  const int32_t perSensor = 3 * (limits.Correct_Const_Error + limits.Correct_LinearError);
  return (limits.Apply_GPS_Data ? perSensor : 0) + (limits.Apply_IMU_Data ? perSensor : 0);
}

SystemSizes SizesOf(const ImageTable& images, const CameraTable& cameras, bool pos,
                    const UnknownCounts& unknowns) {
  SystemSizes sizes{unknowns.nBlockRowNum, unknowns.nUnknownNum, 0, 0};
  switch (unknowns.nLayoutMode) {
    case LayoutEop:
      sizes.AddBlocks(images.nUnknownImageNum, unknowns.nEopSize);
      break;
    case LayoutIop:
      sizes.AddBlocks(cameras.nCameraNum, unknowns.nIopSize);
      break;
    case LayoutMergedEopIop:
      sizes.AddBlocks(images.nUnknownImageNum, unknowns.nEopSize + unknowns.nIopSize);
      break;
    default:
      sizes.AddBlocks(images.nUnknownImageNum, unknowns.nEopSize);
      sizes.AddBlocks(cameras.nCameraNum, unknowns.nIopSize);
  }
  if (unknowns.nLayoutMode != LayoutIop && pos) sizes.AddBlocks(images.nGroupNum, unknowns.nPosSize);
  return sizes;
}

}  // namespace

LayoutFault LayOutUnknowns(const AdjustmentSettings& settings, const ImageTable& images,
                           const CameraTable& cameras, RunLimits& limits, UnknownCounts& unknowns) {
  unknowns.nEopSize = 6;
  unknowns.nIopSize = 5;
  if (!settings.Set_EOP_Unknown && !settings.Set_IOP_Unknown) return LayoutFault::NoUnknown;
  unknowns.nLayoutMode = ChooseLayout(settings.Set_EOP_Unknown, settings.Set_IOP_Unknown,
                                      cameras.nCameraNum == images.nUnknownImageNum);
  if (unknowns.nLayoutMode != LayoutIop) unknowns.nPosSize += PreparePosUnknowns(images.nGroupNum, limits);
  const SystemSizes sizes =
      SizesOf(images, cameras, limits.Apply_GPS_Data || limits.Apply_IMU_Data, unknowns);
  if (!sizes.Fit()) return LayoutFault::TooLarge;
  unknowns.nBlockRowNum = static_cast<int32_t>(sizes.blockRows);
  unknowns.nUnknownNum = static_cast<int32_t>(sizes.unknowns);
  unknowns.nDiagSize = static_cast<int32_t>(sizes.diagonal);
  unknowns.nDiagUpperSize = static_cast<int32_t>(sizes.diagonalUpper);
  return LayoutFault::None;
}

const char* MessageOf(LayoutFault fault) {
  return fault == LayoutFault::TooLarge ? "Error!Not enough memory for normal matrix!\n"
                                        : "Error!No unknown parameter is defined!\n";
}

}  // namespace orvo
