// Tie points of a text project.
#include <cinttypes>

#include "block/Measurement.h"
#include "block/ProjectText.h"
#include "run/BundleAdjustment.h"

namespace orvo {
namespace {

enum class Outcome { Accepted, Rejected, WrongOrdinal };

/// Appends the measurements in the next lines and gives `point` their first index and their number; one that
/// is on a deleted image rejects them all. Cameras grow with the measurements, of a rejected point too.
/// Nothing is appended unless the point is accepted. At an image ordinal out of range, `measureNum` is that
/// measurement's.
Outcome AppendMeasures(TextReader& file, std::span<const ImageReference> references, double imageScale,
                       int32_t objectPoint, ObjectPointRecord& point,
                       std::vector<ImagePointRecord>& imagePoints, std::vector<IopRecord>& cameras,
                       int32_t& measureNum) {
  const size_t first = imagePoints.size();
  const bool usable = MakePositionUsable(point);
  const int32_t count = ReadMeasureCount(file);
  Outcome outcome = Outcome::Accepted;
  std::string_view line;
  for (int32_t m = 0; m < count && file.Next(line); ++m) {
    MeasureLine measure;
    if (!ParseMeasure(line, measure)) continue;
    const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);
    if (measure.nImageOrdinal < 0 || ordinal >= references.size()) {
      measureNum = m;
      outcome = Outcome::WrongOrdinal;
      break;
    }
    const ImagePointRecord record = MakeImagePoint(usable ? references[ordinal] : ImageReference{}, measure.x,
                                                   measure.y, imageScale, objectPoint);
    if (record.nImage < 0) {
      outcome = Outcome::Rejected;
      continue;
    }
    EnlargeCamera(cameras[static_cast<size_t>(record.nCamera)], measure.x, measure.y);
    imagePoints.push_back(record);
  }
  if (outcome != Outcome::Accepted) imagePoints.resize(first);
  point.nFirstImagePoint = static_cast<int64_t>(first);
  point.nImagePointNum = static_cast<int32_t>(imagePoints.size() - first);
  return outcome;
}

}  // namespace

int CBundleAdjustment::ReadTextPoints(int32_t section, std::vector<ObjectPointRecord>& objectList,
                                      std::vector<ImagePointRecord>& imagePointList, TextReader& file) {
  const PointSectionTable::Range range = Sections.ObjectPoints[static_cast<size_t>(section)];
  const auto references = MakeImageReferences(pImageIndex, pImageCamera, pCameraIndex, nImageNum, nCameraNum);
  const ProjectHeader header = ReadHeader(file);
  SkipCamerasAndImages(file, header);
  std::string_view line;
  for (int64_t i = 0; i < header.nObjectPointNum && i <= range.nLast && file.Next(line); ++i) {
    if (i < range.nFirst) {
      // Deliberate: the second line is the first measurement, and its image ordinal is taken for a count.
      file.Skip(1);
      file.Skip(ReadMeasureCount(file));
      continue;
    }
    ObjectPointRecord point = ParsePointLine(line);
    point.X *= Object_Coor_Scale;
    point.Y *= Object_Coor_Scale;
    point.Z *= Object_Coor_Scale;
    CountTextPoint(i, point.nType);
    int32_t measureNum = 0;
    const Outcome outcome =
        AppendMeasures(file, references, Image_Coor_Scale, static_cast<int32_t>(objectList.size()), point,
                       imagePointList, pIop, measureNum);
    if (outcome == Outcome::WrongOrdinal) {
      LogPrintf("Error!Image ID is invalid:%d %" PRId64 "\n", measureNum, i);
      return -1;
    }
    if (outcome == Outcome::Accepted) objectList.push_back(point);
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
