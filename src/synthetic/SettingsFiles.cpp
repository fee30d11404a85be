// Settings that fit a generated block.
#include <algorithm>
#include <cmath>

#include "synthetic/FixedText.h"
#include "synthetic/SyntheticFiles.h"

namespace orvo {
namespace {

constexpr double kImageScale = 0.001;

struct FittingValues {
  bool bPcg = false;
  double fDamping = 0;
  int32_t nFreeIterations = 8;
  double fGpsWeightXy = 0, fGpsWeightZ = 0, fImuWeight = 0.01, fGcpWeight = 1;
};

/// Weight of a POS position against an image coordinate of weight 1, in the working units of a normalised
/// adjustment: image lengths times kImageScale, the longest side of the block 1000 units.
double GpsWeight(const SyntheticTruth& truth) {
  double low[3] = {HUGE_VAL, HUGE_VAL, HUGE_VAL}, high[3] = {-HUGE_VAL, -HUGE_VAL, -HUGE_VAL};
  for (const SyntheticImage& image : truth.pImages) {
    const double position[3] = {image.X, image.Y, image.Z};
    for (int i = 0; i < 3; ++i) {
      low[i] = std::min(low[i], position[i]);
      high[i] = std::max(high[i], position[i]);
    }
  }
  const double extent = std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2], 1.0});
  const double sigmaImage = kImageScale * std::max(truth.Options.fNoise, 0.1);
  const double sigmaPos = 1000 / extent * std::max(truth.Options.fPosNoise, 0.01);
  return sigmaImage * sigmaImage / (sigmaPos * sigmaPos);
}

FittingValues Fit(const SyntheticTruth& truth) {
  FittingValues values;
  const auto unknowns = 6 * truth.Counts.nImages + 5 * truth.Counts.nCameras;
  values.bPcg = unknowns > 6000;
  // Without control points only the damping holds the block's frame.
  values.fDamping = truth.Counts.nControlPoints >= 4 ? 1e-8 : 1e-4;
  values.fGpsWeightXy = values.fGpsWeightZ = GpsWeight(truth);
  return values;
}

const char* Switch(bool value) { return value ? "true" : "false"; }

}  // namespace

bool WriteSyntheticXml(const std::string& path, const SyntheticTruth& truth) {
  const FittingValues values = Fit(truth);
  TextWriter file;
  if (!file.Open(path)) return false;
  {
    FixedText out(file);
    out.Text(
        "<Adjustment_parameters>\n"
        "  <Direct_Intersection>false</Direct_Intersection>\n"
        "  <Absolute_Orientation>false</Absolute_Orientation>\n"
        "  <Resampling_Points>false</Resampling_Points>\n");
    out.Format("  <Apply_PCG_Model>{}</Apply_PCG_Model>\n", Switch(values.bPcg));
    out.Text(
        "  <Set_EOP_Unknown>true</Set_EOP_Unknown>\n"
        "  <Set_IOP_Unknown>true</Set_IOP_Unknown>\n"
        "  <Coor_Normalization>true</Coor_Normalization>\n"
        "  <Output_Image_Point_RMSE>true</Output_Image_Point_RMSE>\n");
    out.Format("  <Image_Coor_Scale>{}</Image_Coor_Scale>\n", kImageScale);
    out.Text("  <Object_Coor_Scale>1.0</Object_Coor_Scale>\n");
    out.Format("  <Damping_Coefficient>{}</Damping_Coefficient>\n", values.fDamping);
    out.Text(
        "  <PCG_Converge_Threshold>1e-6</PCG_Converge_Threshold>\n"
        "  <PCG_IGN_Converge_Threshold>0.1</PCG_IGN_Converge_Threshold>\n"
        "  <LM_Converge_Threshold>1e-5</LM_Converge_Threshold>\n"
        "  <Gross_Point_Threshold>5.0</Gross_Point_Threshold>\n"
        "  <Max_PCG_Iteration_Num>300</Max_PCG_Iteration_Num>\n"
        "  <Max_LM_Iteration_Num>20</Max_LM_Iteration_Num>\n");
    out.Format("  <Free_LM_Iteration_Num>{}</Free_LM_Iteration_Num>\n", values.nFreeIterations);
    out.Format("  <GCP_LM_Iteration_Num>{}</GCP_LM_Iteration_Num>\n", values.nFreeIterations);
    out.Text(
        "  <Min_Image_Point_Num>2</Min_Image_Point_Num>\n"
        "  <Point_Thinned_Interval>1</Point_Thinned_Interval>\n"
        "  <Point_Resample_Number>6</Point_Resample_Number>\n"
        "</Adjustment_parameters>\n"
        "<POS_parameters>\n"
        "  <Apply_GPS_Data>false</Apply_GPS_Data>\n"
        "  <Apply_IMU_Data>false</Apply_IMU_Data>\n"
        "  <Correct_Const_Error>true</Correct_Const_Error>\n"
        "  <Correct_LinearError>true</Correct_LinearError>\n");
    out.Format("  <Aircraft_Speed>{}</Aircraft_Speed>\n", truth.Options.fAircraftSpeed);
    out.Text(
        "</POS_parameters>\n"
        "<Weight>\n"
        "  <Initial_Weight>1.0</Initial_Weight>\n"
        "  <Gross_Point_Weigh>1e-6</Gross_Point_Weigh>\n");
    // This form takes 0.001 over the value for the weight of a position, and 1 over it for control points.
    out.Format("  <GPS_Accuracy_XY>{}</GPS_Accuracy_XY>\n", 0.001 / values.fGpsWeightXy);
    out.Format("  <GPS_Accuracy_Z>{}</GPS_Accuracy_Z>\n", 0.001 / values.fGpsWeightZ);
    out.Format("  <IMU_Accuracy>{}</IMU_Accuracy>\n", values.fImuWeight);
    out.Format("  <GCP_Accuracy>{}</GCP_Accuracy>\n", 1 / values.fGcpWeight);
    out.Text(
        "</Weight>\n"
        "<GPU_parameters>\n"
        "  <Apply_GPU>false</Apply_GPU>\n"
        "</GPU_parameters>\n");
  }
  return file.Close();
}

