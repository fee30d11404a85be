#include "results/OutputFile.h"

#include <filesystem>

namespace orvo {

bool OpenWithHeader(OvtReader& file, const std::string& path) {
  std::error_code failure;
  const std::uintmax_t bytes = std::filesystem::file_size(path, failure);
  return !failure && bytes >= static_cast<std::uintmax_t>(kOvtHeaderBytes) && file.Open(path);
}

}  // namespace orvo
