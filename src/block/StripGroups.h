// Strips of a flight: the groups within which POS drift is modelled, and the flight time along each.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "records/Records.h"

namespace orvo {

/// One strip ID that occurs.
struct StripCount {
  int32_t nStrip = 0;
  int32_t nImageNum = 0;  ///< kept images
  int32_t nGroup = -1;    ///< compact group number, -1 for a strip of fewer than two kept images
};

/// The strips that occur, in ascending order of ID, whatever the size of the IDs. Groups are numbered from 0
/// in that order. `stripOfImage`: strip ID by image ordinal, negative for none; `imageIndex`: kept image by
/// image ordinal, negative for a deleted one.
std::vector<StripCount> FormStripGroups(std::span<const int32_t> stripOfImage,
                                        std::span<const int32_t> imageIndex);

int32_t CountGroups(std::span<const StripCount> strips);

/// Group of a strip ID, -1 when it is negative, does not occur or has no group.
int32_t GroupOfStrip(std::span<const StripCount> strips, int32_t strip);

/// Sets fTime of every image with a group: 0 for the group's first image, for the others the distance from
/// the first image divided by `speed`, with the sign of the difference along the strip's axis. The axis is
/// the one of the largest difference between the group's second image and its first (X before Y and Z on a
/// tie, Z before Y). A difference of exactly 0 along the axis gives time 0, and so does a speed that gives no
/// finite time. `groupOfImage`: one per image, negative for none, below `groupNum`.
void ComputeStripTimes(std::span<const int32_t> groupOfImage, int32_t groupNum, double speed,
                       std::span<EopRecord> images);

}  // namespace orvo
