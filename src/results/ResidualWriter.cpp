#include "results/ResidualWriter.h"

#include <new>
#include <utility>

#include "base/MemoryPurpose.h"

namespace orvo {

ResidualWriter::~ResidualWriter() { Join(); }

bool ResidualWriter::Start(const std::string& path, ResidualListing listing, int threads, bool passing) {
  Join();
  bPassing = passing;
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
    WriteResidualListing(File, Listing, threads);
  } catch (const std::bad_alloc&) {
    written = false;
  }
  const bool closed = bPassing ? ClosePassingOutput(*pOutputs, File) : CloseOutput(*pOutputs, File);
  bWhole = closed && written;
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
