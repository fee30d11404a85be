#include "settings/SettingsTable.h"

namespace orvo {
namespace {

using C = AdjustmentSettings;

constexpr const char* kAdjustment = "Adjustment_parameters";
constexpr const char* kPos = "POS_parameters";
constexpr const char* kWeight = "Weight";
constexpr const char* kGpu = "GPU_parameters";

// In the XML form the names of the weights are not those of the colon form, and Gross_Point_Weigh lacks its
// last letter: files in use are written that way.
const Setting kSettings[] = {
    {&C::Direct_Intersection, "Direct_Intersection", nullptr, "Direct_Intersection", kAdjustment},
    {&C::Absolute_Orientation, "Absolute_Orientation", nullptr, "Absolute_Orientation", kAdjustment},
    {&C::Resampling_Points, "Resampling_Points", nullptr, "Resampling_Points", kAdjustment},
    {&C::Apply_PCG_Model, "Apply_PCG_Model", "Apply_PCG_Model", "Apply_PCG_Model", kAdjustment},
    {&C::Set_EOP_Unknown, "Set_EOP_Unknown", "Set_EOP_Unknown", "Set_EOP_Unknown", kAdjustment},
    {&C::Set_IOP_Unknown, "Set_IOP_Unknown", "Set_IOP_Unknown", "Set_IOP_Unknown", kAdjustment},
    {&C::Coor_Normalization, "Coor_Normalization", "Coor_Normalization", "Coor_Normalization", kAdjustment},
    {&C::Output_Image_Point_RMSE, "Output_Image_Point_RMSE", "Output_Image_Point_RMSE",
     "Output_Image_Point_RMSE", kAdjustment},
    {&C::Image_Coor_Scale, "Image_Coor_Scale", "Image_Coor_Scale", "Image_Coor_Scale", kAdjustment},
    {&C::Object_Coor_Scale, "Object_Coor_Scale", "Object_Coor_Scale", "Object_Coor_Scale", kAdjustment},
    {&C::Damping_Coefficient, "Damping_Coefficient", "Damping_Coefficient", "Damping_Coefficient",
     kAdjustment},
    {&C::PCG_Converge_Threshold, "PCG_Converge_Threshold", "PCG_Converge_Threshold", "PCG_Converge_Threshold",
     kAdjustment},
    {&C::PCG_IGN_Converge_Threshold, "PCG_IGN_Converge_Threshold", "PCG_IGN_Converge_Threshold",
     "PCG_IGN_Converge_Threshold", kAdjustment},
    {&C::LM_Converge_Threshold, "LM_Converge_Threshold", "LM_Converge_Threshold", "LM_Converge_Threshold",
     kAdjustment},
    {&C::Gross_Point_Threshold, "Gross_Point_Threshold", "Gross_Point_Threshold", "Gross_Point_Threshold",
     kAdjustment},
    {&C::Max_PCG_Iteration_Num, "Max_PCG_Iteration_Num", "Max_PCG_Iteration_Num", "Max_PCG_Iteration_Num",
     kAdjustment},
    {&C::Max_LM_Iteration_Num, "Max_LM_Iteration_Num", "Max_LM_Iteration_Num", "Max_LM_Iteration_Num",
     kAdjustment},
    {&C::Free_LM_Iteration_Num, "Free_LM_Iteration_Num", "Free_LM_Iteration_Num", "Free_LM_Iteration_Num",
     kAdjustment},
    {&C::GCP_LM_Iteration_Num, "GCP_LM_Iteration_Num", "GCP_LM_Iteration_Num", "GCP_LM_Iteration_Num",
     kAdjustment},
    {&C::Min_Image_Point_Num, "Min_Image_Point_Num", "Min_Image_Point_Num", "Min_Image_Point_Num",
     kAdjustment},
    {&C::Point_Thinned_Interval, "Point_Thinned_Interval", "Point_Thinned_Interval", "Point_Thinned_Interval",
     kAdjustment},
    {&C::Point_Resample_Number, "Point_Resample_Number", nullptr, "Point_Resample_Number", kAdjustment},
    {&C::Apply_GPS_Data, "Apply_GPS_Data", "Apply_GPS_Data", "Apply_GPS_Data", kPos},
    {&C::Apply_IMU_Data, "Apply_IMU_Data", "Apply_IMU_Data", "Apply_IMU_Data", kPos},
    {&C::Correct_Const_Error, "Correct_Const_Error", "Correct_Const_Error", "Correct_Const_Error", kPos},
    {&C::Correct_LinearError, "Correct_LinearError", "Correct_LinearError", "Correct_LinearError", kPos},
    {&C::Aircraft_Speed, "Aircraft_Speed", "Aircraft_Speed", "Aircraft_Speed", kPos},
    {&C::Initial_Weight, "Initial_Weight", "Initial_Weight", "Initial_Weight", kWeight},
    {&C::Gross_Point_Weight, "Gross_Point_Weight", "Gross_Point_Weight", "Gross_Point_Weigh", kWeight},
    {&C::GPS_WeightXY, "GPS_WeightXY", "GPS_WeightXY", "GPS_Accuracy_XY", kWeight, XmlRule::MilliOverValue},
    {&C::GPS_WeightZ, "GPS_WeightZ", "GPS_WeightZ", "GPS_Accuracy_Z", kWeight, XmlRule::MilliOverValue},
    {&C::IMU_Weight, "IMU_Weight", "IMU_Weight", "IMU_Accuracy", kWeight},
    {&C::GCP_Weight, "GCP_Weight", "GCP_Weight", "GCP_Accuracy", kWeight, XmlRule::OneOverValue},
    {&C::Apply_GPU, "Apply_GPU", "Apply_GPU", "Apply_GPU", kGpu},
    {&C::Block_Num, "Block_Num", "Block_Num", nullptr, nullptr},
    {&C::nThreadNum, "nThreadNum", "Thread_Num", nullptr, nullptr},
};

}  // namespace

std::span<const Setting> SettingsTable() { return kSettings; }

}  // namespace orvo
