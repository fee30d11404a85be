// Tie points of a binary tie-point file.
#pragma once

#include <cstdint>
#include <span>

#include "block/OvtRange.h"
#include "block/SectionReading.h"
#include "records/ImageReference.h"

namespace orvo {

/// Reads the tie points of a section into memory, with all of their measurements, and then counts what is in
/// memory. 1, or -1 at a reference to an image that can't be: from there on points have no measurements.
int ReadOvtSection(const SectionReading& reading, int32_t section, int64_t& count, int64_t& imageCount,
                   OvtReader& file);

/// Points in memory that follow each other; the first image point of each is still its index in the file.
struct OvtRows {
  std::span<ObjectPointRecord> Points;
  int64_t nFirst = 0;       ///< row of the first of them
  int64_t nFirstPoint = 0;  ///< place in the file of row 0
};

/// Appends the measurements of `rows` in the order of the file, and ends as above at an image that can't be
/// or a record that can't be read; `readable` tells whether all before could be read, and becomes false then.
int ReadOvtMeasuresOneByOne(const SectionReading& reading, const OvtRows& rows,
                            std::span<const ImageReference> references, OvtMeasureWindow& window,
                            bool& readable);

}  // namespace orvo
