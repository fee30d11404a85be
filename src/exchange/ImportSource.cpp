#include "exchange/ImportSource.h"

#include <algorithm>
#include <filesystem>

#include "exchange/Checksum.h"
#include "exchange/ExchangeFault.h"

namespace orvo::exchange {
namespace {

namespace fs = std::filesystem;

/// What an import reads together, in its order.
const std::vector<std::vector<std::string>>& FilesOfModels() {
  static const std::vector<std::vector<std::string>> files = {{"cameras.bin", "images.bin", "points3D.bin"},
                                                              {"cameras.txt", "images.txt", "points3D.txt"},
                                                              {"reconstruction.json", "tracks.csv"},
                                                              {"reference_lla.json"},
                                                              {"list.txt"}};
  return files;
}

bool AreOne(const fs::path& one, const fs::path& other) {
  std::error_code error;
  return fs::equivalent(one, other, error) && !error;
}

/// The output is the source, or replaces a part of it.
bool IsSource(const fs::path& out, const Sidecar& sidecar, bool sameForm) {
  const fs::path source(sidecar.szSource);
  if (AreOne(out, source)) return true;
  std::error_code error;
  const bool isFolder = fs::is_directory(source, error);
  const fs::path folder = isFolder ? source : source.parent_path();
  if (!isFolder && sameForm && fs::exists(source, error) && AreOne(out, folder)) return true;
  return std::ranges::any_of(FilesOfModels(), [&](const auto& names) {
    return std::ranges::any_of(names, [&](const std::string& name) { return AreOne(out, folder / name); });
  });
}

bool HasChecksum(const std::vector<std::string>& files, const std::string& checksum) {
  std::error_code error;
  const auto isFile = [&](const std::string& file) { return fs::is_regular_file(file, error); };
  try {
    return std::ranges::all_of(files, isFile) && ChecksumOf(files) == checksum;
  } catch (const ExchangeFault&) {
    return false;
  }
}

bool IsMovedSource(const fs::path& out, const Sidecar& sidecar) {
  if (sidecar.szChecksum.empty()) return false;
  std::error_code error;
  if (!fs::is_directory(out, error)) return HasChecksum({out.string()}, sidecar.szChecksum);
  return std::ranges::any_of(FilesOfModels(), [&](const auto& names) {
    std::vector<std::string> files;
    files.reserve(names.size());
    for (const std::string& name : names) files.push_back((out / name).string());
    return HasChecksum(files, sidecar.szChecksum);
  });
}

}  // namespace

void RefuseSource(std::span<const Sidecar> sidecars, const ExportOptions& options) {
  for (const Sidecar& sidecar : sidecars) {
    if (sidecar.szSource.empty()) continue;
    if (IsSource(options.szOut, sidecar, options.szForm == sidecar.szForm) ||
        IsMovedSource(options.szOut, sidecar)) {
      Refuse(options.szOut, 0, "this output is the model that the block was imported from",
             "Name another place with --out");
    }
  }
}

}  // namespace orvo::exchange
