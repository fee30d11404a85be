// Work buffers of the assembly threads, one entry per thread.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "base/ScratchVector.h"
#include "base/ZeroedArray.h"
#include "normal/AssemblyKernel.h"
#include "normal/SubMatrix.h"

namespace orvo {

struct ThreadBuffers {
  std::vector<std::array<double, 2>> pThreadResidualSum, pThreadResidualSquareSum;  ///< x, y
  std::vector<int32_t> pThreadValidNum;                   ///< measurements that are not gross
  std::vector<int32_t> pThreadPointNum;                   ///< all measurements of the task
  std::vector<ScratchVector<int32_t>> pThreadGrossFlags;  ///< 0, or -1 for gross
  std::vector<ScratchVector<float>> pThreadResiduals;     ///< x and y of each measurement

  /// Blocks of each thread, in one flat store as BlockIndex lays it out. In the sparse form thread 0 has none
  /// of its own, it adds to the main store.
  std::vector<ZeroedArray> pThreadBlocks;
  std::vector<std::vector<uint8_t>> pThreadRowFlags;      ///< block rows that the thread has added to
  std::vector<std::vector<double>> pThreadConstVector;    ///< of the threads above 0
  std::vector<std::vector<MissingBlock>> pThreadMissing;  ///< blocks that the pattern does not have
  std::vector<AssemblyScratch> pThreadScratch;
  std::vector<AssemblyOutput> pThreadOutput;

  std::vector<ImageTerms> pImageTerms;
  std::vector<CameraTerms> pCameraTerms;
  AssemblyInput Input;
};

}  // namespace orvo
