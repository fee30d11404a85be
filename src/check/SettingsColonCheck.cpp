#include <map>

#include "check/RigorousReading.h"
#include "check/SettingsCheck.h"
#include "check/StrictLines.h"
#include "records/ReadingFacts.h"

namespace orvo {
namespace {

const KnownSetting* Find(std::span<const KnownSetting> known, std::string_view key) {
  for (const KnownSetting& setting : known) {
    if (setting.szColonKey != nullptr && key == setting.szColonKey) return &setting;
  }
  return nullptr;
}

class ColonChecker {
 public:
  ColonChecker(StrictLines& lines, std::span<const KnownSetting> known) : Lines(lines), Known(known) {}

  void Take(std::string_view line) {
    const size_t colon = line.rfind(':');
    if (colon == std::string_view::npos) return;
    const std::string_view key = line.substr(0, colon);
    const KnownSetting* setting = Find(Known, key);
    if (setting == nullptr) {
      if (Find(Known, Trimmed(line.substr(0, line.find(':')))) != nullptr) {
        Lines.Refuse(Quoted(line) + " sets nothing",
                     "The key reaches from the first character of the line to its "
                     "only colon");
      }
      // Those are looked at where they are read.
      if (FindRigorousSetting(key) != nullptr) bSetsRigorous = true;
      if (!IsMeantForRigorous(Trimmed(key))) Unknown.Add(std::string(key).c_str());
      return;
    }
    const std::string_view value = line.substr(colon + 1);
    if (const std::string fault = FaultOfValue(value, setting->Kind, false); !fault.empty())
      Lines.Refuse(Quoted(value) + " is " + fault + ": " + setting->szColonKey,
                   RemedyOfLine(value, "Write key:number, and nothing behind it"));
    if (!LineOfKey.try_emplace(setting->szColonKey, Lines.LineNumber()).second) {
      Notes.push_back(Lines.Note(std::string(setting->szColonKey) + " stands in line " +
                                     std::to_string(LineOfKey[setting->szColonKey]) + " already",
                                 "The last one counts"));
      Notes.back().szCode = "A005";
    }
  }

  std::map<std::string, int64_t> LineOfKey;
  NamedCount Unknown;
  bool bSetsRigorous = false;
  std::vector<Finding> Notes;

 private:
  StrictLines& Lines;
  std::span<const KnownSetting> Known;
};

}  // namespace

std::vector<Finding> CheckColonSettings(const std::string& path, std::span<const KnownSetting> known) {
  StrictLines lines(path);
  ColonChecker checker(lines, known);
  std::string_view line;
  while (lines.Next(line)) checker.Take(line);
  if (!lines.Fault() && checker.LineOfKey.empty() && !checker.bSetsRigorous) {
    return {{Severity::Error, path, 0, -1, "no line sets anything",
             "Write lines such as Set_IOP_Unknown:1; files of the XML form have to end in .xml", "A003"}};
  }
  if (lines.Fault()) return {*lines.Fault()};
  std::vector<Finding> findings = std::move(checker.Notes);
  NamedCount missing;
  for (const KnownSetting& setting : known) {
    // What the XML form has no name for is rarely set.
    const bool usual = setting.szColonKey != nullptr && setting.szXmlElement != nullptr;
    if (usual && !checker.LineOfKey.contains(setting.szColonKey)) missing.Add(setting.szColonKey);
  }
  if (missing.nCount > 0) {
    findings.push_back(
        {Severity::Note,
         path,
         0,
         -1,
         CountOf(missing.nCount, "setting", missing.Names) + ": not there, and as the defaults say",
         {},
         "A006"});
  }
  if (const auto open = NoteOpenEnd(path)) findings.push_back(*open);
  if (checker.Unknown.nCount > 0) {
    findings.push_back(
        {Severity::Note, path, 0, -1,
         CountOf(checker.Unknown.nCount, "key", checker.Unknown.Names) + ": not known, and passed over",
         "Look at their spelling", "A008"});
  }
  return findings;
}

}  // namespace orvo
