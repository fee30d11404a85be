// The copy of the kept tie points, to memory or to a new tie-point file.
#include <algorithm>
#include <cerrno>
#include <cinttypes>

#include "base/LargeArray.h"
#include "base/PrintableName.h"
#include "base/TextWriter.h"
#include "block/Measurement.h"
#include "block/OvtFile.h"
#include "block/OvtRange.h"
#include "block/ProjectText.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

constexpr int64_t kPointsAtOnce = 16384;

enum class TextPointUse { Accepted, Rejected, EndsReading };

/// The measurements in the next lines, and what the reader of sections makes of their point. x and y are
/// rounded to single before they are scaled.
TextPointUse ReadTextPoint(TextReader& file, std::span<const ImageReference> references, double imageScale,
                           bool usable, std::vector<ImagePointRecord>& measures) {
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

}  // namespace

void CBundleAdjustment::FilterPoints(const std::string& ovt, int64_t total, const std::vector<uint8_t>& keep,
                                     int64_t newPointCount, int64_t& imagePointSum, TextWriter* newFile) {
  Points.pPointImageCount.assign(static_cast<size_t>(Points.nObjectPointNum), 0);
  if (!ovt.empty()) {
    OvtReader source(&Inputs);
    if (source.Open(ovt)) {
      FilterOvtPoints(total, keep, newPointCount, imagePointSum, Points.pPointImageCount, newFile, source);
    } else {
      LogPrintf("Open pts file failed:%s\n", PrintableName(ovt).c_str());
    }
    return;
  }
  TextReader source(&Inputs);
  if (source.Open(Paths.szProjectPath)) {
    FilterTextPoints(total, keep, imagePointSum, Points.pPointImageCount, source);
  } else {
    LogPrintf("Open prj file failed:%d\n", errno);
  }
}

int CBundleAdjustment::FilterOvtPoints(int64_t total, const std::vector<uint8_t>& keep, int64_t newPointCount,
                                       int64_t& imagePointSum, std::vector<int32_t>& counts,
                                       TextWriter* newFile, OvtReader& source) {
  if (source.PointNum() > total) {
    LogPrintf("Total object point number is unexpected!\n");
    source.Close();
    return 0;
  }
  if (newFile == nullptr) ReserveLarge(Points.pObjectPoints, static_cast<size_t>(Points.nObjectPointNum));
  std::vector<int32_t> fileFirst;
  fileFirst.reserve(static_cast<size_t>(newPointCount));
  OvtRangeCheck ranges(source.MeasureNum());
  std::vector<char> records(static_cast<size_t>(kPointsAtOnce * kOvtPointBytes));
  imagePointSum = 0;
  int64_t read = 0;
  for (int64_t first = 0; first < source.PointNum(); first += read) {
    read = source.ReadPoints(first, kPointsAtOnce, records.data());
    if (read == 0) break;
    for (int64_t i = 0; i < read; ++i) {
      if (keep[static_cast<size_t>(first + i)] == 0) continue;
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
        Points.pObjectPoints.push_back(MakeObjectPoint(point));
      }
    }
  }
  Points.nImagePointNum = Points.nGcpImagePointNum + imagePointSum;
  LogPrintf("Sampling image points %" PRId64 " from %d\n", imagePointSum, source.MeasureNum());
  if (newFile != nullptr) {
    CopyKeptMeasures(fileFirst, imagePointSum, counts, *newFile, source);
  } else {
    ReadKeptMeasures(fileFirst, counts, source);
  }
  return 1;
}

