// What is exported: a result folder or a project, with its points.
#pragma once

#include <string>
#include <vector>

#include "check/BlockCheck.h"
#include "exchange/LeftOut.h"
#include "records/SurveyBlock.h"

namespace orvo::exchange {

/// A block to be exported or told about.
struct ResultBlock {
  SurveyFiles Files;     ///< that were read
  SurveyBlock Block;     ///< cameras and images of the result, without those left out
  LeftOut Left;          ///< of what the files have
  bool bResult = false;  ///< from a result folder
  std::string szOrigin;  ///< the project that a result comes from; of a project itself; empty: not known
  std::vector<std::string> Inputs;  ///< further files that it was made of
};

/// `path`: a result folder (or OrvoResult.ovc in one), or a project. `project`: the project that a result
/// comes from; empty: the one text project beside the result folder that has its images, where the folder has
/// no OrvoResult.ovt. Tie points of a result are intersected anew from its orientations, by plain least
/// squares; those that don't meet keep their coordinates. Images without orientation are left out: see
/// LeaveOut. Throws ExchangeFault, also for what ReadSurvey calls an error.
ResultBlock ReadResult(const std::string& path, const std::string& project = {}, const std::string& gcp = {},
                       const std::string& pos = {});

/// Intersects points anew that fit their rays by far worse than a point can: of projects that hold no start
/// values, zeros or old ones. Returns how many.
int64_t IntersectStale(ResultBlock& result);

/// Cameras and images of an .ovc, or of the head of a text project.
SurveyBlock ReadHeadOnly(const std::string& path);
/// The same images, by their paths, in the same order.
bool HaveSameImages(const SurveyBlock& one, const SurveyBlock& other);

}  // namespace orvo::exchange
