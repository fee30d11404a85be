#include "settings/RigorousFile.h"

#include <fmt/format.h>

#include "settings/RigorousTexts.h"
#include "settings/RigorousValues.h"
#include "settings/SettingTexts.h"
#include "settings/SettingsFile.h"

namespace orvo {
namespace {

void Add(ChosenRigorous& chosen, const char* name, const std::string& why) {
  std::string& text = chosen.Why[name];
  text += (text.empty() ? "" : "; ") + why;
}

void Set(ChosenRigorous& chosen, double RigorousSettings::*field, const char* name,
         const std::optional<double>& value) {
  if (!value) return;
  chosen.Settings.*field = *value;
  chosen.Why[name] = "as stated";
}

std::string CommentTextOf(const RigorousSetting& setting, const ChosenRigorous& chosen) {
  std::string comment = SentenceOf(PlainText(setting.szMeaning)) + " Default: " + DefaultOf(setting) + ".";
  if (setting.szUnit[0] != '\0') comment += fmt::format(" Unit: {}.", setting.szUnit);
  if (setting.Kind() != RigorousKind::Switch)
    comment += fmt::format(" Sensible: {}.", SensibleValues(setting));
  comment += " Takes effect: " + SentenceOf(PlainText(setting.szEffect));
  const auto why = chosen.Why.find(setting.szName);
  if (why != chosen.Why.end()) comment += " Here: " + SentenceOf(why->second);
  return comment;
}

}  // namespace

ChosenRigorous RigorousFor(const SettingPreset& preset) {
  ChosenRigorous chosen;
  chosen.Settings.Sigma_GPS_XY = preset.fGpsXY;
  chosen.Settings.Sigma_GPS_Z = preset.fGpsZ;
  for (const char* name : {"Sigma_GPS_XY", "Sigma_GPS_Z"})
    chosen.Why[name] = fmt::format("what positions of preset {} are taken to have", preset.szName);
  for (const PresetValue& value : preset.Values) {
    if (std::string_view(value.szName) != "Correct_LinearError" || std::string_view(value.szValue) != "true")
      continue;
    chosen.Settings.Drift = DriftForm::Linear;
    chosen.Why["Drift"] = value.szWhy;
  }
  return chosen;
}

void State(const StatedSigmas& sigmas, ChosenRigorous& chosen) {
  using R = RigorousSettings;
  Set(chosen, &R::Sigma_Image, "Sigma_Image", sigmas.Pixel);
  Set(chosen, &R::Sigma_GPS_XY, "Sigma_GPS_XY", sigmas.GpsXY);
  Set(chosen, &R::Sigma_GPS_Z, "Sigma_GPS_Z", sigmas.GpsZ);
  Set(chosen, &R::Sigma_GCP_XY, "Sigma_GCP_XY", sigmas.Gcp);
  Set(chosen, &R::Sigma_GCP_Z, "Sigma_GCP_Z", sigmas.Gcp);
}

void TellWeightSigmas(const WeightSigmas& weights, ChosenRigorous& chosen) {
  const auto tell = [&](const char* name, const char* weight, const std::optional<double>& sigma) {
    if (sigma)
      Add(chosen, name, fmt::format("{} of this file counts them as good to {:.3g}", weight, *sigma));
  };
  tell("Sigma_GPS_XY", "GPS_WeightXY", weights.GpsXY);
  tell("Sigma_GPS_Z", "GPS_WeightZ", weights.GpsZ);
  tell("Sigma_GCP_XY", "GCP_Weight", weights.Gcp);
  tell("Sigma_GCP_Z", "GCP_Weight", weights.Gcp);
}

std::string RigorousSectionText(const ChosenRigorous& chosen) {
  std::string text = CommentOf(
      "Settings of the rigorous method, which no other consults. Here an element that is missing has "
      "its "
      "default.",
      0);
  text += fmt::format("<{}>\n", kRigorousElement);
  for (const RigorousSetting& setting : RigorousTable()) {
    text += CommentOf(CommentTextOf(setting, chosen), 2);
    text += fmt::format("  <{0}>{1}</{0}>\n", setting.szName, ValueText(setting, chosen.Settings));
  }
  return text + fmt::format("</{}>\n", kRigorousElement);
}

}  // namespace orvo
