#include "block/ResampleFilter.h"

#include <algorithm>
#include <cinttypes>
#include <span>

#include "base/LargeArray.h"
#include "block/Measurement.h"
#include "block/OvtRange.h"
#include "block/ProjectText.h"
#include "records/ImageReference.h"

namespace orvo {
namespace {

constexpr int64_t kPointsAtOnce = 16384;

enum class TextPointUse { Accepted, Rejected, EndsReading };

/// The measurements in the next lines, and what the reader of sections makes of their point. x and y are
/// rounded to single before they are scaled.
TextPointUse ReadTextPoint(TextReader& file, std::span<const ImageReference> references, double imageScale,
                           bool usable, ImagePointArray& measures) {
  measures.clear();
  const int32_t count = ReadMeasureCount(file);
  std::string_view line;
  TextPointUse use = TextPointUse::Accepted;
  for (int32_t m = 0; m < count && file.Next(line); ++m) {
    MeasureLine measure;
    if (!ParseMeasure(line, measure)) continue;
    const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);
    if (measure.nImageOrdinal < 0 || ordinal >= references.size()) return TextPointUse::EndsReading;
    const ImageReference reference = usable ? references[ordinal] : ImageReference{};
    if (MakeImagePoint(reference, measure.x, measure.y, imageScale, 0).nImage < 0)
      use = TextPointUse::Rejected;
    measures.push_back(MakeImagePoint(reference, static_cast<float>(measure.x), static_cast<float>(measure.y),
                                      imageScale, 0));
  }
  return use;
}

void CopyKeptMeasures(const std::vector<int32_t>& fileFirst, int64_t imagePointSum,
                      const std::vector<int32_t>& counts, TextWriter& newFile, OvtReader& source) {
  char header[kOvtHeaderBytes];
  EncodeOvtHeader(static_cast<int32_t>(fileFirst.size()), static_cast<int32_t>(imagePointSum), header);
  newFile.Overwrite(0, {header, sizeof header});
  OvtMeasureWindow window(source);
  for (size_t p = 0; p < fileFirst.size(); ++p) {
    for (int32_t m = 0; m < counts[p]; ++m) {
      const char* record = window.At(int64_t{fileFirst[p]} + m);
      if (record == nullptr) return;
      newFile.Write(record, kOvtMeasureBytes);
    }
  }
}

void ReadKeptMeasures(const PointFiltering& filtering, const std::vector<int32_t>& fileFirst,
                      const std::vector<int32_t>& counts, OvtReader& source) {
  PointStore& points = filtering.Points;
  const auto references = MakeImageReferences(filtering.Images, filtering.Cameras);
  ReserveLarge(points.pImagePoints, static_cast<size_t>(points.nImagePointNum));
  OvtMeasureWindow window(source);
  for (size_t p = 0; p < points.pObjectPoints.size(); ++p) {
    ObjectPointRecord& point = points.pObjectPoints[p];
    const bool usable = MakePositionUsable(point);
    point.nFirstImagePoint = static_cast<int64_t>(points.pImagePoints.size());
    for (int32_t m = 0; m < counts[p]; ++m) {
      const char* record = window.At(int64_t{fileFirst[p]} + m);
      const OvtMeasure measure = record != nullptr ? DecodeOvtMeasure(record) : OvtMeasure{-1};
      const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);
      const bool known = usable && measure.nImageOrdinal >= 0 && ordinal < references.size();
      points.pImagePoints.push_back(MakeImagePoint(known ? references[ordinal] : ImageReference{}, measure.x,
                                                   measure.y, filtering.Settings.Image_Coor_Scale,
                                                   static_cast<int32_t>(p)));
    }
  }
}

}  // namespace

