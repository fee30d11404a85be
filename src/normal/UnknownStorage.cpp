#include "normal/UnknownStorage.h"

#include <algorithm>
#include <new>

#include "base/MemoryPurpose.h"

namespace orvo {

bool AllocateUnknowns(const UnknownCounts& unknowns, int32_t groupNum, bool dense, int64_t freeBytes,
                      NormalEquations& normal) {
  const int64_t elementCount = static_cast<int64_t>(unknowns.nUnknownNum) * unknowns.nUnknownNum;
  // Elements against bytes, so that matrices up to 7.2 times the free memory pass. Deliberate.
  if (dense && static_cast<double>(elementCount) / static_cast<double>(std::max<int64_t>(freeBytes, 0)) > 0.9)
    return false;
  try {
    const AnswersLackOfMemory answers;
    if (groupNum > 0) {
      normal.pPosParams.assign(static_cast<size_t>(groupNum) * static_cast<size_t>(unknowns.nPosSize), 0.0);
    }
    normal.pConstVector.assign(static_cast<size_t>(unknowns.nUnknownNum), 0.0);
    normal.pSubMatrixRows.assign(static_cast<size_t>(unknowns.nBlockRowNum), SubMatrixRow());
    if (dense) normal.pDenseNormal = ZeroedArray(static_cast<size_t>(elementCount), false);
  } catch (const std::bad_alloc&) {
    return false;
  }
  return true;
}

void MakeEquations(NormalEquations& normal, int32_t unknownNum, bool sparse) {
  const MemoryPurpose purpose("the normal equations");
  const auto order = static_cast<size_t>(unknownNum);
  normal.pConstVector.assign(order, 0.0);
  if (!sparse && !normal.pDenseNormal) normal.pDenseNormal = ZeroedArray(order * order, false);
  if (!sparse) return;
  if (normal.pSubMatrices.empty()) normal.pSubMatrices.resize(static_cast<size_t>(normal.nSubMatrixNum));
  for (SubMatrix& block : normal.pSubMatrices) std::ranges::fill(block.Data(), 0.0);
}

}  // namespace orvo
