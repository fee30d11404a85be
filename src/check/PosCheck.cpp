#include "check/PosCheck.h"

#include <cmath>
#include <utility>

#include "base/Scan.h"
#include "check/PosNames.h"
#include "check/StrictLines.h"
#include "records/ReadingFacts.h"

namespace orvo {
namespace {

constexpr const char* kFields =
    "A line holds name, X, Y, Z, omega, phi, kappa and strip ID, separated by blanks";

/// What is there of a line: its position, its angles, its strip.
enum class PosFields { None, Position, Angles, Strip };

struct PosText {
  std::string szName;
  double value[6] = {};
  PosFields Have = PosFields::None;
  bool bBroken =
      false;  ///< a field that is no number of its kind, or three coordinates that are not together
};

PosText ParsePos(std::string_view line) {
  PosText pos;
  std::string_view name, more;
  FieldScanner fields(line);
  fields.Word(name);
  pos.szName = name;
  const auto take = [&](int first) {
    for (int i = first; i < first + 3; ++i) fields.Real(pos.value[i]);
    pos.bBroken = !fields.NumbersAreWhole();
    return !pos.bBroken;
  };
  const auto ended = [&] {
    FieldScanner rest = fields;
    return !rest.Word(more);
  };
  if (!take(0)) return pos;
  pos.Have = PosFields::Position;
  if (ended() || !take(3)) return pos;
  pos.Have = PosFields::Angles;
  if (ended()) return pos;
  int32_t strip = 0;
  fields.Int(strip);
  pos.bBroken = !fields.NumbersAreWhole();
  if (!pos.bBroken) pos.Have = PosFields::Strip;
  return pos;
}

bool AreFinite(const double* values) {
  return std::isfinite(values[0]) && std::isfinite(values[1]) && std::isfinite(values[2]);
}

class PosChecker {
 public:
  PosChecker(const std::string& path, const ProjectHead& head, PosUse use)
      : Names(head), szPath(path), Use(use) {}

  void Take(std::string_view line, int64_t number) {
    const PosText pos = ParsePos(line);
    if (pos.bBroken || pos.Have == PosFields::None) {
      Refuse(number, Quoted(line) + " is no POS line", RemedyOfLine(line, kFields));
      return;
    }
    if (std::exchange(bFirst, false)) Wanted = pos.Have;
    if (pos.Have != Wanted) {
      Refuse(number, Quoted(line) + " has not the fields that the first line has",
             std::string(kFields) + ". What a line leaves out is taken from the line before it");
      return;
    }
    if (Use.bImu && Wanted == PosFields::Position) {
      Refuse(number, "the line has no angles, and Apply_IMU_Data is on", kFields);
    }
    if (const int64_t before = Names.Take(pos.szName, number); before > 0) {
      Refuse(number, pos.szName + " has a line already, line " + std::to_string(before),
             "Remove one of the two lines");
    }
    if ((Use.bGps && !AreFinite(pos.value)) || (Use.bImu && !AreFinite(pos.value + 3)))
      NotFinite.Add(pos.szName.c_str());
  }

  std::vector<Finding> Faults;
  PosNames Names;
  NamedCount NotFinite;

 private:
  void Refuse(int64_t number, std::string what, std::string remedy) {
    if (Faults.size() < kMostPosFaults)
      Faults.push_back({Severity::Error, szPath, number, -1, std::move(what), std::move(remedy)});
  }

  std::string szPath;
  PosUse Use;
  PosFields Wanted = PosFields::Strip;
  bool bFirst = true;
};

}  // namespace

std::vector<Finding> CheckPos(const std::string& path, const ProjectHead& head, PosUse use) {
  StrictLines lines(path);
  PosChecker checker(path, head, use);
  std::string_view line;
  while (checker.Faults.size() < kMostPosFaults && lines.NextFilled(line))
    checker.Take(line, lines.LineNumber());
  std::vector<Finding> findings = std::move(checker.Faults);
  if (lines.Fault()) findings.push_back(*lines.Fault());
  if (!findings.empty()) return findings;
  findings = checker.Names.Compare(path);
  if (checker.NotFinite.nCount > 0) {
    findings.push_back({Severity::Note, path, 0, -1,
                        CountOf(checker.NotFinite.nCount, "line", checker.NotFinite.Names) +
                            ": passed over, for a number is not finite",
                        "Leave out the line of an image without a fix"});
  }
  if (const auto open = NoteOpenEnd(path)) findings.push_back(*open);
  return findings;
}

}  // namespace orvo
