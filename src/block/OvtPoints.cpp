// Tie points of a binary tie-point file.
#include <algorithm>
#include <cinttypes>

#include "block/Measurement.h"
#include "block/OvtFile.h"
#include "block/OvtRange.h"
#include "run/BundleAdjustment.h"
#include "run/LargeArray.h"

namespace orvo {
namespace {

constexpr int64_t kPointsAtOnce = 16384;

/// Cuts the image points of every point to those that it may take; the number of image points that remain.
int64_t CutToMeasures(std::vector<ObjectPointRecord>& points, int64_t measureNum) {
  OvtRangeCheck ranges(measureNum);
  int64_t sum = 0;
  for (ObjectPointRecord& point : points) {
    point.nImagePointNum = ranges.Take(point.nFirstImagePoint, point.nImagePointNum);
    sum += point.nImagePointNum;
  }
  return sum;
}

}  // namespace

int CBundleAdjustment::ReadOvtPoints(int32_t section, int64_t& count, int64_t& imageCount, OvtReader& file) {
  const PointSectionTable::Range range = Sections.ObjectPoints[static_cast<size_t>(section)];
  const bool withGcp = range.nLast + 1 > file.PointNum();
  const int64_t pointNum = std::clamp<int64_t>(file.PointNum() - range.nFirst, 0, range.Count());
  ReserveLarge(pObjectPoints, static_cast<size_t>(pointNum + (withGcp ? nGcpNum : 0)));

  std::vector<char> records(
      static_cast<size_t>(std::clamp<int64_t>(pointNum, 1, kPointsAtOnce) * kOvtPointBytes));
  while (static_cast<int64_t>(pObjectPoints.size()) < pointNum) {
    const auto done = static_cast<int64_t>(pObjectPoints.size());
    const int64_t read =
        file.ReadPoints(range.nFirst + done, std::min(kPointsAtOnce, pointNum - done), records.data());
    if (read == 0) break;
    for (int64_t i = 0; i < read; ++i)
      pObjectPoints.push_back(MakeObjectPoint(DecodeOvtPoint(records.data() + i * kOvtPointBytes)));
  }
  const int64_t imagePointNum = CutToMeasures(pObjectPoints, file.MeasureNum());
  ReserveLarge(pImagePoints, static_cast<size_t>(imagePointNum + (withGcp ? nGcpImagePointNum : 0)));
  const int result = ReadOvtMeasures(range.nFirst, file);
  count = static_cast<int64_t>(pObjectPoints.size());
  imageCount = static_cast<int64_t>(pImagePoints.size());
  return result;
}

int CBundleAdjustment::ReadOvtMeasures(int64_t firstPoint, OvtReader& file) {
  const auto references = MakeImageReferences(pImageIndex, pImageCamera, pCameraIndex, nImageNum, nCameraNum);
  OvtMeasureWindow window(file);
  bool readable = true;
  int result = 1;
  for (size_t p = 0; p < pObjectPoints.size(); ++p) {
    ObjectPointRecord& point = pObjectPoints[p];
    const int64_t fileIndex = point.nFirstImagePoint;
    const int32_t wanted = readable ? point.nImagePointNum : 0;
    const bool usable = MakePositionUsable(point);
    point.nFirstImagePoint = static_cast<int64_t>(pImagePoints.size());
    point.nImagePointNum = 0;
    for (int32_t m = 0; m < wanted; ++m) {
      const char* record = window.At(fileIndex + m);
      readable = record != nullptr;
      if (!readable) break;
      const OvtMeasure measure = DecodeOvtMeasure(record);
      // An ordinal just behind the last image passes, deliberately, as one on a deleted image.
      if (measure.nImageOrdinal < 0 || measure.nImageOrdinal > nImageFileNum) {
        LogPrintf("Error!Image ID of the point %" PRId64 " is out of range!\n",
                  firstPoint + static_cast<int64_t>(p));
        result = -1;
        readable = false;
        break;
      }
      const auto ordinal = static_cast<size_t>(measure.nImageOrdinal);
      const ImageReference reference = ordinal < references.size() ? references[ordinal] : ImageReference{};
      if (reference.nImage < 0) {
        LogPrintf("Image ID is invalid:%" PRId64 " %d\n", fileIndex + m, measure.nImageOrdinal);
      }
      pImagePoints.push_back(MakeImagePoint(usable ? reference : ImageReference{}, measure.x, measure.y,
                                            Image_Coor_Scale, static_cast<int32_t>(p)));
      ++point.nImagePointNum;
      const int32_t camera = pImagePoints.back().nCamera;
      if (camera >= 0) EnlargeCamera(pIop[static_cast<size_t>(camera)], measure.x, measure.y);
    }
  }
  return result;
}

}  // namespace orvo
