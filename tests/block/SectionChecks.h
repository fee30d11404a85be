// Reading a section in a test.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "block/BlockFiles.h"
#include "fuzz/Invariants.h"

namespace orvo::test {

using NameList = std::vector<std::string>;

/// Names of the points in memory.
inline NameList Names(const BlockParts& block) {
  NameList names;
  for (const ObjectPointRecord& point : block.Points.pObjectPoints) names.emplace_back(point.szName);
  return names;
}

/// Reads one section and tests what must hold whatever was read.
inline int64_t Read(LoggedBlock& block, int32_t section) {
  int64_t count = -1;
  EXPECT_EQ(1, block->Read(section, count));
  EXPECT_EQ("", WhatIsWrongWithPoints(block->Images, block->Cameras, block->Points.pObjectPoints,
                                      block->Points.pImagePoints));
  // A wrong ordinal in the GCP file leaves its points in memory and out of the count.
  const int64_t uncounted = static_cast<int64_t>(block->Points.pObjectPoints.size()) - count;
  EXPECT_GE(uncounted, 0);
  EXPECT_LE(uncounted, static_cast<int64_t>(block->Points.pGcpTable.size()));
  EXPECT_EQ(section, block->Points.nCurrentSection);
  return count;
}

inline void MakeSections(BlockParts& block, const std::vector<PointSectionTable::Range>& ranges) {
  block.Points.Sections.ObjectPoints = ranges;
  block.Points.Sections.ImagePoints.assign(ranges.size(), {});
}

}  // namespace orvo::test
