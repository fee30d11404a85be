// What is wrong with a block whose files can be read: conventions, geometry, control, positions.
#pragma once

#include <string>

#include "check/Diagnosis.h"
#include "records/AdjustmentSettings.h"
#include "records/SurveyBlock.h"

namespace orvo {

/// Files that findings point at; empty where a block has none.
struct SurveyFiles {
  std::string szProject, szOvt, szGcp, szPos, szSettings;
};

/// What a block is checked with. Settings as the run will have them.
struct BlockCheckInput {
  const SurveyBlock& Block;
  const SurveyFiles& Files;
  const AdjustmentSettings& Settings;
};

/// Conventions of image axes and matrices, by trying them on a sample of points. True where another reading
/// is the right one: then nothing that follows from orientations can be told of the block.
bool CheckConventions(const BlockCheckInput& input, Diagnosis& diagnosis);
void CheckGeometry(const BlockCheckInput& input, Diagnosis& diagnosis);
void CheckControl(const BlockCheckInput& input, Diagnosis& diagnosis);
/// Positions and angles of the POS file against the project.
void CheckPositions(const BlockCheckInput& input, Diagnosis& diagnosis);

/// All of them in this order; the last three only where the conventions stand.
void CheckBlock(const BlockCheckInput& input, Diagnosis& diagnosis);

}  // namespace orvo
