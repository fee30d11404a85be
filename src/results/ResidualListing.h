// What a residual file is made of.
#pragma once

#include <cstdint>
#include <variant>
#include <vector>

#include "base/ScratchVector.h"
#include "results/GpuResidualLines.h"
#include "results/ResidualPieces.h"

namespace orvo {

/// The measurements of one assembly thread.
struct ResidualPart {
  ScratchVector<float> Residuals;  ///< x and y of each measurement, working image units
  ScratchVector<int32_t> Flags;    ///< of each measurement: 0, or other than 0 for gross
  int64_t nPointNum = 0;           ///< measurements to list, of those that the arrays hold
};

/// Both forms of a residual file. Parts are its own; the table of a device reads arrays of its maker, which
/// stay until the file is written.
struct ResidualListing {
  std::variant<std::vector<ResidualPart>, gpu::GpuResidualTable> Lines;
  double fScale = 1;  ///< file image units to working units
  ResidualFigures Figures;

  /// Memory that the lines hold.
  int64_t Bytes() const;
};

/// Writes the whole file, from its first line on, on up to `threads` threads. Leaves the residuals of parts
/// in file image units.
void WriteResidualListing(TextWriter& file, ResidualListing& listing, int threads);

}  // namespace orvo
