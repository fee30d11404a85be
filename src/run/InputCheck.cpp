#include "run/InputCheck.h"

#include <fmt/format.h>
#include <unistd.h>

#include <filesystem>

#include "block/ProjectForm.h"
#include "check/GcpCheck.h"
#include "check/OvtCheck.h"
#include "check/PosCheck.h"
#include "check/ProjectHead.h"
#include "run/SettingsReading.h"
#include "settings/SettingsTable.h"

namespace orvo {
namespace {

/// What the settings make of a POS file.
PosUse PosUseOf(const std::string& settings, std::span<const SettingOverride> overrides) {
  InputFiles inputs;
  AdjustmentSettings read;
  ReadSettingsFile(settings, inputs, read);
  ApplyOverrides(overrides, read);
  return {read.Apply_GPS_Data, read.Apply_IMU_Data};
}

/// What is not stored on a disk is gone when it was read for the first time.
std::vector<Finding> CheckAreFiles(const RunPaths& paths) {
  std::vector<Finding> findings;
  std::error_code unknown;
  for (const std::string& path :
       {paths.szProject, OvtPathOfProject(paths.szProject), paths.szGcp, paths.szPos, paths.szSettings}) {
    if (path.empty() || !std::filesystem::exists(path, unknown)) continue;
    if (std::filesystem::is_regular_file(path, unknown)) continue;
    findings.push_back({Severity::Error, path, 0, -1,
                        "it is no plain file, and has to be read more than once", "Copy it to a file first"});
  }
  return findings;
}

}  // namespace

namespace {

/// What a run has without the setting, as people write it: in the colon form, and in the XML form.
std::string DefaultText(const Setting& setting) {
  const AdjustmentSettings defaults;
  if (const auto* on = std::get_if<bool AdjustmentSettings::*>(&setting.field))
    return defaults.**on ? "1" : "0";
  if (const auto* count = std::get_if<int32_t AdjustmentSettings::*>(&setting.field))
    return std::to_string(defaults.**count);
  return fmt::format("{}", defaults.*std::get<double AdjustmentSettings::*>(setting.field));
}
std::string MissingText(const Setting& setting) {
  if (std::holds_alternative<bool AdjustmentSettings::*>(setting.field)) return "false";
  return setting.rule == XmlRule::Plain ? "0" : "0, a weight without end";
}

}  // namespace

std::vector<KnownSetting> KnownSettings() {
  std::vector<KnownSetting> known;
  for (const Setting& setting : SettingsTable()) {
    known.push_back({setting.Kind(), setting.szColonKey, setting.szXmlElement, setting.szXmlParent,
                     DefaultText(setting), MissingText(setting)});
  }
  return known;
}

std::vector<Finding> CheckPosIsUsed(const RunPaths& paths, bool used) {
  if (used == !paths.szPos.empty()) return {};
  if (used) {
    return {{Severity::Error, paths.szSettings, 0, -1,
             "Apply_GPS_Data or Apply_IMU_Data is on, and no POS file is named",
             "Name one with --pos, or switch both off; --ignore-unused adjusts without", "A009"}};
  }
  return {{Severity::Error, paths.szPos, 0, -1,
           "the POS file is not used, for Apply_GPS_Data and Apply_IMU_Data are off",
           "Switch one on in the settings, or leave --pos away; --ignore-unused adjusts without", "A015"}};
}

std::vector<Finding> CheckRunInputs(const RunPaths& paths, bool ignoreUnused,
                                    std::span<const SettingOverride> overrides) {
  std::vector<Finding> findings = CheckAreFiles(paths);
  if (!findings.empty()) return findings;
  if (!paths.szSettings.empty() && ::access(paths.szSettings.c_str(), R_OK) == 0)
    Append(findings, CheckSettings(paths.szSettings, KnownSettings()));
  const PosUse use = PosUseOf(paths.szSettings, overrides);
  if (!ignoreUnused && !HasError(findings)) Append(findings, CheckPosIsUsed(paths, use.bGps || use.bImu));

  const std::string ovt = OvtPathOfProject(paths.szProject);
  ProjectHead head;
  const std::vector<Finding> ofHead = CheckProjectHead(paths.szProject, ovt.empty(), head);
  Append(findings, ofHead);
  if (!ovt.empty()) {
    if (const auto size = CheckOvtSize(ovt)) findings.push_back(*size);
  } else if (const auto open = NoteOpenEnd(paths.szProject)) {
    findings.push_back(*open);
  }
  // Without its images nothing can be said about what refers to them.
  if (HasError(ofHead)) return findings;
  if (!paths.szGcp.empty()) Append(findings, CheckGcp(paths.szGcp, LostImages(head)));
  if (!paths.szPos.empty() && (use.bGps || use.bImu)) Append(findings, CheckPos(paths.szPos, head, use));
  return findings;
}

}  // namespace orvo
