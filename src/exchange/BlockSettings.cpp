#include "exchange/BlockSettings.h"

#include <fmt/format.h>

namespace orvo::exchange {
namespace {

constexpr int64_t kMostDenseUnknowns = 6000;

constexpr char kText[] = R"(<Adjustment_parameters>
  <Direct_Intersection>false</Direct_Intersection>
  <Absolute_Orientation>false</Absolute_Orientation>
  <Resampling_Points>false</Resampling_Points>
  <Apply_PCG_Model>{}</Apply_PCG_Model>
  <Set_EOP_Unknown>true</Set_EOP_Unknown>
  <Set_IOP_Unknown>true</Set_IOP_Unknown>
  <Coor_Normalization>true</Coor_Normalization>
  <Output_Image_Point_RMSE>true</Output_Image_Point_RMSE>
  <Image_Coor_Scale>0.001</Image_Coor_Scale>
  <Object_Coor_Scale>1.0</Object_Coor_Scale>
  <Damping_Coefficient>0.001</Damping_Coefficient>
  <PCG_Converge_Threshold>1e-6</PCG_Converge_Threshold>
  <PCG_IGN_Converge_Threshold>0.1</PCG_IGN_Converge_Threshold>
  <LM_Converge_Threshold>1e-5</LM_Converge_Threshold>
  <Gross_Point_Threshold>5.0</Gross_Point_Threshold>
  <Max_PCG_Iteration_Num>300</Max_PCG_Iteration_Num>
  <Max_LM_Iteration_Num>20</Max_LM_Iteration_Num>
  <Free_LM_Iteration_Num>8</Free_LM_Iteration_Num>
  <GCP_LM_Iteration_Num>8</GCP_LM_Iteration_Num>
  <Min_Image_Point_Num>2</Min_Image_Point_Num>
  <Point_Thinned_Interval>1</Point_Thinned_Interval>
  <Point_Resample_Number>6</Point_Resample_Number>
</Adjustment_parameters>
<POS_parameters>
  <Apply_GPS_Data>false</Apply_GPS_Data>
  <Apply_IMU_Data>false</Apply_IMU_Data>
  <Correct_Const_Error>true</Correct_Const_Error>
  <Correct_LinearError>false</Correct_LinearError>
  <Aircraft_Speed>0</Aircraft_Speed>
</POS_parameters>
<Weight>
  <Initial_Weight>1.0</Initial_Weight>
  <Gross_Point_Weigh>1e-6</Gross_Point_Weigh>
  <GPS_Accuracy_XY>1</GPS_Accuracy_XY>
  <GPS_Accuracy_Z>1</GPS_Accuracy_Z>
  <IMU_Accuracy>0.01</IMU_Accuracy>
  <GCP_Accuracy>1</GCP_Accuracy>
</Weight>
<GPU_parameters>
  <Apply_GPU>false</Apply_GPU>
</GPU_parameters>
)";

}  // namespace

std::string SettingsTextFor(int64_t imageNum, int64_t cameraNum) {
  return fmt::format(kText, 6 * imageNum + 5 * cameraNum > kMostDenseUnknowns);
}

}  // namespace orvo::exchange
