#include <pugixml.hpp>
#include <string>
#include <string_view>

#include "base/MemoryPurpose.h"
#include "base/Scan.h"
#include "base/TextReader.h"
#include "block/SettingsText.h"
#include "run/BundleAdjustment.h"
#include "run/SettingsTable.h"

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

void AssignTo(CBundleAdjustment& owner, const Setting& setting, std::string_view text, bool xml) {
  std::visit([&](auto field) { Assign(owner.*field, setting, text, xml); }, setting.field);
}

}  // namespace

int CBundleAdjustment::ReadSettings(const std::string& path) {
  const MemoryPurpose purpose("the settings");
  if (path.empty()) {
    LogPrintf("Open initial parameter file failed!\n");
    LogPrintf("Use default parameters!\n");
    return 0;
  }
  const std::string extension = TextFromLastDot(path);
  if (extension == ".xml" || extension == ".XML") {
    ReadSettingsXml(path);
    return 1;
  }
  TextReader file(&Inputs);
  if (!file.Open(path, kReadAsSettings)) {
    LogPrintf("Open initial parameter file failed!\n");
    LogPrintf("Use default parameters!\n");
    return 0;
  }
  std::string_view line;
  while (file.Next(line)) {
    // The last colon ends the key, so a second one on the line makes the key unknown.
    const size_t colon = line.rfind(':');
    if (colon == std::string_view::npos) continue;
    const std::string_view key = line.substr(0, colon);
    for (const Setting& setting : SettingsTable()) {
      if (setting.szColonKey != nullptr && key == setting.szColonKey) {
        AssignTo(*this, setting, line.substr(colon + 1), false);
      }
    }
  }
  return 1;
}

int CBundleAdjustment::ReadSettingsXml(const std::string& path) {
  std::string text;  // the document is made of it
  pugi::xml_document document;
  // Without a file, too, the elements below assign: as if each were empty.
  if (ReadXmlText(path, Inputs, text)) document.load_buffer_inplace(text.data(), text.size());
  for (const Setting& setting : SettingsTable()) {
    // An absent element assigns too: its text is empty, so a switch is off and a number 0.
    if (setting.szXmlElement != nullptr) {
      AssignTo(*this, setting, document.child(setting.szXmlParent).child_value(setting.szXmlElement), true);
    }
  }
  return 1;
}

}  // namespace orvo
