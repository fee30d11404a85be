#include "results/ResidualListing.h"

#include <algorithm>

#include "results/ResidualLines.h"

namespace orvo {
namespace {

using Parts = std::vector<ResidualPart>;

ResidualSummary WriteParts(TextWriter& file, Parts& parts, double scale, int threads) {
  std::vector<ResidualSlice> slices;
  for (ResidualPart& part : parts) {
    const auto held = static_cast<int64_t>(std::min(part.Flags.size(), part.Residuals.size() / 2));
    const auto count = static_cast<size_t>(std::clamp<int64_t>(part.nPointNum, 0, held));
    slices.push_back({{part.Residuals.data(), 2 * count}, {part.Flags.data(), count}});
  }
  return WriteResidualLines(file, slices, scale, threads);
}

}  // namespace

int64_t ResidualListing::Bytes() const {
  const Parts* parts = std::get_if<Parts>(&Lines);
  if (parts == nullptr) return 0;
  size_t bytes = 0;
  for (const ResidualPart& part : *parts) {
    bytes += part.Residuals.capacity() * sizeof(float) + part.Flags.capacity() * sizeof(int32_t);
  }
  return static_cast<int64_t>(bytes);
}

void WriteResidualListing(TextWriter& file, ResidualListing& listing, int threads) {
  Parts* parts = std::get_if<Parts>(&listing.Lines);
  const ResidualSummary summary =
      parts != nullptr ? WriteParts(file, *parts, listing.fScale, threads)
                       : WriteGpuResidualLines(file, std::get<gpu::GpuResidualTable>(listing.Lines),
                                               listing.fScale, threads);
  WriteResidualTail(file, listing.Figures, summary);
}

}  // namespace orvo
