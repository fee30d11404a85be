// Cameras, images and points that a run goes on without.
#pragma once

#include "check/SurveyReading.h"

namespace orvo {

/// Says of a block without errors what will be left out, and what goes with it.
void CheckLosses(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis);

/// Whether an image and a tie point with two measurements on such images are left of a block without errors;
/// tells where not, for an adjustment has no unknowns then.
bool CheckRemainder(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis);

}  // namespace orvo
