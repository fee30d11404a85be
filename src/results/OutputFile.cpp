#include "results/OutputFile.h"

#include <filesystem>

namespace orvo {

bool IsSameFile(const std::string& a, const std::string& b) {
  std::error_code failure;
  return std::filesystem::equivalent(a, b, failure) && !failure;
}

bool CreateBeside(TextWriter& file, const std::string& path, std::initializer_list<std::string> inputs) {
  for (const std::string& input : inputs) {
    if (IsSameFile(path, input)) return false;
  }
  return file.Open(path);
}

bool OpenWithHeader(OvtReader& file, const std::string& path) { return file.Open(path) && file.HasHeader(); }

}  // namespace orvo
