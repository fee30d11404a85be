#include <map>

#include "check/RigorousForms.h"
#include "check/StrictLines.h"
#include "settings/SettingNames.h"

namespace orvo {
namespace {

class ColonReader {
 public:
  ColonReader(const StrictLines& lines, RigorousReading& reading) : Lines(lines), Reading(reading) {}

  void Take(std::string_view line) {
    // The last colon ends the key, as for the other settings.
    const size_t colon = line.rfind(':');
    if (colon == std::string_view::npos) return;
    const std::string_view key = line.substr(0, colon), value = Trimmed(line.substr(colon + 1));
    if (const RigorousSetting* setting = FindRigorousSetting(key)) {
      TakeValue(*setting, value);
      return;
    }
    const std::string_view begin = Trimmed(line.substr(0, line.find(':')));
    if (FindRigorousSetting(begin) != nullptr) {
      Add(Severity::Error, "A019", Quoted(line) + " sets nothing",
          "The key reaches from the first character of the line to its only colon");
    } else if (IsMeantForRigorous(begin)) {
      Add(Severity::Error, "A019", Quoted(begin) + " is no setting of the rigorous method",
          "Write " + NearestSettingName(begin) + " if that is meant");
    }
  }

 private:
  void TakeValue(const RigorousSetting& setting, std::string_view value) {
    const auto [first, isFirst] = LineOf.try_emplace(&setting, Lines.LineNumber());
    if (!isFirst) {
      Add(Severity::Note, "A005",
          std::string(setting.szName) + " stands in line " + std::to_string(first->second) + " already",
          "The last one counts");
    }
    if (const std::string fault = TakeRigorousValue(setting, value, Reading); !fault.empty())
      Add(Severity::Error, "A018", fault, RemedyOf(setting));
  }
  void Add(Severity weight, const char* code, std::string what, std::string remedy) {
    Reading.Findings.push_back(Lines.Note(std::move(what), std::move(remedy)));
    Reading.Findings.back().Weight = weight;
    Reading.Findings.back().szCode = code;
  }

  const StrictLines& Lines;
  RigorousReading& Reading;
  std::map<const RigorousSetting*, int64_t> LineOf;
};

}  // namespace

void ReadRigorousColons(const std::string& path, RigorousReading& reading) {
  StrictLines lines(path);
  ColonReader reader(lines, reading);
  std::string_view line;
  while (lines.Next(line)) reader.Take(line);
  if (lines.Fault()) {
    reading.Findings.push_back(*lines.Fault());
    if (reading.Findings.back().szCode.empty()) reading.Findings.back().szCode = "A001";
  }
}

}  // namespace orvo
