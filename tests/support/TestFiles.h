// Folders, files and machines for tests.
#pragma once

#include <filesystem>
#include <optional>
#include <string>

#include "base/Platform.h"

namespace orvo::test {

/// A folder of the test's own, removed at the end.
class ScratchFolder {
 public:
  ScratchFolder();
  ~ScratchFolder();
  ScratchFolder(const ScratchFolder&) = delete;
  ScratchFolder& operator=(const ScratchFolder&) = delete;
  std::string Path() const { return path.string(); }
  std::string operator/(const std::string& name) const { return (path / name).string(); }

 private:
  std::filesystem::path path;
};

void WriteFile(const std::string& path, const std::string& content);
/// The whole file; empty when it does not exist.
std::string ReadFile(const std::string& path);
bool Exists(const std::string& path);

/// The top folder of the sources. A function, for a definition on every command line would keep the
/// compiler's cache of one copy of the tree from serving another.
std::string SourceFolder();

/// The native platform with the free memory and the processor count replaced.
Platform MadeUpPlatform(int64_t freeBytes, int processors);

/// A file of the shared data sets, or nothing where they are not at hand: "seneca/seneca_full.ovc".
std::optional<std::string> SharedData(const std::string& name);
/// A file of examples/.
std::string Example(const std::string& name);

}  // namespace orvo::test
