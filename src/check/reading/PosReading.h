// The POS file of a survey block.
#pragma once

#include <vector>

#include "check/reading/SurveyText.h"
#include "records/SurveyBlock.h"

namespace orvo {

/// Reads all lines; those that can't be used are told and left out, and so are those behind the first
/// `mostLines`, which no images are left for. Angles that the file does not have are 0,
/// its strips -1.
void ReadSurveyPos(SurveyText& text, int64_t mostLines, std::vector<SurveyPos>& lines);

}  // namespace orvo
