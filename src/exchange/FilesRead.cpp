#include "exchange/FilesRead.h"

#include <array>
#include <filesystem>
#include <string_view>

#include "base/OutputNames.h"
#include "block/ProjectForm.h"
#include "exchange/Sidecar.h"

namespace orvo::exchange {
namespace {

namespace fs = std::filesystem;
using Paths = std::vector<std::string>;

void AddProject(const std::string& project, Paths& paths) {
  if (project.empty()) return;
  paths.push_back(project);
  paths.push_back(OvtPathOfProject(project));
  paths.push_back(SidecarPathOf(project));
}

/// What a run wrote into a folder; results that are not usable lie in one below.
void AddOutputs(const fs::path& folder, Paths& paths) {
  std::error_code error;
  fs::directory_iterator entries(folder, error);
  for (; !error && entries != fs::directory_iterator(); entries.increment(error)) {
    const std::string name = entries->path().filename().string();
    if (IsOutputName(name) || name == kLogName) paths.push_back(entries->path().string());
  }
}

}  // namespace

std::vector<std::string> FilesRead(const ImportOptions& options) {
  Paths paths = {options.szSource, options.szImages, options.szTracks};
  // Files beside the source that its form reads without being told.
  for (const char* name : {"list.txt", "tracks.csv", "reference_lla.json"}) {
    paths.push_back((fs::path(options.szSource).parent_path() / name).string());
    paths.push_back((fs::path(options.szSource) / name).string());
  }
  AddProject(options.szProject, paths);
  return paths;
}

std::vector<std::string> FilesRead(const ResultBlock& result, const ExportOptions& options) {
  const SurveyFiles& files = result.Files;
  Paths paths = result.Inputs;
  paths.insert(paths.end(), {files.szOvt, files.szGcp, files.szPos, files.szSettings, options.szSidecar,
                             options.szGcp, options.szPos});
  for (const std::string* project : {&files.szProject, &result.szOrigin, &options.szProject}) {
    AddProject(*project, paths);
  }
  std::error_code error;
  fs::path folder(options.szResult);
  if (!folder.empty() && !fs::is_directory(folder, error)) {
    folder = folder.has_parent_path() ? folder.parent_path() : fs::path(".");
  }
  if (!folder.empty()) {
    AddOutputs(folder, paths);
    AddOutputs(folder / "unusable", paths);
  }
  return paths;
}

bool IsOfBlock(const std::string& path) {
  constexpr std::array<std::string_view, 4> kEnds = {".ovc", ".ovt", ".prj", ".orvo.json"};
  for (const std::string_view end : kEnds) {
    if (path.ends_with(end)) return true;
  }
  return false;
}

}  // namespace orvo::exchange
