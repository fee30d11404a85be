// The settings in force: what a run derives from the settings, or overwrites on its way.
#pragma once

#include <cstdint>

#include "records/AdjustmentSettings.h"
#include "records/ResidualExtent.h"

namespace orvo {

/// Each field begins as the setting of its name.
struct RunLimits {
  bool Apply_GPU = false;           ///< off again where no device is found
  bool Apply_PCG_Model = false;     ///< on with a device
  bool Coor_Normalization = true;   ///< on with a device
  bool Apply_GPS_Data = false;      ///< off without a readable POS file
  bool Apply_IMU_Data = false;      ///< the same
  bool Correct_Const_Error = true;  ///< on where neither kind of drift is asked for
  bool Correct_LinearError = true;

  int32_t nThreadNum = 0;              ///< assembly threads that the memory holds
  int32_t Max_PCG_Iteration_Num = 1;   ///< by iteration
  int32_t Point_Thinned_Interval = 1;  ///< 1 once every point is to be written
  double PCG_IGN_Converge_Threshold = 0.1;
  double GPS_WeightXY = 0.01;
  double GPS_WeightZ = 0.01;

  // No settings.
  bool bAllProcessors = false;  ///< the assembly leaves none idle
  ResidualExtent Residuals = ResidualExtent::All;

  bool UsesPos() const { return Apply_GPS_Data || Apply_IMU_Data; }
};

/// What a run begins with.
inline RunLimits LimitsOf(const AdjustmentSettings& settings) {
  return {settings.Apply_GPU,
          settings.Apply_PCG_Model,
          settings.Coor_Normalization,
          settings.Apply_GPS_Data,
          settings.Apply_IMU_Data,
          settings.Correct_Const_Error,
          settings.Correct_LinearError,
          settings.nThreadNum,
          settings.Max_PCG_Iteration_Num,
          settings.Point_Thinned_Interval,
          settings.PCG_IGN_Converge_Threshold,
          settings.GPS_WeightXY,
          settings.GPS_WeightZ,
          false,
          ResidualExtent::All};
}

/// False where cameras stay as they were read.
inline bool AdjustsCameras(const AdjustmentSettings& settings, const RunLimits& limits) {
  return settings.Set_IOP_Unknown && !settings.Direct_Intersection &&
         (limits.Apply_GPU || !settings.Absolute_Orientation);
}

}  // namespace orvo
