// Names and numbers in findings about a block.
#pragma once

#include <string>

#include "records/SurveyBlock.h"

namespace orvo {

/// The name of an image for people; its number where it has none.
std::string NameOfImage(const SurveyImage& image);
std::string NameOfPoint(const SurveyPoint& point);

/// A clause with a capital.
std::string Sentence(std::string clause);

/// A length or an angle to three digits, without exponent while it is below 1e7.
std::string Figure(double value);

}  // namespace orvo
