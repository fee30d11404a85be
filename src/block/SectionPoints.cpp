#include "block/SectionPoints.h"

#include <algorithm>
#include <span>

#include "base/LargeArray.h"
#include "base/MemoryPurpose.h"
#include "base/ReadingFailed.h"
#include "base/TextReader.h"
#include "block/GcpPoints.h"
#include "block/Gsd.h"
#include "block/OvtFile.h"
#include "block/OvtPoints.h"
#include "block/TextPoints.h"

namespace orvo {
namespace {

/// Room for all points of a section of a text project.
void ReserveSection(PointStore& points, int32_t section) {
  const PointSectionTable::Range range = points.Sections.ObjectPoints[static_cast<size_t>(section)];
  const int64_t counted =
      std::min<int64_t>(points.nTiePointNum, static_cast<int64_t>(points.pPointImageCount.size()));
  int64_t pointNum = 0, imagePointNum = 0;
  for (int64_t i = range.nFirst; i <= range.nLast && i < counted; ++i) {
    ++pointNum;
    imagePointNum += points.pPointImageCount[static_cast<size_t>(i)];
  }
  if (range.nLast >= points.nTiePointNum) {
    pointNum += points.nGcpNum;
    imagePointNum += points.nGcpImagePointNum;
  }
  ReserveLarge(points.pObjectPoints, static_cast<size_t>(pointNum));
  ReserveLarge(points.pImagePoints, static_cast<size_t>(std::min(imagePointNum, points.nImagePointNum)));
}

void ReadTiePoints(const SectionReading& reading, int32_t section, const std::string& project, int64_t& count,
                   int64_t& imageCount) {
  PointStore& points = reading.Points;
  if (!reading.Paths.szOvtPath.empty()) {
    reading.Log.Print(">>>>Reading ovt file...%d\n", section);
    OvtReader file(&reading.Inputs);
    if (file.Open(reading.Paths.szOvtPath)) {
      ReadOvtSection(reading, section, count, imageCount, file);
    } else {
      reading.Log.Print("Open ovt file failed!\n");
    }
    return;
  }
  reading.Log.Print(">>>>Reading points from prj file...\n");
  TextReader file(&reading.Inputs);
  if (file.Open(project)) {
    ReserveSection(points, section);
    ReadTextSection(reading, section, points.pObjectPoints, points.pImagePoints, file);
  } else {
    reading.Log.Print("Error!Open prj file failed!\n");
  }
  count = static_cast<int64_t>(points.pObjectPoints.size());
  imageCount = static_cast<int64_t>(points.pImagePoints.size());
}

void ReadControlPoints(const SectionReading& reading, int32_t section, const std::string& gcp, int64_t& count,
                       int64_t& imageCount) {
  reading.Log.Print(">>>>Reading gcp file...\n");
  TextReader file(&reading.Inputs);
  if (file.Open(gcp)) {
    ReadGcpSection({reading.Settings, reading.Images, reading.Cameras, reading.Points, reading.Log}, section,
                   count, imageCount, file);
  } else {
    reading.Log.Print("Error!Open gcp file falied!\n");
  }
}

/// Of the first `count` points in memory.
PointSectionTable::Range ImagePointsOf(const ObjectPointArray& points, int64_t count) {
  if (count < 1) return {0, -1};
  const ObjectPointRecord& last = points[static_cast<size_t>(count) - 1];
  return {points.front().nFirstImagePoint, last.nFirstImagePoint + last.nImagePointNum - 1};
}

}  // namespace

bool ReadSection(const SectionReading& reading, int32_t section, const PointFiles& files,
                 const std::function<void()>& tiePointsRead, float& gsd, int64_t& count) {
  const MemoryPurpose purpose("the points of a section");
  PointStore& points = reading.Points;
  count = 0;
  points.pObjectPoints.clear();
  points.pImagePoints.clear();
  if (section < 0 || section >= points.Sections.Count()) return false;
  points.nCurrentSection = section;
  const PointSectionTable::Range range = points.Sections.ObjectPoints[static_cast<size_t>(section)];
  if (range.Count() < 1) return true;

  int64_t imageCount = 0;
  if (range.nFirst < points.nTiePointNum) {
    ReadTiePoints(reading, section, files.szProject, count, imageCount);
    tiePointsRead();
  }
  if (range.nLast >= points.nTiePointNum) {
    ReadControlPoints(reading, section, files.szGcp, count, imageCount);
  }
  const auto counted =
      std::span<const ImagePointRecord>(points.pImagePoints).first(static_cast<size_t>(imageCount));
  gsd = ComputeGsd(points.pObjectPoints, counted, reading.Settings.Image_Coor_Scale);
  points.Sections.ImagePoints[static_cast<size_t>(section)] = ImagePointsOf(points.pObjectPoints, count);
  return !ReadingFailed(reading.Inputs, reading.Log);
}

}  // namespace orvo
