#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "base/MemoryPurpose.h"
#include "base/Scan.h"
#include "base/TextReader.h"
#include "block/SettingsText.h"
#include "run/BundleAdjustment.h"
#include "run/SettingsReading.h"
#include "settings/SettingValues.h"

namespace orvo {
namespace {

void Assign(bool& field, const Setting&, std::string_view text, bool xml) {
  field = xml ? text == "true" : ParseInt(text) != 0;
}

void Assign(int32_t& field, const Setting&, std::string_view text, bool /*xml*/) { field = ParseInt(text); }

void Assign(double& field, const Setting& setting, std::string_view text, bool xml) {
  const double value = ParseReal(text);
  switch (xml ? setting.rule : XmlRule::Plain) {
    case XmlRule::Plain:
      field = value;
      break;
    case XmlRule::MilliOverValue:
      field = 0.001 / value;
      break;
    case XmlRule::OneOverValue:
      field = 1.0 / value;
      break;
  }
}

void AssignTo(AdjustmentSettings& owner, const Setting& setting, std::string_view text, bool xml) {
  std::visit([&](auto field) { Assign(owner.*field, setting, text, xml); }, setting.field);
}

void ReadColons(TextReader& file, AdjustmentSettings& settings, SettingList& written) {
  std::string_view line;
  while (file.Next(line)) {
    // The last colon ends the key, so a second one on the line makes the key unknown.
    const size_t colon = line.rfind(':');
    if (colon == std::string_view::npos) continue;
    const std::string_view key = line.substr(0, colon);
    for (const Setting& setting : SettingsTable()) {
      if (setting.szColonKey != nullptr && key == setting.szColonKey) {
        AssignTo(settings, setting, line.substr(colon + 1), false);
        written.push_back(&setting);
      }
    }
  }
}

}  // namespace

void ReadSettingsXmlFile(const std::string& path, InputFiles& inputs, AdjustmentSettings& settings,
                         SettingList* written) {
  std::string text;  // the document is made of it
  pugi::xml_document document;
  // Without a file, too, the elements below assign: as if each were empty.
  if (ReadXmlText(path, inputs, text)) document.load_buffer_inplace(text.data(), text.size());
  for (const Setting& setting : SettingsTable()) {
    // An absent element assigns too: its text is empty, so a switch is off and a number 0.
    if (setting.szXmlElement != nullptr) {
      AssignTo(settings, setting, document.child(setting.szXmlParent).child_value(setting.szXmlElement),
               true);
      if (written != nullptr) written->push_back(&setting);
    }
  }
}

bool ReadSettingsFile(const std::string& path, InputFiles& inputs, AdjustmentSettings& settings,
                      SettingList* written) {
  const std::string extension = TextFromLastDot(path);
  if (extension == ".xml" || extension == ".XML") {
    ReadSettingsXmlFile(path, inputs, settings, written);
    return true;
  }
  TextReader file(&inputs);
  if (path.empty() || !file.Open(path, kReadAsSettings)) return false;
  SettingList keys;
  ReadColons(file, settings, written == nullptr ? keys : *written);
  return true;
}

int CBundleAdjustment::ReadSettings(const std::string& path) {
  const MemoryPurpose purpose("the settings");
  Sources = {};
  const bool read = ReadSettingsFile(path, Inputs, Settings, &Sources.InFile);
  Limits = LimitsOf(Settings);
  if (read) return 1;
  LogPrintf("Open initial parameter file failed!\n");
  LogPrintf("Use default parameters!\n");
  return 0;
}

int CBundleAdjustment::ReadSettingsXml(const std::string& path) {
  Sources = {};
  ReadSettingsXmlFile(path, Inputs, Settings, &Sources.InFile);
  Limits = LimitsOf(Settings);
  return 1;
}

void OverrideSettings(CBundleAdjustment& run, std::span<const SettingOverride> overrides) {
  if (overrides.empty()) return;
  ApplyOverrides(overrides, run.Settings);
  run.Limits = LimitsOf(run.Settings);
  for (const SettingOverride& one : overrides) {
    run.Sources.OnCommandLine.push_back(one.pSetting);
    run.Log.Print(">>Setting %s: %s (command line)\n", one.pSetting->szName,
                  ValueText(*one.pSetting, run.Settings).c_str());
  }
}

}  // namespace orvo
