// The equations of a run of points, in a place of its own: small, so that it stays near the processor, and
// nobody else's, so that threads can add up side by side.
#pragma once

#include <cstdint>
#include <vector>

#include "rigorous/ReducedEquations.h"
#include "rigorous/UnknownPlan.h"

namespace orvo::rigorous {

/// Numbers that a row of a block takes up: a node's unknowns, and zeros up to the next whole register.
inline int32_t StrideOf(int32_t size) { return (size + 7) / 8 * 8; }

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
  /// Where the block of two nodes, of which `row` is not behind `column` in the plan, stands among Values:
  /// row-major, a row each StrideOf(size of the column). Calls for other blocks may move Values.
  int64_t PlaceOf(int32_t row, int32_t column);
  double* Values() { return vValues.data(); }
  /// Of the constant vector, SizeOf(local) numbers.
  double* Constants(int32_t local) { return vConstants.data() + vFirstConstant[local]; }

  /// Adds everything.
  void AddTo(ReducedEquations& equations) const;

 private:
  struct Block {
    int32_t nRow, nColumn;
    int64_t nFirst;  ///< in vValues
  };
  void Reserve(int32_t localNum);
  void AddBlock(const Block& block, ReducedEquations& equations) const;

  const UnknownPlan* pPlan;
  std::vector<int32_t> vLocal;  ///< by node of the plan, -1: not met yet
  std::vector<int32_t> vNodes;  ///< by local number
  std::vector<int64_t> vFirstConstant;
  std::vector<int64_t> vPlaces;  ///< nCapacity x nCapacity, -1: no block yet
  int32_t nCapacity = 0;
  std::vector<Block> vBlocks;
  std::vector<double> vValues, vConstants;
};

}  // namespace orvo::rigorous
