#include "run/RunDiagnosis.h"

#include "base/MemoryPurpose.h"
#include "block/ProjectForm.h"
#include "check/RigorousReading.h"
#include "check/SettingsDiagnosis.h"
#include "check/SurveyReading.h"
#include "check/reading/LossCheck.h"
#include "run/InputCheck.h"
#include "run/RunReckoning.h"
#include "run/SettingsReading.h"

namespace orvo {
namespace {

bool Adjusts(const AdjustmentSettings& settings) {
  return !settings.Direct_Intersection && !settings.Absolute_Orientation;
}

/// Settings that no run can work with, by their values.
void CheckValues(const std::string& path, const AdjustmentSettings& settings, Diagnosis& diagnosis) {
  if (settings.Image_Coor_Scale == 0.0 || settings.Object_Coor_Scale == 0.0)
    diagnosis.Add("A010", {path}, "Image_Coor_Scale or Object_Coor_Scale is 0, which makes everything 0",
                  "Write 0.001 and 1, or what belongs to the units of the block");
  const bool adjusts = Adjusts(settings);
  if (adjusts && !settings.Set_EOP_Unknown && !settings.Set_IOP_Unknown)
    diagnosis.Add("A011", {path}, "neither images nor cameras are unknowns",
                  "Set Set_EOP_Unknown or Set_IOP_Unknown");
  if (adjusts && settings.Resampling_Points && settings.Point_Resample_Number < 1)
    diagnosis.Add("A012", {path},
                  "Resampling_Points is on, and Point_Resample_Number is " +
                      std::to_string(settings.Point_Resample_Number),
                  "Write 6 for Point_Resample_Number, or switch Resampling_Points off");
}

/// Values with which a run ends as it begins, or with nothing that could be used.
void CheckOddValues(const std::string& path, const AdjustmentSettings& settings, Diagnosis& diagnosis) {
  if (!Adjusts(settings)) return;
  if (settings.Max_LM_Iteration_Num < 1)
    diagnosis.Add("A016", {path},
                  "Max_LM_Iteration_Num is " + std::to_string(settings.Max_LM_Iteration_Num) +
                      ", so that nothing is adjusted",
                  "Write 20, or switch Direct_Intersection on where no adjustment is wanted");
  if (!(settings.Initial_Weight > 0.0))
    diagnosis.Add("A016", {path}, "Initial_Weight is not above 0: measurements count nothing", "Write 1");
}

/// Those of the rigorous method, too, whichever the run will take.
void DiagnoseAllSettings(const std::string& path, Diagnosis& diagnosis) {
  const int64_t before = diagnosis.ErrorNum();
  DiagnoseSettings(path, KnownSettings(), diagnosis);
  for (const Finding& one : ReadRigorousSettings(path).Findings) {
    // A file that can't be read was told.
    const bool ofFile = one.szCode[0] != 'A' || one.szCode < "A003";
    if (!ofFile || diagnosis.ErrorNum() == before)
      diagnosis.Add(one.szCode.c_str(), {one.szFile, one.nLine, one.nColumn}, one.szWhat, one.szRemedy);
  }
}

/// The settings as the run will have them; what is wrong with them where that is asked for.
AdjustmentSettings ReadSettings(const RunPaths& paths, DiagnosisScope scope,
                                std::span<const SettingOverride> overrides, Diagnosis& diagnosis) {
  AdjustmentSettings settings;
  const int64_t before = diagnosis.ErrorNum();
  if (scope == DiagnosisScope::Everything && !paths.szSettings.empty())
    DiagnoseAllSettings(paths.szSettings, diagnosis);
  InputFiles inputs;
  ReadSettingsFile(paths.szSettings, inputs, settings);
  ApplyOverrides(overrides, settings);
  if (inputs.Any() && diagnosis.ErrorNum() == before)
    diagnosis.Add("A001", {paths.szSettings}, "the file can't be read: " + inputs.First().szReason,
                  "Check its path and permissions");
  if (scope != DiagnosisScope::Everything || diagnosis.ErrorNum() != before) return settings;
  CheckValues(paths.szSettings, settings, diagnosis);
  CheckOddValues(paths.szSettings, settings, diagnosis);
  for (const Finding& one : CheckPosIsUsed(paths, settings.Apply_GPS_Data || settings.Apply_IMU_Data))
    diagnosis.Add(one.szCode.c_str(), {one.szFile}, one.szWhat, one.szRemedy);
  return settings;
}

}  // namespace

void DiagnoseRun(const RunPaths& paths, DiagnosisScope scope, const Platform& system, Diagnosis& diagnosis,
                 std::span<const SettingOverride> overrides) {
  const MemoryPurpose purpose("the check of the block");
  const int64_t before = diagnosis.ErrorNum();
  const AdjustmentSettings settings = ReadSettings(paths, scope, overrides, diagnosis);
  const bool settingsHold = diagnosis.ErrorNum() == before;
  SurveyFiles files{paths.szProject, "", paths.szGcp, paths.szPos, paths.szSettings};
  SurveyBlock block;
  const int64_t beforeFiles = diagnosis.ErrorNum();
  if (!ReadSurvey(files, block, diagnosis) || diagnosis.ErrorNum() != beforeFiles) return;
  if (Adjusts(settings) && !CheckRemainder(files, block, diagnosis)) return;
  const BlockCheckInput input{block, files, settings};
  if (scope == DiagnosisScope::BeforeRun) {
    CheckConventions(input, diagnosis);
    return;
  }
  CheckBlock(input, diagnosis);
  if (!settingsHold) return;
  TellWeights(input, diagnosis);
  ReckonMemory(input, system.FreePhysicalBytes(), diagnosis);
}

int64_t FileNumOf(const RunPaths& paths) {
  int64_t count = 0;
  for (const std::string& path :
       {paths.szProject, OvtPathOfProject(paths.szProject), paths.szGcp, paths.szPos, paths.szSettings})
    count += path.empty() ? 0 : 1;
  return count;
}

}  // namespace orvo
