// Tie points of a text project.
#pragma once

#include <cstdint>
#include <vector>

#include "base/TextReader.h"
#include "block/SectionReading.h"

namespace orvo {

/// Appends the tie points of a section; a point with a measurement on a deleted image is left out. Those of
/// types 1 and 2 are counted, each once. 1, or -1 at a reference to an image that can't be: what was read
/// before stays.
int ReadTextSection(const SectionReading& reading, int32_t section, ObjectPointArray& objectList,
                    ImagePointArray& imagePointList, TextReader& file);

}  // namespace orvo
