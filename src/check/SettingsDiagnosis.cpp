#include "check/SettingsDiagnosis.h"

#include <algorithm>
#include <pugixml.hpp>

#include "base/Platform.h"
#include "block/SettingsText.h"
#include "check/RigorousReading.h"
#include "check/StrictLines.h"
#include "check/reading/NameDistance.h"

namespace orvo {
namespace {

/// A name that stands in the file.
struct WrittenName {
  std::string szName, szParent;  ///< parent: of the XML form
  TextPlace Place;
};

struct WrittenNames {
  std::vector<WrittenName> Names;
  std::string szRoot;  ///< of an XML file: an element that has the known ones in it
  TextPlace RootPlace;
  std::string szFault;  ///< why the file can't be read
};

bool IsXml(const std::string& path) {
  const std::string extension = TextFromLastDot(path);
  return extension == ".xml" || extension == ".XML";
}

WrittenNames NamesOfXml(const std::string& path, std::span<const KnownSetting> known) {
  WrittenNames written;
  std::string text;
  InputFiles files;
  files.Expect(path);
  if (!ReadXmlText(path, files, text)) {
    written.szFault = files.First().szReason;
    return written;
  }
  pugi::xml_document document;
  if (!document.load_buffer_inplace(text.data(), text.size())) return written;
  const auto place = [&](pugi::xml_node node) { return PlaceOfOffset(path, node.offset_debug()); };
  const auto isParent = [&](std::string_view name) {
    return std::ranges::any_of(known, [&](const KnownSetting& one) {
      return one.szXmlParent != nullptr && name == one.szXmlParent;
    });
  };
  for (const pugi::xml_node parent : document.children()) {
    if (std::string_view(parent.name()) == kRigorousElement) continue;
    for (const pugi::xml_node element : parent.children()) {
      if (element.type() != pugi::node_element) continue;
      if (std::ssize(written.Names) < 1000)
        written.Names.push_back({element.name(), parent.name(), place(element)});
      if (isParent(element.name()) && written.szRoot.empty()) {
        written.szRoot = parent.name();
        written.RootPlace = place(parent);
      }
    }
  }
  return written;
}

WrittenNames NamesOfColon(const std::string& path) {
  WrittenNames written;
  TextReader file;
  std::string_view line;
  if (!file.Open(path)) return written;
  for (int64_t number = 1; file.Next(line); ++number) {
    const size_t colon = line.rfind(':');
    if (colon != std::string_view::npos && std::ssize(written.Names) < 1000)
      written.Names.push_back({std::string(line.substr(0, colon)), {}, {number, 1}});
  }
  if (file.Failed()) written.szFault = file.Fault().szReason;
  return written;
}

class SettingsNames {
 public:
  SettingsNames(const std::string& path, std::span<const KnownSetting> known, Diagnosis& diagnosis)
      : szPath(path), bXml(IsXml(path)), Known(known), Result(diagnosis) {}

  void Tell(const WrittenNames& written) {
    for (const KnownSetting& setting : Known) {
      if (NameOf(setting) != nullptr) Names.push_back(NameOf(setting));
    }
    for (const WrittenName& name : written.Names) TellUnknown(name);
    for (const KnownSetting& setting : Known) TellMissing(setting, written);
  }

 private:
  const char* NameOf(const KnownSetting& setting) const {
    return bXml ? setting.szXmlElement : setting.szColonKey;
  }
  bool Is(const WrittenName& name, const KnownSetting& setting) const {
    return NameOf(setting) != nullptr && name.szName == NameOf(setting) &&
           (!bXml || name.szParent == setting.szXmlParent);
  }
  const KnownSetting& SettingOf(std::string_view name) const {
    return *std::ranges::find_if(
        Known, [&](const KnownSetting& one) { return NameOf(one) != nullptr && name == NameOf(one); });
  }
  void TellUnknown(const WrittenName& name);
  void TellMissing(const KnownSetting& setting, const WrittenNames& written);

  const std::string& szPath;
  bool bXml;
  std::span<const KnownSetting> Known;
  Diagnosis& Result;
  std::vector<std::string_view> Names;
};

void SettingsNames::TellUnknown(const WrittenName& name) {
  if (std::ranges::any_of(Known, [&](const KnownSetting& one) { return Is(name, one); })) return;
  if (!bXml && IsMeantForRigorous(Trimmed(name.szName))) return;
  const std::string what =
      Quoted(name.szName) + " is no setting" + (bXml ? " of " + Quoted(name.szParent) : "");
  const FindingPlace place{szPath, name.Place.nLine, name.Place.nColumn};
  const int64_t nearest = NearestPlace(Trimmed(name.szName), Names);
  if (nearest < 0) {
    Result.Add("A008", place, what, "It is passed over");
    return;
  }
  const KnownSetting& meant = SettingOf(Names[static_cast<size_t>(nearest)]);
  const std::string inParent = bXml ? std::string(" in ") + meant.szXmlParent : "";
  Result.Add("A007", place, what, std::string("Write ") + NameOf(meant) + inParent + " if that is meant");
}

void SettingsNames::TellMissing(const KnownSetting& setting, const WrittenNames& written) {
  // What the XML form has no name for is rarely set.
  if (NameOf(setting) == nullptr || setting.szXmlElement == nullptr) return;
  if (std::ranges::any_of(written.Names, [&](const WrittenName& name) { return Is(name, setting); })) return;
  Result.Add("A006", {szPath},
             std::string(NameOf(setting)) + " is not there, and counts as " +
                 (bXml ? setting.szXmlMissing : setting.szDefault),
             bXml ? std::string("Write it in ") + setting.szXmlParent + ", where it is to be something else"
                  : "Write it where it is to be something else");
}

}  // namespace

TextPlace PlaceOfOffset(const std::string& path, int64_t offset) {
  TextReader file;
  std::string_view piece;
  TextPlace place{1, 1};
  if (!file.Open(path)) return {};
  int64_t begin = 0;  // of the line
  while (file.Next(piece) && file.Tell() <= offset) {
    if (!file.LineEnded()) continue;
    ++place.nLine;
    begin = file.Tell();
  }
  place.nColumn = std::max<int64_t>(offset - begin, 0) + 1;
  return place;
}

void DiagnoseSettings(const std::string& path, std::span<const KnownSetting> known, Diagnosis& diagnosis) {
  const WrittenNames written = IsXml(path) ? NamesOfXml(path, known) : NamesOfColon(path);
  if (!written.szFault.empty()) {
    diagnosis.Add("A001", {path}, "the file can't be read: " + written.szFault,
                  "Check its path and permissions");
    return;
  }
  bool formHolds = true;
  for (const Finding& one : CheckSettings(path, known)) {
    const std::string code = one.szCode.empty() ? "A004" : one.szCode;
    // Those two are told one by one.
    if (code == "A006" || code == "A008") continue;
    if (code == "A001" || code == "A002" || code == "A003") formHolds = false;
    if (code == "A003" && !written.szRoot.empty()) {
      diagnosis.Add(
          "A003", {path, written.RootPlace.nLine, written.RootPlace.nColumn},
          "the settings stand in the element " + Quoted(written.szRoot) + ", and none is found there",
          "Take it away: Adjustment_parameters, POS_parameters, Weight and GPU_parameters stand side "
          "by side");
      continue;
    }
    diagnosis.Add(code.c_str(), {one.szFile, one.nLine, one.nColumn}, one.szWhat, one.szRemedy);
  }
  if (formHolds) SettingsNames(path, known, diagnosis).Tell(written);
}

}  // namespace orvo
