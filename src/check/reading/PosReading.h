// The POS file of a survey block.
#pragma once

#include <vector>

#include "check/reading/SurveyText.h"
#include "records/SurveyBlock.h"

namespace orvo {

/// Reads all lines; those that can't be used are told and left out. Angles that the file does not have are 0,
/// its strips -1.
void ReadSurveyPos(SurveyText& text, std::vector<SurveyPos>& lines);

}  // namespace orvo
