#include "rigorous/ChunkEquations.h"

#include <algorithm>

namespace orvo::rigorous {

ChunkEquations::ChunkEquations(const UnknownPlan& plan)
    : pPlan(&plan), vLocal(static_cast<size_t>(plan.NodeNum()), -1) {
  Reserve(64);
}

void ChunkEquations::Clear() {
  for (const int32_t node : vNodes) vLocal[static_cast<size_t>(node)] = -1;
  for (const Block& block : vBlocks)
    vPlaces[static_cast<size_t>(block.nRow) * nCapacity + block.nColumn] = -1;
  vNodes.clear();
  vFirstConstant.clear();
  vBlocks.clear();
  vValues.clear();
  vConstants.clear();
}

void ChunkEquations::Reserve(int32_t localNum) {
  if (localNum <= nCapacity) return;
  nCapacity = std::max(localNum, 2 * nCapacity);
  vPlaces.assign(static_cast<size_t>(nCapacity) * nCapacity, -1);
  for (const Block& block : vBlocks) {
    vPlaces[static_cast<size_t>(block.nRow) * nCapacity + block.nColumn] = block.nFirst;
  }
}

int32_t ChunkEquations::LocalOf(int32_t node) {
  int32_t& local = vLocal[static_cast<size_t>(node)];
  if (local >= 0) return local;
  local = static_cast<int32_t>(vNodes.size());
  Reserve(local + 1);
  vNodes.push_back(node);
  vFirstConstant.push_back(std::ssize(vConstants));
  vConstants.resize(vConstants.size() + static_cast<size_t>(pPlan->vSizes[static_cast<size_t>(node)]), 0.0);
  return local;
}

int64_t ChunkEquations::PlaceOf(int32_t row, int32_t column) {
  int64_t& place = vPlaces[static_cast<size_t>(row) * nCapacity + column];
  if (place < 0) {
    place = std::ssize(vValues);
    vBlocks.push_back({row, column, place});
    vValues.resize(vValues.size() + static_cast<size_t>(SizeOf(row)) * StrideOf(SizeOf(column)), 0.0);
  }
  return place;
}

void ChunkEquations::AddBlock(const Block& block, ReducedEquations& equations) const {
  const std::span<double> target = equations.N.Find(NodeOf(block.nRow), NodeOf(block.nColumn));
  const int32_t columnNum = SizeOf(block.nColumn), stride = StrideOf(columnNum);
  const double* from = vValues.data() + block.nFirst;
  for (size_t to = 0; to < target.size(); to += static_cast<size_t>(columnNum), from += stride) {
    for (int32_t k = 0; k < columnNum; ++k) target[to + k] += from[k];
  }
}

void ChunkEquations::AddTo(ReducedEquations& equations) const {
  for (const Block& block : vBlocks) AddBlock(block, equations);
  for (int32_t local = 0; local < static_cast<int32_t>(vNodes.size()); ++local) {
    double* const n = equations.n.data() + pPlan->vFirstUnknown[static_cast<size_t>(NodeOf(local))];
    const double* const from = vConstants.data() + vFirstConstant[local];
    for (int32_t k = 0; k < SizeOf(local); ++k) n[k] += from[k];
  }
}

}  // namespace orvo::rigorous
