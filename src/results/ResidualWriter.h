// Residual files written while the run goes on.
#pragma once

#include <optional>
#include <string>
#include <utility>

#include "base/OutputFiles.h"
#include "base/Threads.h"
#include "results/ResidualListing.h"

namespace orvo {

/// Writes one residual file at a time on threads of its own.
class ResidualWriter {
 public:
  explicit ResidualWriter(OutputFolder* outputs) : pOutputs(outputs) {}
  ~ResidualWriter();
  ResidualWriter(const ResidualWriter&) = delete;
  ResidualWriter& operator=(const ResidualWriter&) = delete;

  /// Creates the file and returns while it is being written; false when it can't be created. A file before it
  /// is finished first. Without a thread to be had the file is whole on return. `passing`: see
  /// ClosePassingOutput.
  bool Start(const std::string& path, ResidualListing listing, int threads, bool passing = false);
  /// Keeps a listing that is to be written if no other comes after it.
  struct Kept {
    std::string szPath;
    ResidualListing Listing;
  };
  void Keep(Kept kept) { Last = std::move(kept); }
  std::optional<Kept> TakeKept() { return std::exchange(Last, std::nullopt); }
  /// Waits until nothing is left to do and the memory of the listing is free. Returns how many files could
  /// not be written whole since the last call.
  int Finish();

 private:
  void Work(int threads);
  void Join();

  OutputFolder* pOutputs;
  HelperThread Thread;
  TextWriter File;
  ResidualListing Listing;
  std::optional<Kept> Last;
  bool bWhole = true;
  bool bPassing = false;
  int nFailureNum = 0;
};

}  // namespace orvo
