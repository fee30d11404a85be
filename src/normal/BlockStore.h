// The flat store of blocks, carried over into the two forms of the reduced normal matrix.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "normal/BlockIndex.h"
#include "normal/SubMatrix.h"

namespace orvo {

/// Doubles behind the blocks of a store that take what has no place in the pattern.
inline constexpr int64_t kSpareBlockSize = 128;

/// into += from, for the block rows flagged in `rowFlags`, by up to `threads` threads.
void AddStore(const BlockIndex& index, std::span<const uint8_t> rowFlags, const double* from, double* into,
              int threads);

enum class AttachFault { None, Size, Position };

/// Makes every block of the store that is not all zero a block of `subMatrices`, without copying it. Where a
/// block exists already the store's is added to it and cleared; the first one that does not fit stops the
/// work, and `faultyId` tells which.
AttachFault AttachBlocks(const BlockIndex& index, std::span<const SubMatrixRow> rows, double* store,
                         std::vector<SubMatrix>& subMatrices, int32_t& faultyId);

/// Adds the store to the dense matrix of order n, both triangles.
void AddStoreToDense(const BlockIndex& index, const UnknownLayout& layout, const double* store, double* dense,
                     int64_t n);

}  // namespace orvo
