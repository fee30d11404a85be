// Which cameras and images a run takes, whatever their measurements are.
#pragma once

#include "records/SurveyBlock.h"

namespace orvo {

/// f is above 0 and at most 1e6, and the principal point is finite.
bool RunTakesCamera(const SurveyCamera& camera);
/// The position is exactly 0 0 0, which stands for none.
bool IsAtOrigin(const SurveyImage& image);
/// Position and angles are finite.
bool HasFiniteOrientation(const SurveyImage& image);

}  // namespace orvo
