// Settings that fit a generated block.
#include <algorithm>
#include <cmath>
#include <string>
#include <string_view>
#include <vector>

#include "synthetic/FixedText.h"
#include "synthetic/SyntheticFiles.h"

namespace orvo {
namespace {

constexpr double kImageScale = 0.001;

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

/// One setting in both forms; null where a form has no name for it.
struct FittingSetting {
  const char* szParent;
  const char* szElement;
  const char* szKey;
  std::string szXml, szColon;  ///< values
};

std::string Number(double value) { return fmt::format("{}", value); }

constexpr int64_t kMostDenseUnknowns = 6000;

bool HasOwnCameras(const SyntheticTruth& truth) {
  return truth.Counts.nImages > 1 && truth.Counts.nCameras == truth.Counts.nImages;
}

const char* FittingDamping(const SyntheticTruth& truth, bool sparse) {
  const bool control = truth.Counts.nControlPoints >= 4;
  // A camera of its own leaves an image with directions that its points hardly determine. The sparse form
  // runs away along them without damping; the dense form, whose damping of such a block is uneven, has to go
  // along them nearly undamped where control tells, and not too far where none does.
  if (HasOwnCameras(truth)) return sparse ? "1e-4" : control ? "1e-14" : "1e-10";
  // Without control points only the damping holds the block's frame.
  return control ? "1e-8" : "1e-4";
}

std::vector<FittingSetting> FitSettings(const SyntheticTruth& truth) {
  constexpr const char *kAdjust = "Adjustment_parameters", *kPos = "POS_parameters", *kWeight = "Weight";
  std::vector<FittingSetting> settings;
  const auto add = [&](const char* parent, const char* name, const std::string& value) {
    settings.push_back({parent, name, name, value, value});
  };
  const auto addSwitch = [&](const char* parent, const char* name, bool on) {
    settings.push_back({parent, name, name, on ? "true" : "false", on ? "1" : "0"});
  };
  for (const char* name : {"Direct_Intersection", "Absolute_Orientation", "Resampling_Points"}) {
    settings.push_back({kAdjust, name, nullptr, "false", ""});
  }
  const int64_t unknowns = 6 * truth.Counts.nImages + 5 * truth.Counts.nCameras;
  addSwitch(kAdjust, "Apply_PCG_Model", unknowns > kMostDenseUnknowns);
  addSwitch(kAdjust, "Set_EOP_Unknown", true);
  addSwitch(kAdjust, "Set_IOP_Unknown", true);
  addSwitch(kAdjust, "Coor_Normalization", true);
  addSwitch(kAdjust, "Output_Image_Point_RMSE", true);
  add(kAdjust, "Image_Coor_Scale", Number(kImageScale));
  add(kAdjust, "Object_Coor_Scale", "1.0");
  add(kAdjust, "Damping_Coefficient", FittingDamping(truth, unknowns > kMostDenseUnknowns));
  add(kAdjust, "PCG_Converge_Threshold", "1e-6");
  add(kAdjust, "PCG_IGN_Converge_Threshold", "0.1");
  add(kAdjust, "LM_Converge_Threshold", "1e-5");
  add(kAdjust, "Gross_Point_Threshold", "5.0");
  add(kAdjust, "Max_PCG_Iteration_Num", "300");
  add(kAdjust, "Max_LM_Iteration_Num", "20");
  const char* held = HasOwnCameras(truth) ? "18" : "8";
  add(kAdjust, "Free_LM_Iteration_Num", held);
  add(kAdjust, "GCP_LM_Iteration_Num", held);
  add(kAdjust, "Min_Image_Point_Num", "2");
  add(kAdjust, "Point_Thinned_Interval", "1");
  settings.push_back({kAdjust, "Point_Resample_Number", nullptr, "6", ""});
  addSwitch(kPos, "Apply_GPS_Data", false);
  addSwitch(kPos, "Apply_IMU_Data", false);
  addSwitch(kPos, "Correct_Const_Error", true);
  addSwitch(kPos, "Correct_LinearError", true);
  add(kPos, "Aircraft_Speed", Number(truth.Options.fAircraftSpeed));
  add(kWeight, "Initial_Weight", "1.0");
  settings.push_back({kWeight, "Gross_Point_Weigh", "Gross_Point_Weight", "1e-6", "1e-6"});
  // The XML form takes 0.001 over its value for the weight of a position, and 1 over it for control points.
  const double gps = GpsWeight(truth);
  settings.push_back({kWeight, "GPS_Accuracy_XY", "GPS_WeightXY", Number(0.001 / gps), Number(gps)});
  settings.push_back({kWeight, "GPS_Accuracy_Z", "GPS_WeightZ", Number(0.001 / gps), Number(gps)});
  settings.push_back({kWeight, "IMU_Accuracy", "IMU_Weight", "0.01", "0.01"});
  settings.push_back({kWeight, "GCP_Accuracy", "GCP_Weight", "1.0", "1.0"});
  addSwitch("GPU_parameters", "Apply_GPU", false);
  return settings;
}

}  // namespace

bool WriteSyntheticXml(const std::string& path, const SyntheticTruth& truth) {
  TextWriter file;
  if (!file.Open(path)) return false;
  {
    FixedText out(file);
    std::string_view parent;
    for (const FittingSetting& setting : FitSettings(truth)) {
      if (setting.szParent != parent) {
        if (!parent.empty()) out.Format("</{}>\n", parent);
        parent = setting.szParent;
        out.Format("<{}>\n", parent);
      }
      out.Format("  <{0}>{1}</{0}>\n", setting.szElement, setting.szXml);
    }
    out.Format("</{}>\n", parent);
  }
  return file.Close();
}

bool WriteSyntheticIni(const std::string& path, const SyntheticTruth& truth) {
  TextWriter file;
  if (!file.Open(path)) return false;
  {
    FixedText out(file);
    out.Text(
        "Tie points are thinned whenever settings of this form are used; AdjPara.xml can switch that off\n");
    for (const FittingSetting& setting : FitSettings(truth)) {
      if (setting.szKey != nullptr) out.Format("{}:{}\n", setting.szKey, setting.szColon);
    }
  }
  return file.Close();
}

}  // namespace orvo
