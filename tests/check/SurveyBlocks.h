// Blocks as values, for tests that change them.
#pragma once

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>

#include "check/BlockCheck.h"
#include "check/SurveyReading.h"
#include "check/block/LeastSquaresIntersection.h"
#include "support/Block.h"

namespace orvo::test {

inline SurveyBlock ReadBlock(SurveyFiles files) {
  SurveyBlock block;
  Diagnosis diagnosis;
  EXPECT_TRUE(ReadSurvey(files, block, diagnosis)) << files.szProject;
  return block;
}

inline SurveyBlock ReadGenerated(const SyntheticOptions& options) {
  const Block block(options, {true, false, true, true, false, false});
  SurveyFiles files;
  files.szProject = block.Paths().szText;
  files.szGcp = block.Paths().szGcp;
  files.szPos = block.Paths().szPos;
  return ReadBlock(files);
}

/// Codes above a note with what helps, a line each: "C002: Write x - 1800, 1350 - y".
inline std::string Remedies(const SurveyBlock& block, const AdjustmentSettings& settings = {}) {
  const SurveyFiles files{"block.prj", "", "gcp.txt", "pos.txt", ""};
  Diagnosis diagnosis;
  CheckBlock({block, files, settings}, diagnosis);
  std::string text;
  for (const Finding& finding : diagnosis.Findings()) {
    if (finding.Weight == Severity::Note) continue;
    if (!text.empty()) text += '\n';
    text += finding.szCode + ": " + finding.szRemedy;
  }
  return text;
}

/// All codes, notes among them: "G008 P007".
inline std::string Codes(const SurveyBlock& block, const AdjustmentSettings& settings = {}) {
  const SurveyFiles files{"block.prj", "", "gcp.txt", "pos.txt", ""};
  Diagnosis diagnosis;
  CheckBlock({block, files, settings}, diagnosis);
  std::string text;
  for (const Finding& finding : diagnosis.Findings()) text += (text.empty() ? "" : " ") + finding.szCode;
  return text;
}

/// Makes control points of `count` tie points with five rays and more that lie far from each other; their
/// coordinates are where their rays meet.
inline void AddControl(SurveyBlock& block, size_t count) {
  const std::vector<bool> usable = UsableImages(block);
  std::vector<SurveyPoint> candidates;
  for (const SurveyPoint& point : block.Tie.Points) {
    if (point.nMeasurementNum < 5) continue;
    const auto met = IntersectLeastSquares(RaysOf(block, usable, block.Tie.Of(point), 1));
    if (!met) continue;
    candidates.push_back(point);
    candidates.back().P = met->P;
  }
  std::vector<double> distance(candidates.size(), HUGE_VAL);
  size_t next = 0;
  while (block.Control.Points.size() < count && !candidates.empty()) {
    SurveyPoint point = candidates[next];
    const auto measurements = block.Tie.Of(point);
    point.nType = 1;
    point.nFirstMeasurement = static_cast<int64_t>(block.Control.Measurements.size());
    block.Control.Measurements.insert(block.Control.Measurements.end(), measurements.begin(),
                                      measurements.end());
    block.Control.Points.push_back(point);
    for (size_t i = 0; i < candidates.size(); ++i) {
      const auto &p = candidates[i].P, &q = point.P;
      distance[i] = std::min(distance[i], std::hypot(p[0] - q[0], p[1] - q[1]));
    }
    next = static_cast<size_t>(std::ranges::max_element(distance) - distance.begin());
  }
}

}  // namespace orvo::test
