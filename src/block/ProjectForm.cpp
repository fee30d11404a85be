#include "block/ProjectForm.h"

#include "base/Platform.h"

namespace orvo {

std::string OvtPathOfProject(const std::string& project) {
  const std::string extension = TextFromLastDot(project);
  if (extension != ".ovc") return {};
  return project.substr(0, project.size() - extension.size()) + ".ovt";
}

void NameProjectFiles(const std::string& project, const std::string& gcp, FilePaths& paths) {
  paths.szProjectPath = project;
  paths.szGcpPath = gcp;
  paths.szOvtPath = OvtPathOfProject(project);
}

}  // namespace orvo
