#include <algorithm>
#include <pugixml.hpp>

#include "block/SettingsText.h"
#include "check/SettingsCheck.h"
#include "check/SettingsDiagnosis.h"
#include "check/StrictLines.h"
#include "records/ReadingFacts.h"
#include "settings/RigorousTable.h"

namespace orvo {
namespace {

class XmlChecker {
 public:
  XmlChecker(const std::string& path, const pugi::xml_document& document)
      : szPath(path), Document(document) {}

  void Take(const KnownSetting& setting) {
    const pugi::xml_node parent = Document.child(setting.szXmlParent);
    const pugi::xml_node element = parent.child(setting.szXmlElement);
    if (!element) {
      Missing.Add(setting.szXmlElement);
      return;
    }
    ++nFound;
    const std::string_view text = element.child_value();
    if (const std::string fault = FaultOfValue(text, setting.Kind, true); !fault.empty())
      Add(Severity::Error, "A004", element, Shown(text) + " is " + fault + ": " + setting.szXmlElement,
          setting.Kind == SettingKind::Switch ? "Write true or false, in small letters and without blanks"
                                              : "Write a number with a decimal point, and nothing behind it");
    if (const pugi::xml_node again = element.next_sibling(setting.szXmlElement))
      Add(Severity::Note, "A005", again, std::string(setting.szXmlElement) + " stands there a second time",
          "The first one counts");
  }

  /// Elements that no setting has. Those of the rigorous method are looked at where they are read.
  void TakeUnknown(std::span<const KnownSetting> known) {
    NamedCount unknown;
    for (const pugi::xml_node parent : Document.children()) {
      if (std::string_view(parent.name()) == kRigorousElement) continue;
      for (const pugi::xml_node element : parent.children()) {
        const bool isKnown = std::ranges::any_of(known, [&](const KnownSetting& setting) {
          return setting.szXmlElement != nullptr &&
                 std::string_view(element.name()) == setting.szXmlElement &&
                 std::string_view(parent.name()) == setting.szXmlParent;
        });
        if (element.type() == pugi::node_element && !isKnown) unknown.Add(element.name());
      }
    }
    if (unknown.nCount > 0)
      Findings.push_back({Severity::Note, szPath, 0, -1,
                          CountOf(unknown.nCount, "element", unknown.Names) + ": not known, and passed over",
                          "Look at their spelling and at the element around them", "A008"});
  }

  int nFound = 0;
  NamedCount Missing;
  std::vector<Finding> Findings;

 private:
  /// Blanks around a switch are what is wrong with it.
  static std::string Shown(std::string_view text) {
    const std::string_view trimmed = Trimmed(text);
    if (trimmed.empty()) return "an empty value";
    return Quoted(text) + (trimmed.size() < text.size() ? ", with blanks around it," : "");
  }
  void Add(Severity weight, const char* code, pugi::xml_node node, std::string what, std::string remedy) {
    const TextPlace place = PlaceOfOffset(szPath, node.offset_debug());
    Findings.push_back(
        {weight, szPath, place.nLine, -1, std::move(what), std::move(remedy), code, place.nColumn});
  }

  std::string szPath;
  const pugi::xml_document& Document;
};

}  // namespace

std::vector<Finding> CheckXmlSettings(const std::string& path, std::span<const KnownSetting> known) {
  std::string text;  // the document is made of it
  InputFiles files;
  files.Expect(path);
  if (!ReadXmlText(path, files, text))
    return {{Severity::Error, path, 0, -1, files.First().szReason, "Name a settings file", "A001"}};
  pugi::xml_document document;
  const pugi::xml_parse_result read = document.load_buffer_inplace(text.data(), text.size());
  if (!read) {
    const bool empty = read.status == pugi::status_no_document_element;
    std::string reason = read.description();
    reason[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(reason[0])));
    const TextPlace place = empty ? TextPlace{} : PlaceOfOffset(path, read.offset);
    return {{Severity::Error, path, place.nLine, -1,
             empty ? "the file holds no element" : "the file is no XML: " + reason,
             "Start from a settings file that works, such as examples/seneca/AdjPara.xml", "A002",
             place.nColumn}};
  }
  XmlChecker checker(path, document);
  for (const KnownSetting& setting : known) {
    if (setting.szXmlElement != nullptr) checker.Take(setting);
  }
  if (checker.nFound == 0) {
    return {{Severity::Error, path, 0, -1, "the file holds no setting",
             "Adjustment_parameters, POS_parameters, Weight and GPU_parameters stand side by side, without "
             "an element "
             "around them",
             "A003"}};
  }
  checker.TakeUnknown(known);
  if (checker.Missing.nCount > 0) {
    checker.Findings.push_back({Severity::Note, path, 0, -1,
                                CountOf(checker.Missing.nCount, "setting", checker.Missing.Names) +
                                    ": not there, and taken for false or 0",
                                "Copy them from a complete file", "A006"});
  }
  return checker.Findings;
}

}  // namespace orvo
