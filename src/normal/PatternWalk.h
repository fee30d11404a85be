// The pattern of the reduced normal matrix, found by one walk over all points of a block.
#pragma once

#include <cstdint>
#include <functional>

#include "normal/NormalEquations.h"
#include "records/ImageTable.h"
#include "records/PointStore.h"
#include "records/UnknownLayout.h"

namespace orvo {

enum class PatternOutcome { Found, NotRead, NoPoints };

/// How the points of a section come into memory, and out of it again.
struct SectionAccess {
  std::function<bool(int32_t section)> Read;  ///< false where reading failed
  std::function<void()> Release;
};

/// Adds the blocks that the points of every section fill to the rows of `normal`. Sections without points are
/// not read; NoPoints when none came into memory.
PatternOutcome AddPatternOfSections(const PointStore& points, const UnknownLayout& layout,
                                    const SectionAccess& access, NormalEquations& normal);

/// Inserts block (a, b) or (b, a), whichever lies right of the diagonal of a matrix of `blockRowNum` rows;
/// false for one outside of it.
bool AddBlockPosition(int32_t a, int32_t b, int32_t blockRowNum, NormalEquations& normal);

/// Adds the blocks of every POS group: its own, and with each of its images. Returns how many lay outside of
/// the matrix.
int32_t AddPosPattern(const ImageTable& images, const UnknownLayout& layout, int32_t blockRowNum,
                      NormalEquations& normal);

/// True when the records of `blockNum` blocks have room in the free memory.
bool BlockRecordsFit(int32_t blockNum, int64_t freeBytes);

}  // namespace orvo
