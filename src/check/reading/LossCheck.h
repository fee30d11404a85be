// Cameras, images and points that a run goes on without.
#pragma once

#include "check/SurveyReading.h"

namespace orvo {

/// Says of a block without errors what will be left out, and what goes with it.
void CheckLosses(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis);

}  // namespace orvo
