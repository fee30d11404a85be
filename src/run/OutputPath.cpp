#include "run/BundleAdjustment.h"

namespace orvo {

int CBundleAdjustment::SetOutputPath(const std::string& project, std::string& output) {
  if (output.empty()) {
    if (project.empty()) {
      LogPrintf("Create output path failed!\n");
      return 0;
    }
    output = JoinPath(CutAtLastSeparator(project), "OrvoBundleResult");
  }
  Paths.szOutputPath = output;
  if (System.FolderIsWritable(output) || System.MakeFolder(output)) return 1;
  LogPrintf("Create output path failed!\n");
  return 0;
}

}  // namespace orvo
