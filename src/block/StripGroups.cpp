#include "block/StripGroups.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace orvo {
namespace {

bool HasLowerStrip(const StripCount& entry, int32_t strip) { return entry.nStrip < strip; }

std::array<double, 3> Difference(const EopRecord& image, const EopRecord& first) {
  return {image.X - first.X, image.Y - first.Y, image.Z - first.Z};
}

size_t LongestAxis(const std::array<double, 3>& difference) {
  const double x = std::fabs(difference[0]), y = std::fabs(difference[1]), z = std::fabs(difference[2]);
  if (x >= y && x >= z) return 0;
  return y > z ? 1 : 2;
}

double StripTime(const std::array<double, 3>& difference, size_t axis, double speed) {
  if (difference[axis] == 0) return 0;
  const double length = std::sqrt(difference[0] * difference[0] + difference[1] * difference[1] +
                                  difference[2] * difference[2]);
  const double time = std::copysign(length, difference[axis]) / speed;
  return std::isfinite(time) && std::isfinite(speed) ? time : 0;
}

}  // namespace

std::vector<StripCount> FormStripGroups(std::span<const int32_t> stripOfImage,
                                        std::span<const int32_t> imageIndex) {
  std::vector<StripCount> strips;
  for (const int32_t strip : stripOfImage) {
    if (strip >= 0) strips.push_back({strip, 0, -1});
  }
  std::sort(strips.begin(), strips.end(),
            [](const StripCount& a, const StripCount& b) { return a.nStrip < b.nStrip; });
  strips.erase(std::unique(strips.begin(), strips.end(),
                           [](const StripCount& a, const StripCount& b) { return a.nStrip == b.nStrip; }),
               strips.end());
  for (size_t ordinal = 0; ordinal < stripOfImage.size(); ++ordinal) {
    if (stripOfImage[ordinal] < 0 || imageIndex[ordinal] < 0) continue;
    ++std::lower_bound(strips.begin(), strips.end(), stripOfImage[ordinal], HasLowerStrip)->nImageNum;
  }
  int32_t groupNum = 0;
  for (StripCount& entry : strips) {
    if (entry.nImageNum > 1) entry.nGroup = groupNum++;
  }
  return strips;
}

int32_t CountGroups(std::span<const StripCount> strips) {
  return static_cast<int32_t>(
      std::count_if(strips.begin(), strips.end(), [](const StripCount& entry) { return entry.nGroup >= 0; }));
}

int32_t GroupOfStrip(std::span<const StripCount> strips, int32_t strip) {
  const auto found = std::lower_bound(strips.begin(), strips.end(), strip, HasLowerStrip);
  return found != strips.end() && found->nStrip == strip ? found->nGroup : -1;
}

void ComputeStripTimes(std::span<const int32_t> groupOfImage, int32_t groupNum, double speed,
                       std::span<EopRecord> images) {
  constexpr size_t kUndecided = 3;
  struct Strip {
    const EopRecord* pFirst = nullptr;
    size_t nAxis = kUndecided;
  };
  std::vector<Strip> strips(static_cast<size_t>(groupNum));
  for (size_t i = 0; i < images.size(); ++i) {
    if (groupOfImage[i] < 0) continue;
    Strip& strip = strips[static_cast<size_t>(groupOfImage[i])];
    if (strip.pFirst == nullptr) {
      strip.pFirst = &images[i];
      images[i].fTime = 0;
      continue;
    }
    const std::array<double, 3> difference = Difference(images[i], *strip.pFirst);
    if (strip.nAxis == kUndecided) strip.nAxis = LongestAxis(difference);
    images[i].fTime = StripTime(difference, strip.nAxis, speed);
  }
}

}  // namespace orvo
