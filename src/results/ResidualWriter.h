// Residual files written while the run goes on.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <vector>

#include "base/OutputFiles.h"
#include "base/Threads.h"
#include "results/ResidualLines.h"

namespace orvo {

/// What a residual file is made of, with nothing in it that a run changes meanwhile.
struct ResidualListing {
  /// One part for each assembly thread; x and y of each measurement in working image units.
  struct Part {
    std::vector<float> Residuals;
    std::vector<int32_t> Flags;
    size_t nPointNum = 0;  ///< measurements to list, of those that the arrays hold
  };
  std::vector<Part> Parts;
  double fScale = 1;                         ///< file image units to working units
  double fMeanX = 0, fMeanY = 0;             ///< file image units
  double fRmsX = 0, fRmsY = 0;               ///< file image units
  std::array<double, 6> Control{}, Check{};  ///< mean X, Y, Z, RMSE X, Y, Z in object units

  int64_t Bytes() const;
};

/// Writes the whole file, from its first line on, on up to `threads` threads. Leaves the residuals in file
/// image units.
void WriteResidualFile(TextWriter& file, ResidualListing& listing, int threads);

/// Writes one residual file at a time on threads of its own.
class ResidualWriter {
 public:
  explicit ResidualWriter(OutputFolder* outputs) : pOutputs(outputs) {}
  ~ResidualWriter();
  ResidualWriter(const ResidualWriter&) = delete;
  ResidualWriter& operator=(const ResidualWriter&) = delete;

  /// Creates the file and returns while it is being written; false when it can't be created. A file before it
  /// is finished first. Without a thread to be had the file is whole on return.
  bool Start(const std::string& path, ResidualListing listing, int threads);
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
  bool bWhole = true;
  int nFailureNum = 0;
};

}  // namespace orvo
