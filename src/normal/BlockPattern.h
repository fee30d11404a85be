// Which blocks of the reduced normal matrix the object points fill.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "normal/SubMatrix.h"
#include "records/Records.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// The block rows that one point couples, ascending and each once: images, cameras or both by layout.
/// Measurements outside the kept images and cameras take no part.
void CollectBlockRows(std::span<const ImagePointRecord> measurements, const UnknownLayout& layout,
                      std::vector<int32_t>& blockRows);

/// Inserts the blocks of every pair of block rows that share a point into `rows` (upper block triangle).
/// One pass over the points of each row, with a mark per column instead of a search per pair.
void AddPatternOfPoints(std::span<const ObjectPointRecord> points,
                        std::span<const ImagePointRecord> imagePoints, const UnknownLayout& layout,
                        std::vector<SubMatrixRow>& rows);

/// Gives each row the ID of its first block, counting row by row. The number of blocks.
int64_t NumberBlocks(std::vector<SubMatrixRow>& rows);

}  // namespace orvo
