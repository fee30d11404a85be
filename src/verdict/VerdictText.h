// The verdict as people read it.
#pragma once

#include <string>

#include "verdict/Judge.h"

namespace orvo {

/// "Verdict: GRADE", then a line for each reason: grade, what and how much, limit, what to do next. Every
/// line ends with a line feed.
std::string VerdictText(const Verdict& verdict);
/// The lines of the reasons alone.
std::string ReasonText(const Verdict& verdict);

}  // namespace orvo
