#include "check/reading/OvtReading.h"

#include <cmath>
#include <cstring>

#include "block/OvtFacts.h"
#include "block/OvtFile.h"
#include "check/StrictLines.h"

namespace orvo {
namespace {

constexpr int64_t kAtOnce = 4096;

class OvtSurvey {
 public:
  OvtSurvey(const std::string& path, OrdinalCheck& ordinals, SurveyPoints& points, Diagnosis& diagnosis)
      : szPath(path), Ordinals(ordinals), Points(points), Result(diagnosis) {}

  bool Read();

 private:
  bool ReadPoints();
  bool ReadMeasures();
  bool TakePoint(const OvtPoint& read, int64_t byte);
  bool IsSound(const SurveyMeasurement& measure) const;
  void TellBroken(const SurveyMeasurement& measure, int64_t index);
  void TellSeconds();
  void DropBrokenMeasures();
  void Tell(const char* code, int64_t byte, std::string what, std::string remedy) {
    Result.Add(code, {szPath, 0, 0, byte}, std::move(what), std::move(remedy));
  }

  const std::string& szPath;
  OrdinalCheck& Ordinals;
  SurveyPoints& Points;
  Diagnosis& Result;
  OvtReader File;
  int64_t nNext = 0;     ///< measurement behind those of the points so far
  bool bOrdered = true;  ///< the points so far take the measurements in their order
  bool bBroken = false;  ///< a measurement can't be
};

bool OvtSurvey::Read() {
  InputFile bytes;
  if (!bytes.Open(szPath) || !File.Open(szPath)) {
    const std::string reason = bytes.Failed() ? bytes.Fault().szReason : "there is no such file";
    Tell("S001", -1, "the file can't be read: " + reason, "An .ovc project needs its .ovt file beside it");
    return false;
  }
  const int64_t size = bytes.Size(), points = File.HeaderPointNum(), measures = File.HeaderMeasureNum();
  if (size < kOvtHeaderBytes) {
    Tell("S011", size, "the file is too short for its two counts", "Copy it anew");
    return false;
  }
  if (points < 0 || measures < 0) {
    Tell("S014", 0,
         "the counts are " + std::to_string(points) + " points and " + std::to_string(measures) +
             " measurements",
         "Look whether the file is an .ovt, with its numbers little-endian");
    return false;
  }
  const int64_t wanted = kOvtHeaderBytes + kOvtPointBytes * points + kOvtMeasureBytes * measures;
  const std::string what = std::to_string(points) + " points and " + std::to_string(measures) +
                           " measurements take " + std::to_string(wanted) + " bytes, and the file has " +
                           std::to_string(size);
  if (size < wanted) {
    Tell("S011", size, what, "It was cut off: copy it anew");
    return false;
  }
  if (size > wanted) {
    Tell("S012", wanted, what, "Write or copy it anew");
    return false;
  }
  return ReadPoints() && ReadMeasures();
}

bool OvtSurvey::ReadPoints() {
  std::vector<char> records(static_cast<size_t>(kAtOnce * kOvtPointBytes));
  Points.Points.reserve(static_cast<size_t>(File.PointNum()));
  for (int64_t first = 0; first < File.PointNum();) {
    const int64_t read = File.ReadPoints(first, kAtOnce, records.data());
    if (read == 0) {
      Tell("S001", -1, "the file can't be read to its end", "Copy it anew");
      return false;
    }
    for (int64_t i = 0; i < read; ++i) {
      const int64_t byte = kOvtHeaderBytes + (first + i) * kOvtPointBytes;
      const char* record = records.data() + i * kOvtPointBytes;
      const OvtPoint point = DecodeOvtPoint(record);
      // Decoding ends a name that fills its field.
      if (constexpr size_t kLongest = sizeof(point.szName) - 1;
          record[kLongest] != 0 && std::strlen(point.szName) == kLongest)
        Tell("S005", byte,
             "the name of point " + Quoted(point.szName) + " is longer than " + std::to_string(kLongest) +
                 " bytes",
             "It is cut there: shorten it");
      if (!TakePoint(point, byte)) return true;
    }
    first += read;
  }
  if (bOrdered && nNext != File.MeasureNum())
    Tell("S020", kOvtHeaderBytes,
         "the points have " + std::to_string(nNext) + " of " + std::to_string(File.MeasureNum()) +
             " measurements",
         "Write the file anew");
  return true;
}

/// False where the ranges are out of order: then nothing can be told of those that follow.
bool OvtSurvey::TakePoint(const OvtPoint& read, int64_t byte) {
  const std::string name = "point " + Quoted(read.szName);
  const int64_t count = read.nImagePointNum, from = read.nFirstImagePoint;
  if (count != 0 && (count < 0 || from != nNext || from + count > File.MeasureNum())) {
    Tell("S020", byte,
         name + " has " + std::to_string(count) + " measurements from index " + std::to_string(from) +
             " on, where " + std::to_string(nNext) + " is the next of " + std::to_string(File.MeasureNum()),
         "The measurements of a point stand together, and points in the order of their measurements: write "
         "the file anew");
    bOrdered = false;
    return false;
  }
  nNext += count;
  SurveyPoint point;
  std::memcpy(point.szName.data(), read.szName, point.szName.size());
  point.P = {read.X, read.Y, read.Z};
  point.nType = read.nType;
  point.nMeasurementNum = static_cast<int32_t>(count);
  point.nFirstMeasurement = count != 0 ? from : nNext;
  point.nPlace = byte;
  if (!(std::isfinite(read.X) && std::isfinite(read.Y) && std::isfinite(read.Z))) {
    Tell("S017", byte + 32, "the coordinates of " + name + " are not finite",
         "Write 0 for coordinates that are not known");
    point.P = {};
  }
  if (read.nType < 0)
    Tell("S014", byte + 56, "the type of " + name + " is " + std::to_string(read.nType),
         "Tie points have type 0");
  Points.Points.push_back(point);
  return true;
}

bool OvtSurvey::ReadMeasures() {
  std::vector<char> records(static_cast<size_t>(kAtOnce * kOvtMeasureBytes));
  Points.Measurements.resize(static_cast<size_t>(File.MeasureNum()));
  for (int64_t first = 0; first < File.MeasureNum();) {
    const int64_t count = File.ReadMeasures(first, kAtOnce, records.data());
    if (count == 0) {
      Tell("S001", -1, "the file can't be read to its end", "Copy it anew");
      return false;
    }
    for (int64_t i = 0; i < count; ++i) {
      const char* record = records.data() + i * kOvtMeasureBytes;
      const OvtMeasure read = DecodeOvtMeasure(record);
      const SurveyMeasurement measure{read.nImageOrdinal, read.x, read.y};
      Points.Measurements[static_cast<size_t>(first + i)] = measure;
      if (!IsSound(measure)) TellBroken(measure, first + i);
    }
    first += count;
  }
  if (bBroken) DropBrokenMeasures();
  TellSeconds();
  return true;
}

bool OvtSurvey::IsSound(const SurveyMeasurement& measure) const {
  return Ordinals.Exists(measure.nImage) && std::isfinite(measure.x) && std::isfinite(measure.y);
}

void OvtSurvey::TellBroken(const SurveyMeasurement& measure, int64_t index) {
  bBroken = true;
  const int64_t byte = kOvtHeaderBytes + kOvtPointBytes * File.PointNum() + index * kOvtMeasureBytes;
  if (!Ordinals.Exists(measure.nImage)) {
    OrdinalFault fault = Ordinals.Missing(measure.nImage);
    Tell("R001", byte, std::move(fault.szWhat), std::move(fault.szRemedy));
  } else {
    Tell("S017", byte + 4, "measurement " + std::to_string(index) + " is not finite",
         "Leave it out where the file is made");
  }
}

void OvtSurvey::TellSeconds() {
  for (size_t p = 0; p < Points.Points.size(); ++p) {
    const SurveyPoint& point = Points.Points[p];
    for (const SurveyMeasurement& measure : Points.Of(point)) {
      if (!Ordinals.IsSecond(measure.nImage, static_cast<int64_t>(p))) continue;
      OrdinalFault fault = Ordinals.Second(measure.nImage, point.szName.data());
      Tell("R012", point.nPlace, std::move(fault.szWhat), std::move(fault.szRemedy));
    }
  }
}

void OvtSurvey::DropBrokenMeasures() {
  int64_t to = 0;
  for (SurveyPoint& point : Points.Points) {
    const int64_t first = point.nFirstMeasurement, end = first + point.nMeasurementNum;
    point.nFirstMeasurement = to;
    for (int64_t m = first; m < end; ++m) {
      const SurveyMeasurement measure = Points.Measurements[static_cast<size_t>(m)];
      if (IsSound(measure)) Points.Measurements[static_cast<size_t>(to++)] = measure;
    }
    point.nMeasurementNum = static_cast<int32_t>(to - point.nFirstMeasurement);
  }
  Points.Measurements.resize(static_cast<size_t>(to));
}

}  // namespace

bool ReadSurveyOvt(const std::string& path, OrdinalCheck& ordinals, SurveyPoints& points,
                   Diagnosis& diagnosis) {
  return OvtSurvey(path, ordinals, points, diagnosis).Read();
}

}  // namespace orvo
