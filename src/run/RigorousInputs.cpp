#include "run/RigorousInputs.h"

#include "run/BundleAdjustment.h"
#include "run/RunWatch.h"
#include "settings/RigorousValues.h"

namespace orvo {
namespace {

report::SettingOrigin OriginOf(const RigorousReading& reading, const RigorousSetting& setting) {
  switch (reading.OriginOf(setting)) {
    case SettingOrigin::File:
      return report::SettingOrigin::File;
    case SettingOrigin::CommandLine:
      return report::SettingOrigin::CommandLine;
    case SettingOrigin::Default:
      break;
  }
  return report::SettingOrigin::Default;
}

}  // namespace

bool TakeRigorousSettings(CBundleAdjustment& run, const std::string& path,
                          std::span<const RigorousOverride> overrides) {
  const RigorousReading reading = ReadRigorousSettings(path, overrides);
  run.Chosen.Settings = reading.Settings;
  for (const RigorousSetting* setting : reading.OnCommandLine) {
    run.Log.Print(">>Setting %s: %s (command line)\n", setting->szName,
                  ValueText(*setting, run.Chosen.Settings).c_str());
  }
  if (run.pWatch) run.pWatch->vMethodSettings = RigorousFiguresOf(reading);
  for (const Finding& finding : reading.Findings) {
    if (finding.Weight != Severity::Error) {
      TellNote(finding, run.Guard, run.Log);
      continue;
    }
    run.Log.Print("%s\n", TextOf(finding).c_str());
    run.Guard.Refusals.push_back(finding);
  }
  return run.Guard.Refusals.empty();
}

std::vector<report::SettingFigure> RigorousFiguresOf(const RigorousReading& reading) {
  std::vector<report::SettingFigure> figures;
  for (const RigorousSetting& setting : RigorousTable())
    figures.push_back({setting.szName, ValueText(setting, reading.Settings), OriginOf(reading, setting)});
  return figures;
}

}  // namespace orvo
