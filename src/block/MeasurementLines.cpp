#include "block/MeasurementLines.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>

#include "base/Scan.h"
#include "base/TextReader.h"
#include "block/ProjectText.h"

namespace orvo {
namespace {

/// Lines in the order of the file, with their numbers. A long one comes in pieces, which share a number.
class NumberedLines {
 public:
  explicit NumberedLines(TextReader& file) : File(file) {}

  bool Next(std::string_view& line) {
    const bool begins = File.LineEnded();
    if (!File.Next(line)) return false;
    if (begins) ++nNumber;
    return true;
  }
  int64_t Number() const { return nNumber; }

 private:
  TextReader& File;
  int64_t nNumber = 0;
};

bool IsAlike(double a, double b) { return std::abs(a - b) <= 1e-5 * std::max(1.0, std::abs(b)); }

/// Goes through file and list side by side, so that points which all have one name cost no more than others.
class Finder {
 public:
  Finder(TextReader& file, std::span<MeasurementLine> wanted) : File(file), Lines(file), Wanted(wanted) {}

  void Find(int64_t begin) {
    std::string_view line;
    while (File.Tell() < begin && Lines.Next(line)) continue;
    while (nNext < Wanted.size() && Lines.Next(line)) LookAtPoint(line);
  }

 private:
  bool IsNext(std::string_view point, int32_t measurement) const {
    return nNext < Wanted.size() && Wanted[nNext].nMeasurement == measurement &&
           Wanted[nNext].szPoint == point;
  }

  void LookAtPoint(std::string_view line) {
    const ObjectPointRecord point = ParsePointLine(line);
    const std::string_view name(point.szName, ::strnlen(point.szName, sizeof point.szName));
    if (IsNext(name, -1)) Wanted[nNext++].nLine = Lines.Number();
    std::string_view next;
    int32_t count = 0;
    if (!Lines.Next(next) || !FieldScanner(next).Int(count)) return;
    for (int32_t k = 0; k < count && Lines.Next(next); ++k) {
      if (IsNext(name, k) && IsMeasured(next, Wanted[nNext])) Wanted[nNext++].nLine = Lines.Number();
    }
  }

  static bool IsMeasured(std::string_view line, const MeasurementLine& wanted) {
    MeasureLine measure;
    return ParseMeasure(line, measure) && IsAlike(measure.x, wanted.x) && IsAlike(measure.y, wanted.y);
  }

  TextReader& File;
  NumberedLines Lines;
  std::span<MeasurementLine> Wanted;
  size_t nNext = 0;  ///< in Wanted: the first that has not been found
};

}  // namespace

void FindMeasurementLines(const std::string& path, int64_t begin, InputFiles& inputs,
                          std::span<MeasurementLine> wanted) {
  for (MeasurementLine& one : wanted) {
    one.nMeasurement = std::max(one.nMeasurement, -1);
    one.nLine = 0;
  }
  TextReader file(&inputs);
  if (wanted.empty() || path.empty() || !file.Open(path)) return;
  Finder(file, wanted).Find(begin);
}

int64_t FirstPointOfGcp(const std::string& path, InputFiles& inputs) {
  TextReader file(&inputs);
  if (path.empty() || !file.Open(path)) return 0;
  file.Next();
  return file.Tell();
}

}  // namespace orvo