bool WriteSyntheticIni(const std::string& path, const SyntheticTruth& truth) {
  const FittingValues values = Fit(truth);
  TextWriter file;
  if (!file.Open(path)) return false;
  {
    FixedText out(file);
    out.Text(
        "Tie points are thinned whenever settings of this form are used; AdjPara.xml can switch that off\n");
    out.Format("Apply_PCG_Model:{}\n", values.bPcg ? 1 : 0);
    out.Text(
        "Set_EOP_Unknown:1\n"
        "Set_IOP_Unknown:1\n"
        "Coor_Normalization:1\n"
        "Output_Image_Point_RMSE:1\n");
    out.Format("Image_Coor_Scale:{}\n", kImageScale);
    out.Text("Object_Coor_Scale:1.0\n");
    out.Format("Damping_Coefficient:{}\n", values.fDamping);
    out.Text(
        "PCG_Converge_Threshold:1e-6\n"
        "PCG_IGN_Converge_Threshold:0.1\n"
        "LM_Converge_Threshold:1e-5\n"
        "Gross_Point_Threshold:5.0\n"
        "Max_PCG_Iteration_Num:300\n"
        "Max_LM_Iteration_Num:20\n");
    out.Format("Free_LM_Iteration_Num:{}\n", values.nFreeIterations);
    out.Format("GCP_LM_Iteration_Num:{}\n", values.nFreeIterations);
    out.Text(
        "Min_Image_Point_Num:2\n"
        "Point_Thinned_Interval:1\n"
        "Apply_GPS_Data:0\n"
        "Apply_IMU_Data:0\n"
        "Correct_Const_Error:1\n"
        "Correct_LinearError:1\n");
    out.Format("Aircraft_Speed:{}\n", truth.Options.fAircraftSpeed);
    out.Text(
        "Initial_Weight:1.0\n"
        "Gross_Point_Weight:1e-6\n");
    out.Format("GPS_WeightXY:{}\n", values.fGpsWeightXy);
    out.Format("GPS_WeightZ:{}\n", values.fGpsWeightZ);
    out.Format("IMU_Weight:{}\n", values.fImuWeight);
    out.Format("GCP_Weight:{}\n", values.fGcpWeight);
    out.Text("Apply_GPU:0\n");
  }
  return file.Close();
}

}  // namespace orvo