bool KeepOvtPoints(const PointFiltering& filtering, const PointSelection& selection, int64_t& imagePointSum,
                   std::vector<int32_t>& counts, TextWriter* newFile, OvtReader& source) {
  PointStore& points = filtering.Points;
  if (source.PointNum() > selection.nTotal) {
    filtering.Log.Print("Total object point number is unexpected!\n");
    source.Close();
    return false;
  }
  if (newFile == nullptr) ReserveLarge(points.pObjectPoints, static_cast<size_t>(points.nObjectPointNum));
  std::vector<int32_t> fileFirst;
  fileFirst.reserve(static_cast<size_t>(selection.nKept));
  OvtRangeCheck ranges(source.MeasureNum());
  std::vector<char> records(static_cast<size_t>(kPointsAtOnce * kOvtPointBytes));
  imagePointSum = 0;
  int64_t read = 0;
  for (int64_t first = 0; first < source.PointNum(); first += read) {
    read = source.ReadPoints(first, kPointsAtOnce, records.data());
    if (read == 0) break;
    for (int64_t i = 0; i < read; ++i) {
      if (selection.Keep[static_cast<size_t>(first + i)] == 0) continue;
      char* record = records.data() + i * kOvtPointBytes;
      OvtPoint point = DecodeOvtPoint(record);
      fileFirst.push_back(point.nFirstImagePoint);
      point.nImagePointNum = ranges.Take(point.nFirstImagePoint, point.nImagePointNum);
      point.nFirstImagePoint = static_cast<int32_t>(imagePointSum);
      counts[fileFirst.size() - 1] = point.nImagePointNum;
      imagePointSum += point.nImagePointNum;
      if (newFile != nullptr) {
        EncodeOvtPoint(point, record);
        newFile->Write(record, kOvtPointBytes);
      } else {
        points.pObjectPoints.push_back(MakeObjectPoint(point));
      }
    }
  }
  points.nImagePointNum = points.nGcpImagePointNum + imagePointSum;
  filtering.Log.Print("Sampling image points %" PRId64 " from %d\n", imagePointSum, source.MeasureNum());
  if (newFile != nullptr) {
    CopyKeptMeasures(fileFirst, imagePointSum, counts, *newFile, source);
  } else {
    ReadKeptMeasures(filtering, fileFirst, counts, source);
  }
  return true;
}

bool KeepTextPoints(const PointFiltering& filtering, const PointSelection& selection, int64_t& imagePointSum,
                    std::vector<int32_t>& counts, TextReader& file) {
  PointStore& points = filtering.Points;
  const ProjectHeader header = ReadHeader(file);
  if (header.nObjectPointNum > selection.nTotal) {
    filtering.Log.Print("Total object point number is unexpected!\n");
    return false;
  }
  ReserveLarge(points.pObjectPoints, static_cast<size_t>(points.nObjectPointNum));
  SkipCamerasAndImages(file, header);
  const auto references = MakeImageReferences(filtering.Images, filtering.Cameras);
  ImagePointArray measures;
  std::string_view line;
  int64_t number = 0;
  for (int64_t i = 0; i < header.nObjectPointNum && file.Next(line); ++i) {
    ObjectPointRecord point = ParsePointLine(line);
    ObjectPointRecord scaled = point;
    scaled.X *= filtering.Settings.Object_Coor_Scale;
    scaled.Y *= filtering.Settings.Object_Coor_Scale;
    scaled.Z *= filtering.Settings.Object_Coor_Scale;
    // Such a point had no number when the sections were read either.
    const bool usable = MakePositionUsable(scaled) && MakePositionUsable(point);
    const TextPointUse use =
        ReadTextPoint(file, references, filtering.Settings.Image_Coor_Scale, usable, measures);
    if (use == TextPointUse::EndsReading) break;
    if (use == TextPointUse::Rejected) continue;
    if (number >= selection.nTotal) filtering.Log.Print("Error!\n");
    const bool kept = number < selection.nTotal && selection.Keep[static_cast<size_t>(number)] != 0;
    ++number;
    if (!kept) continue;
    point.nFirstImagePoint = static_cast<int64_t>(points.pImagePoints.size());
    point.nImagePointNum = static_cast<int32_t>(measures.size());
    for (ImagePointRecord& measure : measures)
      measure.nObjectPoint = static_cast<int32_t>(points.pObjectPoints.size());
    counts[points.pObjectPoints.size()] = point.nImagePointNum;
    points.pImagePoints.insert(points.pImagePoints.end(), measures.begin(), measures.end());
    // Deliberately without Object_Coor_Scale, unlike the reading of sections.
    points.pObjectPoints.push_back(point);
  }
  imagePointSum = static_cast<int64_t>(points.pImagePoints.size());
  points.nImagePointNum = points.nGcpImagePointNum + imagePointSum;
  filtering.Log.Print("Sampling image points %" PRId64 " from %" PRId64 "\n", imagePointSum,
                      points.nTieImagePointNum);
  ReserveLarge(points.pImagePoints, static_cast<size_t>(points.nImagePointNum));
  return true;
}

}  // namespace orvo
