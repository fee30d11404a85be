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
  Sections = counts != nullptr ? DivideByImagePoints(sectionNum, objectPointNum, imagePointNum, *counts)
                               : DivideByObjectPoints(sectionNum, objectPointNum, imagePointNum);
  for (size_t s = 0; s < Sections.ObjectPoints.size(); ++s) {
    LogPrintf("%" PRId64 "/%" PRId64 " %" PRId64 "/%" PRId64 "\n", Sections.ObjectPoints[s].nFirst,
              Sections.ImagePoints[s].nFirst, Sections.ObjectPoints[s].nLast, Sections.ImagePoints[s].nLast);
  }
  return 1;
}

int CBundleAdjustment::ReadSectionPoints(int32_t section) {
  int64_t count = 0;
  return ReadSectionPoints(section, szProjectPath, szGcpPath, count);
}

int CBundleAdjustment::ReadSectionPoints(int32_t section, const std::string& project, const std::string& gcp,
                                         int64_t& count) {
  const MemoryPurpose purpose("the points of a section");
  count = 0;
  pObjectPoints.clear();
  pImagePoints.clear();
  if (section < 0 || section >= Sections.Count()) return 0;
  nCurrentSection = section;
  const PointSectionTable::Range range = Sections.ObjectPoints[static_cast<size_t>(section)];
  if (range.Count() < 1) return 1;

  int64_t imageCount = 0;
  if (range.nFirst < nTiePointNum) {
    ReadSectionTiePoints(section, project, count, imageCount);
    NormalizeProjectControl();
  }
  if (range.nLast >= nTiePointNum) {
    LogPrintf(">>>>Reading gcp file...\n");
    TextReader file(&Inputs);
    if (file.Open(gcp)) {
      ReadGcpPoints(section, count, imageCount, file);
    } else {
      LogPrintf("Error!Open gcp file falied!\n");
    }
  }
  const auto counted = std::span<const ImagePointRecord>(pImagePoints).first(static_cast<size_t>(imageCount));
  fGsd = ComputeGsd(pObjectPoints, counted, Image_Coor_Scale);
  PointSectionTable::Range& imageRange = Sections.ImagePoints[static_cast<size_t>(section)];
  imageRange = {0, -1};
  if (count > 0) {
    const ObjectPointRecord& last = pObjectPoints[static_cast<size_t>(count) - 1];
    imageRange = {pObjectPoints.front().nFirstImagePoint, last.nFirstImagePoint + last.nImagePointNum - 1};
  }
  return CheckInputs();
}

void CBundleAdjustment::ReadSectionTiePoints(int32_t section, const std::string& project, int64_t& count,
                                             int64_t& imageCount) {
  if (!szOvtPath.empty()) {
    LogPrintf(">>>>Reading ovt file...%d\n", section);
    OvtReader file(&Inputs);
    if (file.Open(szOvtPath)) {
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
    ReadTextPoints(section, pObjectPoints, pImagePoints, file);
  } else {
    LogPrintf("Error!Open prj file failed!\n");
  }
  count = static_cast<int64_t>(pObjectPoints.size());
  imageCount = static_cast<int64_t>(pImagePoints.size());
}

void CBundleAdjustment::ReserveSectionPoints(int32_t section) {
  const PointSectionTable::Range range = Sections.ObjectPoints[static_cast<size_t>(section)];
  const int64_t counted = std::min<int64_t>(nTiePointNum, static_cast<int64_t>(pPointImageCount.size()));
  int64_t points = 0, imagePoints = 0;
  for (int64_t i = range.nFirst; i <= range.nLast && i < counted; ++i) {
    ++points;
    imagePoints += pPointImageCount[static_cast<size_t>(i)];
  }
  if (range.nLast >= nTiePointNum) {
    points += nGcpNum;
    imagePoints += nGcpImagePointNum;
  }
  ReserveLarge(pObjectPoints, static_cast<size_t>(points));
  ReserveLarge(pImagePoints, static_cast<size_t>(std::min(imagePoints, nImagePointNum)));
}

}  // namespace orvo
