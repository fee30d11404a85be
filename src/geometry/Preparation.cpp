#include "geometry/Preparation.h"

#include <limits>

#include "records/BlockLayout.h"

namespace orvo {
namespace {

bool Fit(const LayoutSizes& sizes) {
  constexpr int64_t limit = std::numeric_limits<int32_t>::max();
  return sizes.nBlockRows <= limit && sizes.nUnknowns <= limit && sizes.nDiagonal <= limit &&
         sizes.nDiagonalUpper <= limit;
}

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

}  // namespace

LayoutFault LayOutUnknowns(const AdjustmentSettings& settings, const ImageTable& images,
                           const CameraTable& cameras, RunLimits& limits, UnknownCounts& unknowns) {
  unknowns.nEopSize = kEopSize;
  unknowns.nIopSize = kIopSize;
  if (!settings.Set_EOP_Unknown && !settings.Set_IOP_Unknown) return LayoutFault::NoUnknown;
  unknowns.nLayoutMode = ChooseLayout(settings.Set_EOP_Unknown, settings.Set_IOP_Unknown,
                                      cameras.nCameraNum == images.nUnknownImageNum);
  if (unknowns.nLayoutMode != LayoutIop) unknowns.nPosSize += PreparePosUnknowns(images.nGroupNum, limits);
  const UnknownLayout layout = LayoutOf(unknowns, images, cameras);
  LayoutSizes sizes = SizesOf(layout.Runs(limits.UsesPos() ? images.nGroupNum : 0));
  sizes.nBlockRows += unknowns.nBlockRowNum;
  sizes.nUnknowns += unknowns.nUnknownNum;
  if (!Fit(sizes)) return LayoutFault::TooLarge;
  unknowns.nBlockRowNum = static_cast<int32_t>(sizes.nBlockRows);
  unknowns.nUnknownNum = static_cast<int32_t>(sizes.nUnknowns);
  unknowns.nDiagSize = static_cast<int32_t>(sizes.nDiagonal);
  unknowns.nDiagUpperSize = static_cast<int32_t>(sizes.nDiagonalUpper);
  return LayoutFault::None;
}

const char* MessageOf(LayoutFault fault) {
  return fault == LayoutFault::TooLarge ? "Error!Not enough memory for normal matrix!\n"
                                        : "Error!No unknown parameter is defined!\n";
}

}  // namespace orvo
