#include "block/GcpPoints.h"

#include <algorithm>
#include <span>

#include "base/MemoryPurpose.h"
#include "base/ReadingFailed.h"
#include "block/Measurement.h"
#include "block/ProjectText.h"
#include "records/ImageReference.h"

namespace orvo {
namespace {

/// Appends the measurements in the next lines and gives `point` their first index and their number. False,
/// with nothing appended, at an image ordinal out of range, which goes to `wrongOrdinal`; where that is null,
/// such a measurement is one on a deleted image.
bool AppendMeasures(TextReader& file, std::span<const ImageReference> references, double imageScale,
                    int32_t objectPoint, ObjectPointRecord& point, ImagePointArray& imagePoints,
                    int32_t* wrongOrdinal) {
  point.nFirstImagePoint = static_cast<int64_t>(imagePoints.size());
  point.nImagePointNum = 0;
  const bool usable = MakePositionUsable(point);
  const int32_t count = ReadMeasureCount(file);
  std::string_view line;
  for (int32_t m = 0; m < count && NextMeasure(file, m, line); ++m) {
    MeasureLine measure;
    if (!ParseMeasure(line, measure)) continue;
    const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);
    const bool known = measure.nImageOrdinal >= 0 && ordinal < references.size();
    if (!known && wrongOrdinal != nullptr) {
      *wrongOrdinal = measure.nImageOrdinal;
      imagePoints.resize(static_cast<size_t>(point.nFirstImagePoint));
      return false;
    }
    imagePoints.push_back(MakeImagePoint(usable && known ? references[ordinal] : ImageReference{}, measure.x,
                                         measure.y, imageScale, objectPoint));
    ++point.nImagePointNum;
  }
  return true;
}

/// Every point of the file, in order.
std::vector<ObjectPointRecord> ReadGcpRecords(TextReader& file) {
  std::vector<ObjectPointRecord> table;
  const int32_t count = ReadGcpCount(file);
  table.reserve(static_cast<size_t>(count));
  std::string_view line;
  for (int32_t g = 0; g < count && file.Next(line); ++g) {
    table.push_back(ParsePointLine(line));
    table.back().nImagePointNum = SkipMeasures(file);
  }
  return table;
}

/// The table of the file, made where it does not exist yet; leaves the file behind its count line.
void OpenTable(PointStore& points, TextReader& file) {
  if (points.pGcpTable.empty()) {
    points.pGcpTable = ReadGcpRecords(file);
    file.Rewind();
  }
  points.nGcpFileNum = std::min(ReadGcpCount(file), static_cast<int32_t>(points.pGcpTable.size()));
}

/// The point of a line, where the table has it.
ObjectPointRecord MakeGcpPoint(std::string_view line, const ObjectPointRecord& known) {
  ObjectPointRecord point = ParsePointLine(line);
  point.X = known.X;
  point.Y = known.Y;
  point.Z = known.Z;
  return point;
}

void TellWrongOrdinal(RunLog& log, int32_t point, int32_t ordinal) {
  log.Print("Error!Image ID of the point %d %d is out of range!\n", point, ordinal);
}

}  // namespace

bool MakeGcpTable(const std::string& gcp, PointStore& points, InputFiles& inputs, RunLog& log) {
  const MemoryPurpose purpose("the control points");
  TextReader file(&inputs);
  if (!points.pGcpTable.empty()) return true;
  if (file.Open(gcp)) {
    points.pGcpTable = ReadGcpRecords(file);
    points.nGcpFileNum = static_cast<int32_t>(points.pGcpTable.size());
  }
  return !ReadingFailed(inputs, log);
}

int ReadGcpSection(const GcpReading& reading, int32_t section, int64_t& count, int64_t& imageCount,
                   TextReader& file) {
  PointStore& points = reading.Points;
  OpenTable(points, file);
  PointSectionTable::Range range{0, points.nObjectPointNum};
  if (section >= 0 && section < points.Sections.Count())
    range = points.Sections.ObjectPoints[static_cast<size_t>(section)];
  const auto references = MakeImageReferences(reading.Images, reading.Cameras);
  std::string_view line;
  for (int32_t g = 0; g < points.nGcpFileNum && points.nTiePointNum + g <= range.nLast && file.Next(line);
       ++g) {
    if (points.nTiePointNum + g < range.nFirst) {
      SkipMeasures(file);
      continue;
    }
    ObjectPointRecord point = MakeGcpPoint(line, points.pGcpTable[static_cast<size_t>(g)]);
    int32_t wrongOrdinal = 0;
    if (!AppendMeasures(file, references, reading.Settings.Image_Coor_Scale,
                        static_cast<int32_t>(points.pObjectPoints.size()), point, points.pImagePoints,
                        &wrongOrdinal)) {
      // Deliberate: the points in front of it are in memory and not in the counts.
      TellWrongOrdinal(reading.Log, g, wrongOrdinal);
      return -1;
    }
    points.pObjectPoints.push_back(point);
  }
  count = static_cast<int64_t>(points.pObjectPoints.size());
  imageCount = static_cast<int64_t>(points.pImagePoints.size());
  return 1;
}

void AppendGcpFile(const GcpReading& reading, int64_t& objectCount, int64_t& imageCount, TextReader& file) {
  PointStore& points = reading.Points;
  OpenTable(points, file);
  const auto references = MakeImageReferences(reading.Images, reading.Cameras);
  points.nControlPointNum = 0;
  objectCount = imageCount = 0;
  std::string_view line;
  for (int32_t g = 0; g < points.nGcpFileNum && file.Next(line); ++g) {
    const ObjectPointRecord& known = points.pGcpTable[static_cast<size_t>(g)];
    ObjectPointRecord point = MakeGcpPoint(line, known);
    AppendMeasures(file, references, reading.Settings.Image_Coor_Scale,
                   static_cast<int32_t>(points.pObjectPoints.size()), point, points.pImagePoints, nullptr);
    points.pObjectPoints.push_back(point);
    if (point.nType == 1) ++points.nControlPointNum;
    ++objectCount;
    imageCount += known.nImagePointNum;
  }
}

int ReadGcpFile(const GcpReading& reading, ObjectPointArray& objectList, ImagePointArray& imagePointList,
                TextReader& file) {
  const int32_t pointNum = ReadGcpCount(file);
  const auto references = MakeImageReferences(reading.Images, reading.Cameras);
  reading.Points.nControlPointNum = 0;
  std::string_view line;
  for (int32_t g = 0; g < pointNum && file.Next(line); ++g) {
    ObjectPointRecord point = ParsePointLine(line);
    int32_t wrongOrdinal = 0;
    if (!AppendMeasures(file, references, reading.Settings.Image_Coor_Scale,
                        static_cast<int32_t>(objectList.size()), point, imagePointList, &wrongOrdinal)) {
      TellWrongOrdinal(reading.Log, g, wrongOrdinal);
      return -1;
    }
    if (point.nType == 1) ++reading.Points.nControlPointNum;
    objectList.push_back(point);
  }
  return 1;
}

}  // namespace orvo
