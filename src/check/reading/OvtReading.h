// A tie-point file of a survey block.
#pragma once

#include <string>

#include "check/Diagnosis.h"
#include "records/SurveyBlock.h"

namespace orvo {

/// Reads the points in one pass. Records that can't be are told and left out. False where the file can't be
/// read or has not the size that its counts say.
bool ReadSurveyOvt(const std::string& path, SurveyPoints& points, Diagnosis& diagnosis);

}  // namespace orvo
