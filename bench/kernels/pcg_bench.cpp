// The sparse form: gathering the matrix, products, the preconditioner.
#include <benchmark/benchmark.h>

#include "base/Threads.h"
#include "kernels/LoadedBlock.h"
#include "solver/BlockOperator.h"

namespace orvo::bench {
namespace {

std::vector<int32_t> RowPositions(const CBundleAdjustment& block) {
  std::vector<int32_t> positions;
  for (int32_t row = 0; row < block.Unknowns.nBlockRowNum; ++row)
    positions.push_back(block.Layout().Position(row));
  return positions;
}

void Gather(benchmark::State& state, const char* caseName) {
  const CBundleAdjustment& block = AssembledBlock(caseName);
  const std::vector<int32_t> positions = RowPositions(block);
  for (auto _ : state) {
    BlockOperator matrix(block.Normal.pSubMatrices, positions, block.Unknowns.nUnknownNum);
    benchmark::DoNotOptimize(matrix);
  }
}

void Multiply(benchmark::State& state, const char* caseName) {
  const CBundleAdjustment& block = AssembledBlock(caseName);
  WorkerPool pool(static_cast<int32_t>(state.range(0)));
  BlockOperator matrix(block.Normal.pSubMatrices, RowPositions(block), block.Unknowns.nUnknownNum,
                       static_cast<InstructionSet>(state.range(1)));
  const std::vector<double> v(block.Normal.pConstVector);
  std::vector<double> out(v.size());
  int64_t values = 0;
  for (const SubMatrix& sub : block.Normal.pSubMatrices) values += int64_t{sub.nRows} * sub.nCols;
  for (auto _ : state) {
    matrix.Multiply(v.data(), out.data(), pool);
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * values * int64_t{sizeof(double)});
}

void MakePreconditioner(benchmark::State& state, const char* caseName) {
  const CBundleAdjustment& block = AssembledBlock(caseName);
  WorkerPool pool(1);
  const BlockOperator matrix(block.Normal.pSubMatrices, RowPositions(block), block.Unknowns.nUnknownNum);
  for (auto _ : state) {
    BlockPreconditioner preconditioner(matrix, pool);
    benchmark::DoNotOptimize(preconditioner);
  }
}

void ApplyPreconditioner(benchmark::State& state, const char* caseName) {
  const CBundleAdjustment& block = AssembledBlock(caseName);
  WorkerPool pool(1);
  const BlockOperator matrix(block.Normal.pSubMatrices, RowPositions(block), block.Unknowns.nUnknownNum);
  const BlockPreconditioner preconditioner(matrix, pool);
  std::vector<double> z(block.Normal.pConstVector.size());
  for (auto _ : state) {
    for (int32_t panel = 0; panel < matrix.PanelNum(); ++panel)
      preconditioner.Apply(panel, block.Normal.pConstVector.data(), z.data());
    benchmark::ClobberMemory();
  }
}

void ThreadsAndForms(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"threads", "form"})->Unit(benchmark::kMicrosecond)->UseRealTime();
  for (int form = 0; form <= static_cast<int>(BestInstructionSet()); ++form) {
    for (const int threads : {1, 2}) bench->Args({threads, form});
  }
}

BENCHMARK_CAPTURE(Multiply, 100, "100/eopiop")->Apply(ThreadsAndForms);
BENCHMARK_CAPTURE(Multiply, 1000, "1000/eopiop")->Apply(ThreadsAndForms);
BENCHMARK_CAPTURE(Multiply, 1000_merged, "1000/merged")->Apply(ThreadsAndForms);
BENCHMARK_CAPTURE(Gather, 1000, "1000/eopiop")
    ->ArgName("threads")
    ->Arg(1)
    ->Arg(2)
    ->Unit(benchmark::kMicrosecond)
    ->UseRealTime();
BENCHMARK_CAPTURE(MakePreconditioner, 1000, "1000/eopiop")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(MakePreconditioner, 1000_merged, "1000/merged")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(ApplyPreconditioner, 1000, "1000/eopiop")->Unit(benchmark::kMicrosecond);
BENCHMARK_CAPTURE(ApplyPreconditioner, 1000_merged, "1000/merged")->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace orvo::bench
