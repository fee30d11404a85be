// Control and check points.
#include <algorithm>

#include "base/MemoryPurpose.h"
#include "block/Measurement.h"
#include "block/ProjectText.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

/// Appends the measurements in the next lines and gives `point` their first index and their number. False,
/// with nothing appended, at an image ordinal out of range, which goes to `wrongOrdinal`; where that is null,
/// such a measurement is one on a deleted image.
bool AppendMeasures(TextReader& file, std::span<const ImageReference> references, double imageScale,
                    int32_t objectPoint, ObjectPointRecord& point, std::vector<ImagePointRecord>& imagePoints,
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

}  // namespace

int CBundleAdjustment::ReadGcpTable(const std::string& gcp) {
  const MemoryPurpose purpose("the control points");
  TextReader file(&Inputs);
  if (!Points.pGcpTable.empty()) return 1;
  if (!file.Open(gcp)) return CheckInputs();
  Points.pGcpTable = ReadGcpRecords(file);
  Points.nGcpFileNum = static_cast<int32_t>(Points.pGcpTable.size());
  return CheckInputs();
}

int CBundleAdjustment::ReadGcpPoints(int32_t section, int64_t& count, int64_t& imageCount, TextReader& file) {
  if (Points.pGcpTable.empty()) {
    Points.pGcpTable = ReadGcpRecords(file);
    file.Rewind();
  }
  Points.nGcpFileNum = std::min(ReadGcpCount(file), static_cast<int32_t>(Points.pGcpTable.size()));
  PointSectionTable::Range range{0, Points.nObjectPointNum};
  if (section >= 0 && section < Points.Sections.Count())
    range = Points.Sections.ObjectPoints[static_cast<size_t>(section)];
  const auto references = MakeImageReferences(Images.pImageIndex, Images.pImageCamera, Cameras.pCameraIndex,
                                              Images.nImageNum, Cameras.UsableNum());
  std::string_view line;
  for (int32_t g = 0; g < Points.nGcpFileNum && Points.nTiePointNum + g <= range.nLast && file.Next(line);
       ++g) {
    if (Points.nTiePointNum + g < range.nFirst) {
      SkipMeasures(file);
      continue;
    }
    ObjectPointRecord point = ParsePointLine(line);
    // Normalisation changes the table, not the file.
    const ObjectPointRecord& known = Points.pGcpTable[static_cast<size_t>(g)];
    point.X = known.X;
    point.Y = known.Y;
    point.Z = known.Z;
    int32_t wrongOrdinal = 0;
    if (!AppendMeasures(file, references, Settings.Image_Coor_Scale,
                        static_cast<int32_t>(Points.pObjectPoints.size()), point, Points.pImagePoints,
                        &wrongOrdinal)) {
      // Deliberate: the points in front of it are in memory and not in the counts.
      LogPrintf("Error!Image ID of the point %d %d is out of range!\n", g, wrongOrdinal);
      return -1;
    }
    Points.pObjectPoints.push_back(point);
  }
  count = static_cast<int64_t>(Points.pObjectPoints.size());
  imageCount = static_cast<int64_t>(Points.pImagePoints.size());
  return 1;
}

int CBundleAdjustment::ReadGcpForResample(int64_t& objectCount, int64_t& imageCount, TextReader& file) {
  if (Points.pGcpTable.empty()) {
    Points.pGcpTable = ReadGcpRecords(file);
    file.Rewind();
  }
  Points.nGcpFileNum = std::min(ReadGcpCount(file), static_cast<int32_t>(Points.pGcpTable.size()));
  const auto references = MakeImageReferences(Images.pImageIndex, Images.pImageCamera, Cameras.pCameraIndex,
                                              Images.nImageNum, Cameras.UsableNum());
  Points.nControlPointNum = 0;
  objectCount = imageCount = 0;
  std::string_view line;
  for (int32_t g = 0; g < Points.nGcpFileNum && file.Next(line); ++g) {
    ObjectPointRecord point = ParsePointLine(line);
    const ObjectPointRecord& known = Points.pGcpTable[static_cast<size_t>(g)];
    point.X = known.X;
    point.Y = known.Y;
    point.Z = known.Z;
    AppendMeasures(file, references, Settings.Image_Coor_Scale,
                   static_cast<int32_t>(Points.pObjectPoints.size()), point, Points.pImagePoints, nullptr);
    Points.pObjectPoints.push_back(point);
    if (point.nType == 1) ++Points.nControlPointNum;
    ++objectCount;
    imageCount += known.nImagePointNum;
  }
  return 1;
}

int CBundleAdjustment::ReadGcpList(std::vector<ObjectPointRecord>& objectList,
                                   std::vector<ImagePointRecord>& imagePointList, TextReader& file) {
  const int32_t pointNum = ReadGcpCount(file);
  const auto references = MakeImageReferences(Images.pImageIndex, Images.pImageCamera, Cameras.pCameraIndex,
                                              Images.nImageNum, Cameras.UsableNum());
  Points.nControlPointNum = 0;
  std::string_view line;
  for (int32_t g = 0; g < pointNum && file.Next(line); ++g) {
    ObjectPointRecord point = ParsePointLine(line);
    int32_t wrongOrdinal = 0;
    if (!AppendMeasures(file, references, Settings.Image_Coor_Scale, static_cast<int32_t>(objectList.size()),
                        point, imagePointList, &wrongOrdinal)) {
      LogPrintf("Error!Image ID of the point %d %d is out of range!\n", g, wrongOrdinal);
      return -1;
    }
    if (point.nType == 1) ++Points.nControlPointNum;
    objectList.push_back(point);
  }
  return 1;
}

}  // namespace orvo
