// What is exported: a result folder or a project, with its points.
#pragma once

#include <string>

#include "check/BlockCheck.h"
#include "records/SurveyBlock.h"

namespace orvo::exchange {

/// A block to be exported or told about. Points of results come from OrvoResult.ovt, or where the result has
/// none from the project, intersected from the resulting orientations.
struct ResultBlock {
  SurveyFiles Files;
  SurveyBlock Block;
  bool bResult = false;  ///< from a result folder
};

/// `path`: a result folder (or OrvoResult.ovc in one), or a project. `project`: the project that a result
/// comes from, needed where the folder has no OrvoResult.ovt; empty to find it by the log. Throws
/// ExchangeFault.
ResultBlock ReadResult(const std::string& path, const std::string& project = {}, const std::string& gcp = {},
                       const std::string& pos = {});

}  // namespace orvo::exchange
