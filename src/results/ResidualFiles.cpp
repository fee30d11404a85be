#include "results/ResidualFiles.h"

#include <algorithm>
#include <utility>

#include "base/OutputFiles.h"

namespace orvo {
namespace {

constexpr int64_t kSmallListing = 1 << 20;

}  // namespace

std::string ResidualFilePath(const FilePaths& paths, int32_t iteration, int32_t number) {
  return JoinPath(paths.szOutputPath,
                  "Residuals_" + std::to_string(iteration) + "_" + std::to_string(number) + ".res");
}

bool WriteResidualFile(const std::string& path, ResidualListing& listing, int threads, OutputLedger& outputs,
                       bool passing) {
  TextWriter file;
  if (!OpenOutput(outputs.Folder, file, path)) {
    ++outputs.nOutputFailureNum;
    return false;
  }
  WriteResidualListing(file, listing, threads);
  const bool closed = passing ? ClosePassingOutput(outputs.Folder, file) : CloseOutput(outputs.Folder, file);
  if (!closed) ++outputs.nOutputFailureNum;
  return true;
}

bool WriteResidualFileBeside(const std::string& path, ResidualListing listing, const Platform& system,
                             ResidualWriter& writer, OutputLedger& outputs, bool passing) {
  const int64_t bytes = listing.Bytes();
  // A few threads keep up with any assembly, and the solver wants the others.
  const int threads = std::clamp(system.ProcessorCount() / 2, 1, 4);
  const bool created = writer.Start(path, std::move(listing), threads, passing);
  // What comes next may need all that is left of a small memory.
  if (bytes > kSmallListing && bytes > system.FreePhysicalBytes() / 8)
    outputs.nOutputFailureNum += writer.Finish();
  if (!created) ++outputs.nOutputFailureNum;
  return created;
}

}  // namespace orvo
