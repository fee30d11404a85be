// The equations of a run of points, in a place of its own: small, so that it stays near the processor, and
// nobody else's, so that threads can add up side by side.
#pragma once

#include <cstdint>
#include <vector>

#include "base/ZeroedArray.h"
#include "rigorous/PointKernels.h"
#include "rigorous/ReducedEquations.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous {

/// Blocks exist from the first call for them on, until Clear.
class ChunkEquations {
 public:
  /// `plan` has to outlive this.
  explicit ChunkEquations(const UnknownPlan& plan);

  void Clear();
  /// The number of a node in here. Further calls may move what pointers from before point to.
  int32_t LocalOf(int32_t node);
  int32_t SizeOf(int32_t local) const { return pPlan->vSizes[static_cast<size_t>(vNodes[local])]; }
  int32_t NodeOf(int32_t local) const { return vNodes[local]; }
  int32_t StrideOf(int32_t local) const { return RoundedUp(SizeOf(local)); }
  /// Makes sure of the block of two nodes, of which `row` is not behind `column` in the plan. May move all
  /// blocks.
  void NeedBlock(int32_t row, int32_t column) {
    if (vPlaces[static_cast<size_t>(row) * nCapacity + column] < 0) MakeBlock(row, column);
  }
  /// Row-major, StrideOf(column) numbers to a row.
  double* Block(int32_t row, int32_t column) {
    return Values.get() + kRowNumbers * int64_t{vPlaces[static_cast<size_t>(row) * nCapacity + column]};
  }
  /// Of the constant vector, StrideOf(local) numbers.
  double* Constants(int32_t local) { return vConstants[static_cast<size_t>(vFirstConstant[local])].Numbers; }

  /// Adds everything.
  void AddTo(ReducedEquations& equations) const;

 private:
  struct BlockPlace {
    int32_t nRow, nColumn, nFirst;  ///< nFirst: in rows of kRowNumbers
  };
  void Reserve(int32_t localNum);
  void MakeBlock(int32_t row, int32_t column);
  void AddBlock(const BlockPlace& block, ReducedEquations& equations) const;

  const UnknownPlan* pPlan;
  std::vector<int32_t> vLocal;  ///< by node of the plan, -1: not met yet
  std::vector<int32_t> vNodes;  ///< by local number
  std::vector<int64_t> vFirstConstant;
  std::vector<int32_t> vPlaces;  ///< of blocks as in BlockPlace, nCapacity x nCapacity; -1: none yet
  int32_t nCapacity = 0;
  std::vector<BlockPlace> vBlocks;
  ZeroedArray Values;  ///< 0 from nRowsUsed rows on
  int32_t nRowsUsed = 0;
  std::vector<RegisterRow> vConstants;
};

}  // namespace orvo::rigorous
