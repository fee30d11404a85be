#include "check/block/BlockPieces.h"

#include <algorithm>
#include <span>

#include "block/Connectivity.h"

namespace orvo {
namespace {

/// A point on more images is taken as several in a chain, since what is kept of it grows with their square.
constexpr size_t kMostTogether = 24;

/// visit(ordinal, images) for all points that two usable images and more see.
template <typename Visit>
void VisitPoints(const SurveyBlock& block, const std::vector<bool>& usable, const Visit& visit) {
  int64_t ordinal = 0;
  std::vector<int32_t> images;
  for (const SurveyPoints* points : {&block.Tie, &block.Control}) {
    for (const SurveyPoint& point : points->Points) {
      images.clear();
      for (const SurveyMeasurement& measurement : points->Of(point)) {
        if (measurement.nImage >= 0 && static_cast<size_t>(measurement.nImage) < usable.size() &&
            usable[static_cast<size_t>(measurement.nImage)])
          images.push_back(measurement.nImage);
      }
      if (images.size() >= 2) visit(ordinal++, std::span<const int32_t>(images));
    }
  }
}

template <typename Visit>
void VisitChain(std::span<const int32_t> images, const Visit& visit) {
  for (size_t first = 0; first + 1 < images.size(); first += kMostTogether - 1)
    visit(images.subspan(first, std::min(kMostTogether, images.size() - first)));
}

}  // namespace

BlockPieces FindPieces(const SurveyBlock& block, const std::vector<bool>& usable, int64_t least) {
  BlockPieces result;
  result.SharedPoints.resize(usable.size());
  ImageSets sets(static_cast<int32_t>(usable.size()));
  VisitPoints(block, usable, [&](int64_t ordinal, std::span<const int32_t> images) {
    for (const int32_t image : images) ++result.SharedPoints[static_cast<size_t>(image)];
    sets.Join(ordinal, images);
  });
  CellJoiner joiner(sets.Cells());
  if (!joiner.IsOne()) {
    VisitPoints(block, usable, [&](int64_t, std::span<const int32_t> images) {
      VisitChain(images, [&](std::span<const int32_t> link) { joiner.Count(link); });
    });
  }
  result.Pieces = joiner.Parts(least);
  std::erase_if(result.Pieces, [&](const std::vector<int32_t>& images) {
    return std::ranges::all_of(
        images, [&](int32_t image) { return result.SharedPoints[static_cast<size_t>(image)] == 0; });
  });
  return result;
}

}  // namespace orvo
