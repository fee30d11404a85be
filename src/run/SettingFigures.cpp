#include "run/SettingFigures.h"

#include <algorithm>

#include "settings/SettingValues.h"

namespace orvo {
namespace {

bool IsConsulted(const Setting& setting) {
  for (const char* name : {"PCG_Converge_Threshold", "Min_Image_Point_Num", "Point_Thinned_Interval",
                           "IMU_Weight", "Block_Num"}) {
    if (std::string_view(setting.szName) == name) return false;
  }
  return true;
}

/// What stands for the settings at the end of a run.
AdjustmentSettings InForce(AdjustmentSettings settings, const RunLimits& limits) {
  settings.Apply_GPU = limits.Apply_GPU;
  settings.Apply_PCG_Model = limits.Apply_PCG_Model;
  settings.Coor_Normalization = limits.Coor_Normalization;
  settings.Apply_GPS_Data = limits.Apply_GPS_Data;
  settings.Apply_IMU_Data = limits.Apply_IMU_Data;
  settings.Correct_Const_Error = limits.Correct_Const_Error;
  settings.Correct_LinearError = limits.Correct_LinearError;
  settings.nThreadNum = limits.nThreadNum;
  settings.Max_PCG_Iteration_Num = limits.Max_PCG_Iteration_Num;
  settings.PCG_IGN_Converge_Threshold = limits.PCG_IGN_Converge_Threshold;
  settings.GPS_WeightXY = limits.GPS_WeightXY;
  settings.GPS_WeightZ = limits.GPS_WeightZ;
  settings.Initial_Weight = 1.0;
  settings.Gross_Point_Weight = 1e-6;
  return settings;
}

bool Holds(const SettingList& list, const Setting& setting) {
  return std::ranges::find(list, &setting) != list.end();
}

}  // namespace

std::vector<report::SettingFigure> SettingFiguresOf(const AdjustmentSettings& settings,
                                                    const RunLimits& limits, const SettingSources& sources,
                                                    DeviceChoice at) {
  using report::SettingOrigin;
  const AdjustmentSettings taken = InForce(settings, limits);
  const bool deviceNamed = at != DeviceChoice::FromSettings;
  std::vector<report::SettingFigure> figures;
  for (const Setting& setting : SettingsTable()) {
    if (!IsConsulted(setting)) continue;
    const std::string asked = ValueText(setting, settings), value = ValueText(setting, taken);
    SettingOrigin origin = SettingOrigin::Default;
    if (Holds(sources.InFile, setting)) origin = SettingOrigin::File;
    if (Holds(sources.OnCommandLine, setting)) origin = SettingOrigin::CommandLine;
    if (asked != value) origin = SettingOrigin::Run;
    const bool isDevice = std::string_view(setting.szName) == "Apply_GPU";
    if (isDevice && deviceNamed && taken.Apply_GPU == (at != DeviceChoice::Cpu))
      origin = SettingOrigin::CommandLine;
    figures.push_back({setting.szName, value, origin});
  }
  return figures;
}

}  // namespace orvo
