#include "check/block/BlockPieces.h"

#include <algorithm>
#include <span>

#include "block/Connectivity.h"

namespace orvo {
namespace {

/// A point on more images is taken as several in a chain, since what is kept of it grows with their square.
constexpr size_t kMostTogether = 24;

std::vector<int32_t> ImagesOf(std::span<const SurveyMeasurement> measurements,
                              const std::vector<bool>& usable) {
  std::vector<int32_t> images;
  for (const SurveyMeasurement& measurement : measurements) {
    if (measurement.nImage >= 0 && static_cast<size_t>(measurement.nImage) < usable.size() &&
        usable[static_cast<size_t>(measurement.nImage)])
      images.push_back(measurement.nImage);
  }
  return images;
}

/// visit(ordinal, images) for all points that two usable images and more see.
template <typename Visit>
void VisitPoints(const SurveyBlock& block, const std::vector<bool>& usable, const Visit& visit) {
  int64_t ordinal = 0;
  for (const SurveyPoints* points : {&block.Tie, &block.Control}) {
    for (const SurveyPoint& point : points->Points) {
      const std::vector<int32_t> images = ImagesOf(points->Of(point), usable);
      if (images.size() < 2) continue;
      for (size_t first = 0; first + 1 < images.size(); first += kMostTogether - 1) {
        visit(ordinal, std::span(images).subspan(first, std::min(kMostTogether, images.size() - first)));
      }
      ++ordinal;
    }
  }
}

}  // namespace

std::vector<int64_t> CountSharedPoints(const SurveyBlock& block, const std::vector<bool>& usable) {
  std::vector<int64_t> counts(usable.size());
  for (const SurveyPoints* points : {&block.Tie, &block.Control}) {
    for (const SurveyPoint& point : points->Points) {
      const std::vector<int32_t> images = ImagesOf(points->Of(point), usable);
      if (images.size() < 2) continue;
      for (const int32_t image : images) ++counts[static_cast<size_t>(image)];
    }
  }
  return counts;
}

std::vector<std::vector<int32_t>> FindPieces(const SurveyBlock& block, const std::vector<bool>& usable,
                                             const std::vector<int64_t>& sharedPoints, int64_t least) {
  ImageSets sets(static_cast<int32_t>(usable.size()));
  VisitPoints(block, usable,
              [&](int64_t ordinal, std::span<const int32_t> images) { sets.Join(ordinal, images); });
  CellJoiner joiner(sets.Cells());
  VisitPoints(block, usable, [&](int64_t, std::span<const int32_t> images) { joiner.Count(images); });
  std::vector<std::vector<int32_t>> pieces = joiner.Parts(least);
  std::erase_if(pieces, [&](const std::vector<int32_t>& images) {
    return std::ranges::all_of(images,
                               [&](int32_t image) { return sharedPoints[static_cast<size_t>(image)] == 0; });
  });
  return pieces;
}

}  // namespace orvo
