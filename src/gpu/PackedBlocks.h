// The packed preconditioner: upper triangles of the diagonal blocks, row by row, one block after the other.
#pragma once

#include <cstdint>
#include <vector>

#include "records/UnknownLayout.h"

namespace orvo::gpu {

/// Where the diagonal blocks stand in the unknowns and in the packed preconditioner. Blocks of images come
/// first, then those of cameras, then those of POS groups.
struct PackedBlocks {
  /// Equally sized blocks, one behind the other.
  struct Run {
    int64_t nCount = 0;
    int32_t nSize = 0;
    int64_t nUnknown = 0;  ///< first unknown of the first block
    int64_t nPacked = 0;   ///< first element of the first block
    bool bPos = false;

    int64_t UpperSize() const { return int64_t{nSize} * (nSize + 1) / 2; }
  };
  std::vector<Run> vRuns;
  int64_t nUnknownNum = 0, nPackedNum = 0;
};

/// `groupNum`: POS groups with unknowns.
PackedBlocks MakePackedBlocks(const UnknownLayout& layout, int32_t groupNum);

/// The inverse of a packed preconditioner. The blocks are inverted once, on up to `threads` threads; the
/// numbers don't depend on how many. A singular block acts as the inversion leaves it.
class PackedPreconditioner {
 public:
  PackedPreconditioner(const PackedBlocks& blocks, const std::vector<double>& M, int threads);
  /// z += M^-1 r
  void Apply(const std::vector<double>& r, std::vector<double>& z) const;

 private:
  const PackedBlocks& Blocks;
  std::vector<double> Inverses;  ///< full blocks, row-major
};

/// z += M^-1 r in one call, for a preconditioner that is applied once.
void ApplyPackedPreconditioner(const PackedBlocks& blocks, const std::vector<double>& M,
                               const std::vector<double>& r, std::vector<double>& z);

}  // namespace orvo::gpu
