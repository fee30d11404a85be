// What a rigorous run knows of its own precision, and which control it set aside, as reasons of its verdict.
#pragma once

#include <string>
#include <vector>

#include "verdict/Judge.h"
#include "verdict/VerdictFigures.h"
#include "verdict/VerdictLimits.h"

namespace orvo {

/// Of other runs, none.
void JudgePrecision(const VerdictFigures& figures, const VerdictLimits& limits,
                    std::vector<VerdictReason>& reasons);

/// A control point that had no part in the adjustment.
bool IsLeftOut(const std::string& control, const VerdictFigures& figures);

}  // namespace orvo
