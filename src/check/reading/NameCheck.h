// Names of images, POS lines and control points against each other.
#pragma once

#include "check/SurveyReading.h"

namespace orvo {

/// Names of images that are missing or stand twice, and control points of one name.
void CheckNames(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis);
/// Lines of the POS file against the images.
void CheckPosNames(const SurveyFiles& files, const SurveyBlock& block, Diagnosis& diagnosis);

}  // namespace orvo
