// The cameras of a block with their conventions, as JSON.
#pragma once

#include <string>

#include "base/TextWriter.h"
#include "records/SurveyBlock.h"

namespace orvo::exchange {

/// `pixel`: the size of an image unit in micrometres, for lengths in millimetres; 0 where it is not known.
/// Each camera also has a table of its distortion over the radius, by which any program can be held to it.
std::string CameraFileText(const SurveyBlock& block, double pixel);

}  // namespace orvo::exchange
