// The product of a symmetric matrix of nodes with vectors.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "solver/sparse/NodeMatrix.h"

namespace orvo::sparse {

/// For each node the blocks of its whole row, so that rows are summed up one by one and no two threads write
/// the same: the same bits for any number of threads.
class NodeProduct {
 public:
  /// `matrix` has to outlive this; its values may change.
  explicit NodeProduct(const NodeMatrix& matrix);

  /// y = N x for `columnNum` vectors one behind the other, on up to `threads` threads. x and y don't overlap.
  void Multiply(std::span<const double> x, std::span<double> y, int32_t threads = 1,
                int32_t columnNum = 1) const;

 private:
  struct Before {
    int32_t nNode;
    int64_t nPlace;  ///< of this node among that node's neighbours
  };
  void MultiplyRow(int32_t node, const double* x, double* y, int32_t columnNum) const;

  const NodeMatrix* pMatrix;
  std::vector<int64_t> vFirstBefore, vFirstUnknown;
  std::vector<Before> vBefore;
};

}  // namespace orvo::sparse
