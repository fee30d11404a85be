// What the user asks for. The fields bear the names of their keys.
#pragma once

#include <cstdint>

namespace orvo {

/// Written by the readers of settings and nobody else. What a run makes of them stands in RunLimits.
struct AdjustmentSettings {
  bool Apply_GPU = false;
  bool Apply_PCG_Model = false;
  bool Set_IOP_Unknown = true;
  bool Set_EOP_Unknown = true;
  bool Apply_GPS_Data = false;
  bool Apply_IMU_Data = false;
  bool Correct_Const_Error = true;
  bool Correct_LinearError = true;
  bool Output_Image_Point_RMSE = true;
  bool Coor_Normalization = true;
  bool Direct_Intersection = false;
  bool Absolute_Orientation = false;
  bool Resampling_Points = true;
  bool bMultiThread = true;

  int32_t Point_Thinned_Interval = 1;
  int32_t Block_Num = 64;
  int32_t Max_PCG_Iteration_Num = 1;
  int32_t Max_LM_Iteration_Num = 20;
  int32_t Free_LM_Iteration_Num = 4;
  int32_t GCP_LM_Iteration_Num = 4;
  int32_t Min_Image_Point_Num = 2;
  int32_t Point_Resample_Number = 6;
  int32_t nThreadNum = 0;  ///< assembly threads

  double Damping_Coefficient = 0.001;
  double fDampingBase = 1000.0;
  double Image_Coor_Scale = 0.001;
  double Object_Coor_Scale = 1.0;
  double LM_Converge_Threshold = 1e-5;
  double PCG_Converge_Threshold = 1e-6;
  double PCG_IGN_Converge_Threshold = 0.1;
  double Gross_Point_Threshold = 5.0;
  double Aircraft_Speed = 100.0;
  double Gross_Point_Weight = 1e-6;
  double Initial_Weight = 1.0;
  double GCP_Weight = 100.0;
  double GPS_WeightXY = 0.01;
  double GPS_WeightZ = 0.01;
  double IMU_Weight = 0.01;
};

}  // namespace orvo
