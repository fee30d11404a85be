#include "base/OutputCollision.h"

#include <sys/stat.h>

#include "base/FolderList.h"
#include "base/OutputNames.h"

namespace orvo {
namespace {

struct Input {
  const std::string* pPath;
  dev_t nDevice;
  ino_t nFile;
};

std::optional<OutputCollision> FindIn(const std::string& folder, const std::vector<Input>& inputs,
                                      bool everything) {
  for (const std::string& name : NamesInFolder(folder)) {
    if (!everything && !IsOutputName(name) && name != kLogName && name != kLockName) continue;
    const std::string path = folder + "/" + name;
    struct stat status {};
    if (::stat(path.c_str(), &status) != 0) continue;
    for (const Input& input : inputs) {
      if (status.st_dev == input.nDevice && status.st_ino == input.nFile) {
        return OutputCollision{path, *input.pPath};
      }
    }
  }
  return std::nullopt;
}

}  // namespace

std::string OutputCollision::Text() const {
  return "the output " + szOutput + " is the same file as the input " + szInput +
         ": name another output folder";
}

std::optional<OutputCollision> FindOutputThatIsInput(const std::string& folder,
                                                     const std::vector<std::string>& inputs) {
  std::vector<Input> files;
  for (const std::string& path : inputs) {
    struct stat status {};
    if (!path.empty() && ::stat(path.c_str(), &status) == 0) {
      files.push_back({&path, status.st_dev, status.st_ino});
    }
  }
  if (files.empty()) return std::nullopt;
  if (auto found = FindIn(folder, files, false)) return found;
  for (const char* inner : {kUnusableFolder, kFailedFolder}) {
    if (auto found = FindIn(folder + "/" + inner, files, false)) return found;
  }
  for (const std::string& name : NamesInFolder(folder)) {
    if (!IsStagingName(name)) continue;
    const std::string staging = folder + "/" + name;
    if (auto found = FindIn(staging, files, true)) return found;
    if (auto found = FindIn(staging + "/old", files, true)) return found;
  }
  return std::nullopt;
}

}  // namespace orvo
