// From the figures of a run to its verdict.
#pragma once

#include <string>
#include <vector>

#include "verdict/VerdictFigures.h"
#include "verdict/VerdictLimits.h"

namespace orvo {

enum class Grade { Good, Doubtful, Unusable };

/// "good", "doubtful", "unusable".
const char* GradeName(Grade grade);

struct VerdictReason {
  Grade Weight = Grade::Doubtful;
  std::string szWhat;   ///< what was found, and how much
  std::string szLimit;  ///< empty where there is none
  std::string szRemedy;
};

struct Verdict {
  bool bJudged = false;  ///< false: nobody asked
  Grade Result = Grade::Good;
  std::vector<VerdictReason> vReasons;  ///< the gravest first
};

/// Names in the figures may hold any byte; what comes out is printable.
Verdict Judge(const VerdictFigures& figures, const VerdictLimits& limits = {});

}  // namespace orvo
