#include "block/MeasurementLines.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

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

class Finder {
 public:
  Finder(TextReader& file, std::span<MeasurementLine> wanted) : File(file), Lines(file), Wanted(wanted) {
    for (size_t i = 0; i < wanted.size(); ++i) Places[wanted[i].szPoint].push_back(i);
  }

  void Find(int64_t begin) {
    std::string_view line;
    while (File.Tell() < begin && Lines.Next(line)) continue;
    while (Lines.Next(line)) LookAtPoint(line);
  }

 private:
  void LookAtPoint(std::string_view line) {
    const ObjectPointRecord point = ParsePointLine(line);
    const auto found = Places.find(std::string(point.szName, strnlen(point.szName, sizeof point.szName)));
    if (found != Places.end()) Settle(found->second, -1, {});
    std::string_view next;
    int32_t count = 0;
    if (!Lines.Next(next) || !FieldScanner(next).Int(count)) return;
    for (int32_t k = 0; k < count && Lines.Next(next); ++k) {
      if (found != Places.end()) Settle(found->second, k, next);
    }
  }

  void Settle(const std::vector<size_t>& places, int32_t measurement, std::string_view line) {
    for (const size_t i : places) {
      MeasurementLine& wanted = Wanted[i];
      if (wanted.nMeasurement != measurement || wanted.nLine > 0) continue;
      MeasureLine measure;
      if (measurement >= 0 &&
          !(ParseMeasure(line, measure) && IsAlike(measure.x, wanted.x) && IsAlike(measure.y, wanted.y)))
        continue;
      wanted.nLine = Lines.Number();
    }
  }

  TextReader& File;
  NumberedLines Lines;
  std::span<MeasurementLine> Wanted;
  std::unordered_map<std::string, std::vector<size_t>> Places;
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
