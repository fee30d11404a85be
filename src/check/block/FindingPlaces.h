// Where findings about parts of a block point at.
#pragma once

#include <string>

#include "check/BlockCheck.h"

namespace orvo {

/// The first tie point, for what holds for all measurements.
FindingPlace PlaceOfMeasurements(const BlockCheckInput& input);
FindingPlace PlaceOfCamera(const BlockCheckInput& input, size_t camera);
/// Line 0 is that of the image's number, 2 that of its matrix, 3 that of its position.
FindingPlace PlaceOfImage(const BlockCheckInput& input, size_t image, int line = 0);
FindingPlace PlaceOfTiePoint(const BlockCheckInput& input, const SurveyPoint& point);
FindingPlace PlaceOfControl(const BlockCheckInput& input, const SurveyPoint& point);
FindingPlace PlaceOfPos(const BlockCheckInput& input, const SurveyPos& pos);

}  // namespace orvo
