// Every reader of a block over one set of files, with what must hold tested behind each.
#pragma once

#include <string>

#include "base/TextReader.h"
#include "block/OvtFile.h"
#include "fuzz/Invariants.h"

namespace orvo::test {

/// Reads every planned section; empty when all is well, else what is wrong.
inline std::string ReadEverySection(BlockParts& block) {
  for (int32_t section = 0; section < block.Points.Sections.Count(); ++section) {
    int64_t count = -1;
    if (!block.Read(section, count)) return "section not read";
    const int64_t uncounted = static_cast<int64_t>(block.Points.pObjectPoints.size()) - count;
    if (uncounted < 0 || uncounted > std::ssize(block.Points.pGcpTable)) return "count of the section";
    if (count > block.Points.Sections.ObjectPoints[static_cast<size_t>(section)].Count())
      return "more points than planned";
    const std::string wrong = WhatIsWrongWithPoints(block.Images, block.Cameras, block.Points.pObjectPoints,
                                                    block.Points.pImagePoints);
    if (!wrong.empty()) return wrong;
    block.Points.pObjectPoints = {};
    block.Points.pImagePoints = {};
  }
  return WhatIsWrongWithImages(block);
}

/// The way of an adjustment: count, read, plan, read every section, twice.
inline std::string ReadForAdjustment(BlockParts& block, const std::string& project, const std::string& gcp) {
  if (!block.Count(project, gcp)) return {};
  if (block.Points.pPointImageCount.size() != static_cast<size_t>(block.Points.nTiePointNum))
    return "pPointImageCount";
  const int result = block.ReadTables(project);
  std::string wrong = WhatIsWrongWithImages(block);
  if (!wrong.empty() || result == 0) return wrong;
  block.Plan();
  wrong = WhatIsWrongWithSections(block.Points.Sections, block.Points.nObjectPointNum);
  if (!wrong.empty()) return wrong;
  if (!MakeGcpTable(gcp, block.Points, block.Inputs, block.Log)) return "MakeGcpTable";
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
inline std::string ReadForResults(BlockParts& block, const std::string& project, const std::string& gcp,
                                  const std::string& ovt) {
  block.Paths.szProjectPath = project;
  block.Paths.szGcpPath = gcp;
  block.Paths.szOvtPath = ovt;
  const int result = block.ReadTables(project);
  std::string wrong = WhatIsWrongWithImages(block);
  if (!wrong.empty() || result == 0) return wrong;
  TextReader gcpFile;
  if (gcpFile.Open(gcp)) {
    ObjectPointArray points;
    ImagePointArray images;
    ReadGcpFile(block.Gcp(), points, images, gcpFile);
    wrong = WhatIsWrongWithPoints(block.Images, block.Cameras, points, images);
    if (!wrong.empty()) return wrong;
  }
  OvtReader ovtFile;
  if (!ovtFile.Open(ovt)) return {};
  block.Points.nTiePointNum = ovtFile.PointNum();
  block.Points.Sections = PlanPointSections(
      {block.Images.nImageNum, block.Cameras.nCameraNum, ovtFile.PointNum(), ovtFile.MeasureNum()}, nullptr,
      block.System.FreePhysicalBytes(), block.Log);
  wrong = WhatIsWrongWithSections(block.Points.Sections, ovtFile.PointNum());
  return wrong.empty() ? ReadEverySection(block) : wrong;
}

}  // namespace orvo::test
