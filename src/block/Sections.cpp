// Planning of the sections and reading of one of them.
#include <algorithm>
#include <cinttypes>

#include "base/LargeArray.h"
#include "base/MemoryPurpose.h"
#include "base/TextReader.h"
#include "block/Gsd.h"
#include "block/Measurement.h"
#include "block/OvtFile.h"
#include "block/SectionPlan.h"
#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::PlanSections(int32_t imageNum, int32_t cameraNum, int64_t objectPointNum,
                                    int64_t imagePointNum, const std::vector<int32_t>* counts) {
  const double limit = 0.8 * static_cast<double>(System.FreePhysicalBytes());
  const int64_t need = EstimateBlockBytes(imageNum, cameraNum, objectPointNum, imagePointNum);
  const int32_t sectionNum = CountSections(need, limit, objectPointNum);
  LogPrintf("CPU Sections:%d\n", sectionNum);
  Points.Sections = counts != nullptr
                        ? DivideByImagePoints(sectionNum, objectPointNum, imagePointNum, *counts)
                        : DivideByObjectPoints(sectionNum, objectPointNum, imagePointNum);
  for (size_t s = 0; s < Points.Sections.ObjectPoints.size(); ++s) {
    LogPrintf("%" PRId64 "/%" PRId64 " %" PRId64 "/%" PRId64 "\n", Points.Sections.ObjectPoints[s].nFirst,
              Points.Sections.ImagePoints[s].nFirst, Points.Sections.ObjectPoints[s].nLast,
              Points.Sections.ImagePoints[s].nLast);
  }
  return 1;
}

int CBundleAdjustment::ReadSectionPoints(int32_t section) {
  int64_t count = 0;
  return ReadSectionPoints(section, Paths.szProjectPath, Paths.szGcpPath, count);
}

int CBundleAdjustment::ReadSectionPoints(int32_t section, const std::string& project, const std::string& gcp,
                                         int64_t& count) {
  const MemoryPurpose purpose("the points of a section");
  count = 0;
  Points.pObjectPoints.clear();
  Points.pImagePoints.clear();
  if (section < 0 || section >= Points.Sections.Count()) return 0;
  Points.nCurrentSection = section;
  const PointSectionTable::Range range = Points.Sections.ObjectPoints[static_cast<size_t>(section)];
  if (range.Count() < 1) return 1;

  int64_t imageCount = 0;
  if (range.nFirst < Points.nTiePointNum) {
    ReadSectionTiePoints(section, project, count, imageCount);
    NormalizeProjectControl();
  }
  if (range.nLast >= Points.nTiePointNum) {
    LogPrintf(">>>>Reading gcp file...\n");
    TextReader file(&Inputs);
    if (file.Open(gcp)) {
      ReadGcpPoints(section, count, imageCount, file);
    } else {
      LogPrintf("Error!Open gcp file falied!\n");
    }
  }
  const auto counted =
      std::span<const ImagePointRecord>(Points.pImagePoints).first(static_cast<size_t>(imageCount));
  Frame.fGsd = ComputeGsd(Points.pObjectPoints, counted, Settings.Image_Coor_Scale);
  PointSectionTable::Range& imageRange = Points.Sections.ImagePoints[static_cast<size_t>(section)];
  imageRange = {0, -1};
  if (count > 0) {
    const ObjectPointRecord& last = Points.pObjectPoints[static_cast<size_t>(count) - 1];
    imageRange = {Points.pObjectPoints.front().nFirstImagePoint,
                  last.nFirstImagePoint + last.nImagePointNum - 1};
  }
  return CheckInputs();
}

void CBundleAdjustment::ReadSectionTiePoints(int32_t section, const std::string& project, int64_t& count,
                                             int64_t& imageCount) {
  if (!Paths.szOvtPath.empty()) {
    LogPrintf(">>>>Reading ovt file...%d\n", section);
    OvtReader file(&Inputs);
    if (file.Open(Paths.szOvtPath)) {
      ReadOvtPoints(section, count, imageCount, file);
    } else {
      LogPrintf("Open ovt file failed!\n");
    }
    return;
  }
  LogPrintf(">>>>Reading points from prj file...\n");
  TextReader file(&Inputs);
  if (file.Open(project)) {
    ReserveSectionPoints(section);
    ReadTextPoints(section, Points.pObjectPoints, Points.pImagePoints, file);
  } else {
    LogPrintf("Error!Open prj file failed!\n");
  }
  count = static_cast<int64_t>(Points.pObjectPoints.size());
  imageCount = static_cast<int64_t>(Points.pImagePoints.size());
}

void CBundleAdjustment::ReserveSectionPoints(int32_t section) {
  const PointSectionTable::Range range = Points.Sections.ObjectPoints[static_cast<size_t>(section)];
  const int64_t counted =
      std::min<int64_t>(Points.nTiePointNum, static_cast<int64_t>(Points.pPointImageCount.size()));
  int64_t points = 0, imagePoints = 0;
  for (int64_t i = range.nFirst; i <= range.nLast && i < counted; ++i) {
    ++points;
    imagePoints += Points.pPointImageCount[static_cast<size_t>(i)];
  }
  if (range.nLast >= Points.nTiePointNum) {
    points += Points.nGcpNum;
    imagePoints += Points.nGcpImagePointNum;
  }
  ReserveLarge(Points.pObjectPoints, static_cast<size_t>(points));
  ReserveLarge(Points.pImagePoints, static_cast<size_t>(std::min(imagePoints, Points.nImagePointNum)));
}

}  // namespace orvo
