#include "results/ResidualWriter.h"

#include <algorithm>
#include <new>
#include <utility>

#include "base/MemoryPurpose.h"

namespace orvo {

int64_t ResidualListing::Bytes() const {
  size_t bytes = 0;
  for (const Part& part : Parts) {
    bytes += part.Residuals.capacity() * sizeof(float) + part.Flags.capacity() * sizeof(int32_t);
  }
  return static_cast<int64_t>(bytes);
}

void WriteResidualFile(TextWriter& file, ResidualListing& listing, int threads) {
  std::vector<ResidualSlice> slices;
  for (ResidualListing::Part& part : listing.Parts) {
    const size_t count = std::min({part.nPointNum, part.Flags.size(), part.Residuals.size() / 2});
    slices.push_back({{part.Residuals.data(), 2 * count}, {part.Flags.data(), count}});
  }
  const ResidualSummary summary = WriteResidualLines(file, slices, listing.fScale, threads);
  WriteResidualTail(file, {listing.fMeanX, listing.fMeanY, listing.fRmsX, listing.fRmsY, summary.fMaxX,
                           summary.fMaxY, summary.fMinX, summary.nGrossNum, summary.nPointNum,
                           listing.Control.data(), listing.Check.data()});
}

ResidualWriter::~ResidualWriter() { Join(); }

bool ResidualWriter::Start(const std::string& path, ResidualListing listing, int threads) {
  Join();
  if (!OpenOutput(*pOutputs, File, path)) return false;
  Listing = std::move(listing);
  if (!Thread.Start([this, threads] { Work(threads); })) {
    Work(threads);
    Join();
  }
  return true;
}

void ResidualWriter::Work(int threads) {
  const MemoryPurpose purpose("a residual file", MemoryPurpose::Scope::Thread);
  bool written = true;
  try {
    WriteResidualFile(File, Listing, threads);
  } catch (const std::bad_alloc&) {
    written = false;
  }
  bWhole = CloseOutput(*pOutputs, File) && written;
  Listing = ResidualListing();
}

void ResidualWriter::Join() {
  Thread.Join();
  if (!bWhole) ++nFailureNum;
  bWhole = true;
}

int ResidualWriter::Finish() {
  Join();
  return std::exchange(nFailureNum, 0);
}

}  // namespace orvo
