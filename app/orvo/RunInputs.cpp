#include "orvo/RunInputs.h"

#include "base/InputFile.h"

namespace orvo {

std::string FolderOf(const std::string& project) {
  return project.find_first_of("/\\") == std::string::npos ? "." : CutAtLastSeparator(project);
}

std::string ChooseSettings(const RunPaths& paths, const FrontEnd& frontEnd) {
  std::string chosen = paths.szSettings;
  for (const char* name : {"AdjPara.xml", "AdjPara.ini"}) {
    const std::string beside = JoinPath(FolderOf(paths.szProject), name);
    // One that is there is meant, and when it can't be read the run says so.
    if (chosen.empty() && !IsMissing(beside)) chosen = beside;
  }
  if (chosen.empty()) chosen = FindDefaultSettings(frontEnd.szProgram, nullptr);
  return IsMissing(chosen) ? std::string() : chosen;
}

}  // namespace orvo
