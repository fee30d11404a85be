// Cameras and images of a project.
#pragma once

#include "check/reading/SurveyText.h"
#include "records/SurveyBlock.h"

namespace orvo {

struct SurveyHead {
  int64_t nPointNum = 0;     ///< as the first line says, 0 for an .ovc
  int64_t nMeasureNum = -1;  ///< of an .ovt
};

/// Reads the first line, cameras and images; `withPoints`: of a text project. False behind a fault that
/// leaves open what follows. A field that can't be read is 0, and not finite where the file says so.
bool ReadSurveyHead(SurveyText& text, bool withPoints, SurveyBlock& block, SurveyHead& head);

}  // namespace orvo
