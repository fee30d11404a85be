// Object points with their measurements in a text: tie points of a project, points of a GCP file.
#pragma once

#include "check/reading/SurveyText.h"
#include "records/SurveyBlock.h"

namespace orvo {

/// Reads `pointNum` points and looks at what stands behind them. A measurement that can't be read is left
/// out, a point without coordinates too. False where the file ends before its counts.
bool ReadSurveyPoints(SurveyText& text, int64_t pointNum, SurveyPoints& points);

}  // namespace orvo
