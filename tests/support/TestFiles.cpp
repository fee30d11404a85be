#include "support/TestFiles.h"

#include <unistd.h>

#include <fstream>
#include <sstream>

namespace orvo::test {

ScratchFolder::ScratchFolder() {
  std::string pattern = (std::filesystem::temp_directory_path() / "orvo-test-XXXXXX").string();
  path = ::mkdtemp(pattern.data());
}

ScratchFolder::~ScratchFolder() {
  std::error_code ignored;
  std::filesystem::remove_all(path, ignored);
}

void WriteFile(const std::string& path, const std::string& content) {
  std::ofstream(path, std::ios::binary) << content;
}

std::string ReadFile(const std::string& path) {
  std::ostringstream text;
  text << std::ifstream(path, std::ios::binary).rdbuf();
  return text.str();
}

bool Exists(const std::string& path) { return std::filesystem::exists(path); }

Platform MadeUpPlatform(int64_t freeBytes, int processors) {
  Platform platform = NativePlatform();
  platform.FreePhysicalBytes = [freeBytes] { return freeBytes; };
  platform.ProcessorCount = [processors] { return processors; };
  return platform;
}

std::string SourceFolder() { return ORVO_SOURCE_DIR; }

std::optional<std::string> SharedData(const std::string& name) {
  const std::filesystem::path path = std::filesystem::path(SourceFolder()) / "../shared/data" / name;
  if (!std::filesystem::exists(path)) return std::nullopt;
  return path.string();
}

std::string Example(const std::string& name) {
  return (std::filesystem::path(SourceFolder()) / "examples" / name).string();
}

}  // namespace orvo::test
