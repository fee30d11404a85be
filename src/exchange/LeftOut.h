// What an export and the figures of a block go on without: images that nothing orients.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "check/Finding.h"
#include "records/SurveyBlock.h"

namespace orvo::exchange {

enum class LossReason {
  Camera,     ///< that no run takes
  Position,   ///< 0 0 0, or position or angles that are not finite
  Unmeasured  ///< the run had no tie point of it, so that it kept its start
};

struct LeftOutImage {
  size_t nImage = 0;  ///< ordinal in the files
  std::string szPath;
  LossReason Reason = LossReason::Position;
};

struct LeftOut {
  std::vector<LeftOutImage> Images;  ///< in their order
  std::vector<size_t> Cameras;       ///< ordinals in the files
  int64_t nMeasurements = 0;         ///< of tie and control points
  int64_t nPoints = 0;               ///< tie points that had fewer than 2 measurements left

  bool IsEmpty() const { return Images.empty() && Cameras.empty(); }
};

/// Where the block comes from, which decides about what its run left out.
enum class BlockOrigin {
  Project,      ///< no run yet: an image without tie point may have a true orientation
  TextResult,   ///< its run left out every point with a measurement on an image left out
  BinaryResult  ///< its run left out such measurements alone
};

/// Takes the cameras, the images, the measurements on them and the tie points with fewer than 2 measurements
/// left out of the block; ordinals are then those of what stays. A block without such images stays as it is.
LeftOut LeaveOut(SurveyBlock& block, BlockOrigin origin);

/// A warning for each reason, with number and first names. Files: that of the cameras and images.
std::vector<Finding> FindingsOf(const LeftOut& left, const std::string& file);

/// Takes the elements at the ascending ordinals out.
template <typename Element>
void EraseAt(std::vector<Element>& elements, const std::vector<size_t>& ordinals) {
  size_t kept = 0, next = 0;
  for (size_t k = 0; k < elements.size(); ++k) {
    if (next < ordinals.size() && ordinals[next] == k) {
      ++next;
      continue;
    }
    if (kept != k) elements[kept] = std::move(elements[k]);
    ++kept;
  }
  elements.erase(elements.begin() + static_cast<std::ptrdiff_t>(kept), elements.end());
}
std::vector<size_t> ImageOrdinalsOf(const LeftOut& left);

}  // namespace orvo::exchange
