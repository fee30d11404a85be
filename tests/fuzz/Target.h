// What the fuzz targets share.
#pragma once

#include <unistd.h>

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <string_view>

#include "base/Platform.h"

extern "C" int LLVMFuzzerTestOneInput(const uint8_t* data, size_t size);

namespace orvo::test {

/// A folder of this process, in memory where there is such a place, and gone after it.
class FuzzFolder {
 public:
  FuzzFolder() {
    const std::string base =
        ::access("/dev/shm", W_OK) == 0 ? "/dev/shm" : std::filesystem::temp_directory_path().string();
    std::string pattern = base + "/orvo-fuzz-XXXXXX";
    if (::mkdtemp(pattern.data()) == nullptr) std::abort();
    sPath = pattern;
  }
  ~FuzzFolder() {
    std::error_code ignored;
    std::filesystem::remove_all(sPath, ignored);
  }
  FuzzFolder(const FuzzFolder&) = delete;
  FuzzFolder& operator=(const FuzzFolder&) = delete;

  /// Writes a file of this name; its path.
  std::string Write(const std::string& name, std::string_view content) const {
    std::string path = sPath + "/" + name;
    std::ofstream(path, std::ios::binary).write(content.data(), static_cast<std::streamsize>(content.size()));
    return path;
  }
  const std::string& Path() const { return sPath; }

 private:
  std::string sPath;
};

inline const FuzzFolder& Folder() {
  static const FuzzFolder folder;
  return folder;
}

/// Ends the process where `what` tells of something wrong; the files stay for a look.
inline void Require(const std::string& what) {
  if (what.empty()) return;
  std::fprintf(stderr, "Wrong: %s (files in %s)\n", what.c_str(), Folder().Path().c_str());
  std::abort();
}

/// A machine with one processor and this much free memory.
inline Platform SmallMachine(int64_t freeBytes) {
  Platform platform = NativePlatform();
  platform.FreePhysicalBytes = [freeBytes] { return freeBytes; };
  platform.ProcessorCount = [] { return 1; };
  return platform;
}

}  // namespace orvo::test
