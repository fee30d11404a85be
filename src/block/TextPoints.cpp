// Tie points of a text project.
#include <cinttypes>

#include "block/Measurement.h"
#include "block/ProjectText.h"
#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::ReadTextPoints(int32_t section, std::vector<ObjectPointRecord>& objectList,
                                      std::vector<ImagePointRecord>& imagePointList, TextReader& file) {
  const PointSectionTable::Range range = Sections.ObjectPoints[static_cast<size_t>(section)];
  const auto references = MakeImageReferences(pImageIndex, pImageCamera, pCameraIndex, nImageNum, nCameraNum);
  const ProjectHeader header = ReadHeader(file);
  SkipCamerasAndImages(file, header);
  std::string_view line;
  for (int64_t i = 0; i < header.nObjectPointNum && i <= range.nLast && file.Next(line); ++i) {
    if (i < range.nFirst) {
      // Deliberate: the second line is the point's first measurement, whose image ordinal is taken for a
      // count.
      file.Skip(1);
      file.Skip(ReadMeasureCount(file));
      continue;
    }
    ObjectPointRecord point = ParsePointLine(line);
    point.X *= Object_Coor_Scale;
    point.Y *= Object_Coor_Scale;
    point.Z *= Object_Coor_Scale;
    point.nFirstImagePoint = static_cast<int64_t>(imagePointList.size());
    CountTextPoint(i, point.nType);

    const bool usable = MakePositionUsable(point);
    const auto number = static_cast<int32_t>(objectList.size());
    const int32_t count = ReadMeasureCount(file);
    bool rejected = false;
    for (int32_t m = 0; m < count && file.Next(line); ++m) {
      MeasureLine measure;
      if (!ParseMeasure(line, measure)) continue;
      const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);
      if (measure.nImageOrdinal < 0 || ordinal >= references.size()) {
        LogPrintf("Error!Image ID is invalid:%d %" PRId64 "\n", m, i);
        imagePointList.resize(static_cast<size_t>(point.nFirstImagePoint));
        return -1;
      }
      const ImagePointRecord record = MakeImagePoint(usable ? references[ordinal] : ImageReference{},
                                                     measure.x, measure.y, Image_Coor_Scale, number);
      if (record.nImage < 0) {
        rejected = true;
        continue;
      }
      EnlargeCamera(pIop[static_cast<size_t>(record.nCamera)], measure.x, measure.y);
      if (!rejected) imagePointList.push_back(record);
    }
    if (rejected) {
      imagePointList.resize(static_cast<size_t>(point.nFirstImagePoint));
      continue;
    }
    point.nImagePointNum =
        static_cast<int32_t>(static_cast<int64_t>(imagePointList.size()) - point.nFirstImagePoint);
    objectList.push_back(point);
  }
  return 1;
}

void CBundleAdjustment::CountTextPoint(int64_t ordinal, int32_t type) {
  if (type != 1 && type != 2) return;
  const auto i = static_cast<size_t>(ordinal);
  if (i >= bTextPointCounted.size()) bTextPointCounted.resize(i + 1, false);
  if (bTextPointCounted[i]) return;
  bTextPointCounted[i] = true;
  ++(type == 1 ? nControlPointNum : nCheckPointNum);
}

}  // namespace orvo
