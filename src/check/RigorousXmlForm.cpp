#include <cctype>
#include <pugixml.hpp>
#include <set>

#include "base/NearestName.h"
#include "block/SettingsText.h"
#include "check/Diagnosis.h"
#include "check/RigorousForms.h"
#include "check/SettingsDiagnosis.h"
#include "check/StrictLines.h"
#include "settings/RigorousValues.h"
#include "settings/SettingNames.h"

namespace orvo {
namespace {

/// What stands in the element, comments left out.
std::string TextIn(pugi::xml_node element) {
  std::string text;
  for (const pugi::xml_node part : element.children()) {
    if (part.type() == pugi::node_pcdata || part.type() == pugi::node_cdata) text += part.value();
  }
  return std::string(Trimmed(text));
}

pugi::xml_node FirstElementIn(pugi::xml_node node) {
  return node.find_child([](pugi::xml_node one) { return one.type() == pugi::node_element; });
}

class XmlReader {
 public:
  XmlReader(const std::string& path, RigorousReading& reading) : szPath(path), Reading(reading) {}

  void Take(const pugi::xml_document& document) {
    bool found = false;
    for (const pugi::xml_node parent : document.children()) {
      if (parent.type() != pugi::node_element) continue;
      if (std::string_view(parent.name()) != kRigorousElement) {
        TakeOther(parent);
      } else if (!found) {
        found = true;
        TakeSection(parent);
      } else {
        Add(Severity::Note, "A005", parent, std::string(kRigorousElement) + " stands there a second time",
            "The first one counts");
      }
    }
  }

 private:
  void TakeSection(pugi::xml_node section);
  void TakeElement(pugi::xml_node element);
  void TakeOther(pugi::xml_node parent);
  void Refuse(pugi::xml_node node, std::string what, std::string remedy) {
    Add(Severity::Error, "A019", node, std::move(what), std::move(remedy));
  }
  void Add(Severity weight, const char* code, pugi::xml_node node, std::string what, std::string remedy) {
    // Each place is a reading of the file.
    if (std::ssize(Reading.Findings) >= Diagnosis::kMostOfACode) return;
    const TextPlace place = PlaceOfOffset(szPath, node.offset_debug());
    Reading.Findings.push_back(
        {weight, szPath, place.nLine, -1, std::move(what), std::move(remedy), code, place.nColumn});
  }

  const std::string& szPath;
  RigorousReading& Reading;
  std::set<const RigorousSetting*> Seen;
};

void XmlReader::TakeSection(pugi::xml_node section) {
  for (const pugi::xml_node child : section.children()) {
    if (child.type() == pugi::node_element) {
      TakeElement(child);
    } else if (child.type() == pugi::node_pcdata || child.type() == pugi::node_cdata) {
      if (!Trimmed(child.value()).empty())
        Refuse(child, Quoted(child.value()) + " stands in no element of " + kRigorousElement,
               "Write <NAME>VALUE</NAME>");
    }
  }
}

void XmlReader::TakeElement(pugi::xml_node element) {
  const std::string name = element.name();
  const RigorousSetting* setting = FindRigorousSetting(name);
  if (setting == nullptr) {
    const std::string nearest = NearestSettingName(name);
    Refuse(element, Quoted(name) + " is no setting of the rigorous method",
           FindRigorousSetting(nearest) == nullptr ? "Remove it; orvo settings --list tells all"
                                                   : "Write " + nearest + " if that is meant");
    return;
  }
  if (!Seen.insert(setting).second) {
    Add(Severity::Note, "A005", element, name + " stands there a second time", "The first one counts");
    return;
  }
  std::string fault;
  if (FirstElementIn(element)) {
    fault = "an element in " + name + " is no value";
  } else {
    const std::string text = TextIn(element);
    const bool isWord = setting->Kind() != RigorousKind::Switch || text == "true" || text == "false";
    fault = isWord ? TakeRigorousValue(*setting, text, Reading)
                   : ValueOfSetting(*setting, text) + "neither true nor false";
  }
  if (!fault.empty()) Add(Severity::Error, "A018", element, fault, RemedyOf(*setting));
}

void XmlReader::TakeOther(pugi::xml_node parent) {
  if (!NearestName(parent.name(), {kRigorousElement}).empty()) {
    Refuse(parent, Quoted(parent.name()) + " is no part of the settings",
           std::string("Write ") + kRigorousElement + " if that is meant");
  }
  for (const pugi::xml_node element : parent.children()) {
    const std::string_view name = element.name();
    if (name == kRigorousElement) {
      Add(Severity::Error, "A003", element,
          std::string(kRigorousElement) + " stands in the element " + Quoted(parent.name()) +
              ", and is not found there",
          "Take that away: all parts of the settings stand side by side");
    } else if (FindRigorousSetting(name) != nullptr) {
      Refuse(element, Quoted(name) + " stands in " + Quoted(parent.name()),
             std::string("Write it in ") + kRigorousElement);
    }
  }
}

}  // namespace

void ReadRigorousXml(const std::string& path, RigorousReading& reading) {
  const auto refuse = [&](const char* code, int64_t line, const std::string& what, const char* remedy) {
    reading.Findings.push_back({Severity::Error, path, line, -1, what, remedy, code});
  };
  std::string text;  // the document is made of it
  InputFiles files;
  files.Expect(path);
  if (!ReadXmlText(path, files, text)) {
    refuse("A001", 0, "the file can't be read: " + files.First().szReason, "Check its path and permissions");
    return;
  }
  pugi::xml_document document;
  const pugi::xml_parse_result read = document.load_buffer_inplace(text.data(), text.size());
  if (read.status == pugi::status_no_document_element) {
    refuse("A002", 0, "the file holds no element", "Start from what orvo settings --method rigorous writes");
  } else if (!read) {
    std::string reason = read.description();
    reason[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(reason[0])));
    refuse("A002", PlaceOfOffset(path, read.offset).nLine, "the file is no XML: " + reason,
           "Start from what orvo settings --method rigorous writes");
  } else {
    XmlReader(path, reading).Take(document);
  }
}

}  // namespace orvo
