#include "gpu/PackedBlocks.h"

#include <algorithm>

#include "base/Threads.h"
#include "solver/BlockInverse.h"
#include "solver/BlockKernels.h"

namespace orvo::gpu {
namespace {

/// Blocks of one piece of parallel work.
constexpr int64_t kChunk = 512;

void UnpackUpper(const double* packed, int32_t size, double* full) {
  for (int32_t row = 0; row < size; ++row) {
    for (int32_t col = row; col < size; ++col) full[row * size + col] = full[col * size + row] = *packed++;
  }
}

}  // namespace

PackedBlocks MakePackedBlocks(const UnknownLayout& layout, int32_t groupNum) {
  PackedBlocks blocks;
  const auto append = [&blocks](int64_t count, int32_t size, bool pos) {
    if (count < 1 || size < 1) return;
    const PackedBlocks::Run run{count, size, blocks.nUnknownNum, blocks.nPackedNum, pos};
    blocks.vRuns.push_back(run);
    blocks.nUnknownNum += count * size;
    blocks.nPackedNum += count * run.UpperSize();
  };
  append(layout.FirstRows(), layout.FirstSize(), false);
  append(layout.SecondRows(), 5, false);
  append(groupNum, layout.nPosSize, true);
  return blocks;
}

PackedPreconditioner::PackedPreconditioner(const PackedBlocks& blocks, const std::vector<double>& M,
                                           int threads)
    : Blocks(blocks) {
  int64_t size = 0;
  for (const PackedBlocks::Run& run : blocks.vRuns) size += run.nCount * run.nSize * run.nSize;
  Inverses.resize(static_cast<size_t>(size));
  double* inverse = Inverses.data();
  for (const PackedBlocks::Run& run : blocks.vRuns) {
    const int64_t area = int64_t{run.nSize} * run.nSize;
    ParallelFor((run.nCount + kChunk - 1) / kChunk, threads, [&](int64_t chunk) {
      const int64_t end = std::min(run.nCount, (chunk + 1) * kChunk);
      for (int64_t block = chunk * kChunk; block < end; ++block) {
        double* full = inverse + block * area;
        UnpackUpper(M.data() + run.nPacked + block * run.UpperSize(), run.nSize, full);
        InvertBlockInPlace(full, run.nSize);
      }
    });
    inverse += run.nCount * area;
  }
}

void PackedPreconditioner::Apply(const std::vector<double>& r, std::vector<double>& z) const {
  const double* inverse = Inverses.data();
  for (const PackedBlocks::Run& run : Blocks.vRuns) {
    for (int64_t block = 0; block < run.nCount; ++block) {
      const int64_t at = run.nUnknown + block * run.nSize;
      AddMatrixTimesVector(inverse, run.nSize, run.nSize, r.data() + at, z.data() + at);
      inverse += int64_t{run.nSize} * run.nSize;
    }
  }
}

void ApplyPackedPreconditioner(const PackedBlocks& blocks, const std::vector<double>& M,
                               const std::vector<double>& r, std::vector<double>& z) {
  PackedPreconditioner(blocks, M, 1).Apply(r, z);
}

}  // namespace orvo::gpu
