// Reading of a block, its sections and POS data; thinning.
#include "block/PosData.h"
#include "block/ProjectCount.h"
#include "block/ProjectForm.h"
#include "block/ProjectTables.h"
#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::PreReadData(const std::string& project, const std::string& gcp) {
  NameProjectFiles(project, gcp, Paths);
  return CountProject({Paths, Images, Points, Inputs, System, Log}) ? 1 : 0;
}

int CBundleAdjustment::ReadProject(const std::string& project, const std::string& /*gcp*/) {
  return ReadProjectTables(project, {Settings, Limits, Images, Cameras, Inputs, Log});
}

int CBundleAdjustment::ReadPosData(const std::string& pos) {
  return MatchPosData(pos, {Settings, Limits, Images, Inputs, System, Log}) ? 1 : 0;
}

}  // namespace orvo
