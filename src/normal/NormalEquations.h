// The reduced normal equations, and what their assembly works with.
#pragma once

#include <cstdint>
#include <memory>
#include <vector>

#include "base/ZeroedArray.h"
#include "normal/BlockIndex.h"
#include "normal/PointOrder.h"
#include "normal/SubMatrix.h"
#include "normal/ThreadBuffers.h"

namespace orvo {

struct NormalEquations {
  std::vector<SubMatrixRow> pSubMatrixRows;
  int32_t nSubMatrixNum = 0;
  std::vector<SubMatrix> pSubMatrices;      ///< sparse form: upper block triangle
  ZeroedArray SubMatrixStore;               ///< sparse form: data of all blocks that points fill
  std::unique_ptr<BlockIndex> pBlockIndex;  ///< places of blocks in a store; made from pSubMatrixRows
  ZeroedArray pDenseNormal;                 ///< dense form: nUnknownNum squared, row-major
  std::vector<double> pConstVector;
  std::vector<double> pPosParams;                 ///< nGroupNum times nPosSize drift parameters
  std::unique_ptr<ThreadBuffers> pThreadBuffers;  ///< work of the assembly threads
  std::vector<PointOrder> pPointOrders;           ///< by assembly thread, for the section in memory
};

}  // namespace orvo