void CBundleAdjustment::CopyKeptMeasures(const std::vector<int32_t>& fileFirst, int64_t imagePointSum,
                                         const std::vector<int32_t>& counts, TextWriter& newFile,
                                         OvtReader& source) {
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

void CBundleAdjustment::ReadKeptMeasures(const std::vector<int32_t>& fileFirst, std::vector<int32_t>& counts,
                                         OvtReader& source) {
  const auto references = MakeImageReferences(Images.pImageIndex, Images.pImageCamera, Cameras.pCameraIndex,
                                              Images.nImageNum, Cameras.UsableNum());
  ReserveLarge(Points.pImagePoints, static_cast<size_t>(Points.nImagePointNum));
  OvtMeasureWindow window(source);
  for (size_t p = 0; p < Points.pObjectPoints.size(); ++p) {
    ObjectPointRecord& point = Points.pObjectPoints[p];
    const bool usable = MakePositionUsable(point);
    point.nFirstImagePoint = static_cast<int64_t>(Points.pImagePoints.size());
    for (int32_t m = 0; m < counts[p]; ++m) {
      const char* record = window.At(int64_t{fileFirst[p]} + m);
      const OvtMeasure measure = record != nullptr ? DecodeOvtMeasure(record) : OvtMeasure{-1};
      const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);
      const bool known = usable && measure.nImageOrdinal >= 0 && ordinal < references.size();
      Points.pImagePoints.push_back(MakeImagePoint(known ? references[ordinal] : ImageReference{}, measure.x,
                                                   measure.y, Settings.Image_Coor_Scale,
                                                   static_cast<int32_t>(p)));
    }
  }
}

int CBundleAdjustment::FilterTextPoints(int64_t total, const std::vector<uint8_t>& keep,
                                        int64_t& imagePointSum, std::vector<int32_t>& counts,
                                        TextReader& file) {
  const ProjectHeader header = ReadHeader(file);
  if (header.nObjectPointNum > total) {
    LogPrintf("Total object point number is unexpected!\n");
    return 0;
  }
  ReserveLarge(Points.pObjectPoints, static_cast<size_t>(Points.nObjectPointNum));
  SkipCamerasAndImages(file, header);
  const auto references = MakeImageReferences(Images.pImageIndex, Images.pImageCamera, Cameras.pCameraIndex,
                                              Images.nImageNum, Cameras.UsableNum());
  std::vector<ImagePointRecord> measures;
  std::string_view line;
  int64_t number = 0;
  for (int64_t i = 0; i < header.nObjectPointNum && file.Next(line); ++i) {
    ObjectPointRecord point = ParsePointLine(line);
    ObjectPointRecord scaled = point;
    scaled.X *= Settings.Object_Coor_Scale;
    scaled.Y *= Settings.Object_Coor_Scale;
    scaled.Z *= Settings.Object_Coor_Scale;
    // Such a point had no number when the sections were read either.
    const bool usable = MakePositionUsable(scaled) && MakePositionUsable(point);
    const TextPointUse use = ReadTextPoint(file, references, Settings.Image_Coor_Scale, usable, measures);
    if (use == TextPointUse::EndsReading) break;
    if (use == TextPointUse::Rejected) continue;
    if (number >= total) LogPrintf("Error!\n");
    const bool kept = number < total && keep[static_cast<size_t>(number)] != 0;
    ++number;
    if (!kept) continue;
    point.nFirstImagePoint = static_cast<int64_t>(Points.pImagePoints.size());
    point.nImagePointNum = static_cast<int32_t>(measures.size());
    for (ImagePointRecord& measure : measures)
      measure.nObjectPoint = static_cast<int32_t>(Points.pObjectPoints.size());
    counts[Points.pObjectPoints.size()] = point.nImagePointNum;
    Points.pImagePoints.insert(Points.pImagePoints.end(), measures.begin(), measures.end());
    // Deliberately without Object_Coor_Scale, unlike the reading of sections.
    Points.pObjectPoints.push_back(point);
  }
  imagePointSum = static_cast<int64_t>(Points.pImagePoints.size());
  Points.nImagePointNum = Points.nGcpImagePointNum + imagePointSum;
  LogPrintf("Sampling image points %" PRId64 " from %" PRId64 "\n", imagePointSum, Points.nTieImagePointNum);
  ReserveLarge(Points.pImagePoints, static_cast<size_t>(Points.nImagePointNum));
  return 1;
}

}  // namespace orvo
