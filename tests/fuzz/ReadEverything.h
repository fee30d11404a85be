// Every reader of a block over one set of files, with what must hold tested behind each.
#pragma once

#include <string>

#include "base/TextReader.h"
#include "block/OvtFile.h"
#include "fuzz/Invariants.h"

namespace orvo::test {

/// Reads every planned section; empty when all is well, else what is wrong.
inline std::string ReadEverySection(CBundleAdjustment& block) {
  for (int32_t section = 0; section < block.Points.Sections.Count(); ++section) {
    int64_t count = -1;
    if (block.ReadSectionPoints(section, block.Paths.szProjectPath, block.Paths.szGcpPath, count) != 1)
      return "section not read";
    const int64_t uncounted = static_cast<int64_t>(block.Points.pObjectPoints.size()) - count;
    if (uncounted < 0 || uncounted > std::ssize(block.Points.pGcpTable)) return "count of the section";
    if (count > block.Points.Sections.ObjectPoints[static_cast<size_t>(section)].Count())
      return "more points than planned";
    const std::string wrong =
        WhatIsWrongWithPoints(block, block.Points.pObjectPoints, block.Points.pImagePoints);
    if (!wrong.empty()) return wrong;
    block.ReleaseSectionPoints();
  }
  return WhatIsWrongWithImages(block);
}

/// The way of an adjustment: count, read, plan, read every section, twice.
inline std::string ReadForAdjustment(CBundleAdjustment& block, const std::string& project,
                                     const std::string& gcp) {
  if (block.PreReadData(project, gcp) == 0) return {};
  if (block.Points.pPointImageCount.size() != static_cast<size_t>(block.Points.nTiePointNum))
    return "pPointImageCount";
  const int result = block.ReadProject(project, gcp);
  std::string wrong = WhatIsWrongWithImages(block);
  if (!wrong.empty() || result == 0) return wrong;
  block.PlanSections(block.Images.nImageNum, block.Cameras.nCameraNum, block.Points.nObjectPointNum,
                     block.Points.nImagePointNum, &block.Points.pPointImageCount);
  wrong = WhatIsWrongWithSections(block, block.Points.nObjectPointNum);
  if (!wrong.empty()) return wrong;
  if (block.ReadGcpTable(gcp) != 1) return "ReadGcpTable";
  if (block.Points.nGcpFileNum != block.Points.nGcpNum) return "nGcpFileNum";
  if (block.Points.nGcpFileNum != static_cast<int32_t>(block.Points.pGcpTable.size())) return "pGcpTable";
  wrong = ReadEverySection(block);
  if (!wrong.empty()) return wrong;
  const int32_t control = block.Points.nControlPointNum, check = block.Points.nCheckPointNum;
  wrong = ReadEverySection(block);
  if (!wrong.empty()) return wrong;
  if (control != block.Points.nControlPointNum || check != block.Points.nCheckPointNum)
    return "points were counted twice";
  return {};
}

/// The way of the modes that adjust nothing: nothing is counted, the .ovt is divided by its points.
inline std::string ReadForResults(CBundleAdjustment& block, const std::string& project,
                                  const std::string& gcp, const std::string& ovt) {
  block.Paths.szProjectPath = project;
  block.Paths.szGcpPath = gcp;
  block.Paths.szOvtPath = ovt;
  const int result = block.ReadProject(project, gcp);
  std::string wrong = WhatIsWrongWithImages(block);
  if (!wrong.empty() || result == 0) return wrong;
  TextReader gcpFile;
  if (gcpFile.Open(gcp)) {
    std::vector<ObjectPointRecord> points;
    std::vector<ImagePointRecord> images;
    block.ReadGcpList(points, images, gcpFile);
    wrong = WhatIsWrongWithPoints(block, points, images);
    if (!wrong.empty()) return wrong;
  }
  OvtReader ovtFile;
  if (!ovtFile.Open(ovt)) return {};
  block.Points.nTiePointNum = ovtFile.PointNum();
  block.PlanSections(block.Images.nImageNum, block.Cameras.nCameraNum, ovtFile.PointNum(),
                     ovtFile.MeasureNum(), nullptr);
  wrong = WhatIsWrongWithSections(block, ovtFile.PointNum());
  return wrong.empty() ? ReadEverySection(block) : wrong;
}

}  // namespace orvo::test
