#include "rigorous/ChunkEquations.h"

#include <algorithm>
#include <utility>

#include "rigorous/PointChunks.h"

namespace orvo::rigorous {
namespace {

constexpr size_t kFirstRows = 1 << 13;

}  // namespace

ChunkEquations::ChunkEquations(const UnknownPlan& plan)
    : pPlan(&plan), vLocal(static_cast<size_t>(plan.NodeNum()), -1), Values(kFirstRows * kRowNumbers) {
  Reserve(kChunkImages + 16);
}

void ChunkEquations::Clear() {
  for (const int32_t node : vNodes) vLocal[static_cast<size_t>(node)] = -1;
  for (const BlockPlace& block : vBlocks) {
    vPlaces[static_cast<size_t>(block.nRow) * nCapacity + block.nColumn] = -1;
  }
  std::fill_n(Values.get(), static_cast<size_t>(nRowsUsed) * kRowNumbers, 0.0);
  nRowsUsed = 0;
  vNodes.clear();
  vFirstConstant.clear();
  vBlocks.clear();
  vConstants.clear();
}

void ChunkEquations::Reserve(int32_t localNum) {
  if (localNum <= nCapacity) return;
  nCapacity = std::max(localNum, 2 * nCapacity);
  vPlaces.assign(static_cast<size_t>(nCapacity) * nCapacity, -1);
  for (const BlockPlace& block : vBlocks) {
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
  vConstants.resize(vConstants.size() + static_cast<size_t>(StrideOf(local) / kRowNumbers));
  return local;
}

void ChunkEquations::MakeBlock(int32_t row, int32_t column) {
  const BlockPlace block = {row, column, nRowsUsed};
  nRowsUsed += SizeOf(row) * (StrideOf(column) / kRowNumbers);
  const size_t needed = static_cast<size_t>(nRowsUsed) * kRowNumbers;
  if (needed > Values.size()) {
    ZeroedArray more(std::max(needed, 2 * Values.size()));
    std::copy_n(Values.get(), static_cast<size_t>(block.nFirst) * kRowNumbers, more.get());
    Values = std::move(more);
  }
  vBlocks.push_back(block);
  vPlaces[static_cast<size_t>(row) * nCapacity + column] = block.nFirst;
}

void ChunkEquations::AddBlock(const BlockPlace& block, ReducedEquations& equations) const {
  const std::span<double> target = equations.N.Find(NodeOf(block.nRow), NodeOf(block.nColumn));
  const int32_t columnNum = SizeOf(block.nColumn), stride = StrideOf(block.nColumn);
  const double* from = Values.get() + kRowNumbers * int64_t{block.nFirst};
  for (size_t to = 0; to < target.size(); to += static_cast<size_t>(columnNum), from += stride) {
    for (int32_t k = 0; k < columnNum; ++k) target[to + k] += from[k];
  }
}

void ChunkEquations::AddTo(ReducedEquations& equations) const {
  for (const BlockPlace& block : vBlocks) AddBlock(block, equations);
  for (int32_t local = 0; local < static_cast<int32_t>(vNodes.size()); ++local) {
    double* const n = equations.n.data() + pPlan->vFirstUnknown[static_cast<size_t>(NodeOf(local))];
    const double* const from = vConstants[static_cast<size_t>(vFirstConstant[local])].Numbers;
    for (int32_t k = 0; k < SizeOf(local); ++k) n[k] += from[k];
  }
}

}  // namespace orvo::rigorous
