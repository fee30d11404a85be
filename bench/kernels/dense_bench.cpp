#include <benchmark/benchmark.h>

#include <cmath>
#include <vector>

#include "solver/DenseSolve.h"

namespace orvo::bench {
namespace {

/// Symmetric, diagonally dominant, without a pattern.
std::vector<double> MakeMatrix(int32_t n) {
  std::vector<double> N(static_cast<size_t>(n) * static_cast<size_t>(n));
  for (int32_t i = 0; i < n; ++i) {
    for (int32_t j = 0; j <= i; ++j) {
      const double value = i == j ? n : std::cos(0.37 * i) * std::cos(0.91 * j);
      N[static_cast<size_t>(i) * static_cast<size_t>(n) + static_cast<size_t>(j)] = value;
      N[static_cast<size_t>(j) * static_cast<size_t>(n) + static_cast<size_t>(i)] = value;
    }
  }
  return N;
}

void Solve(benchmark::State& state) {
  const auto n = static_cast<int32_t>(state.range(0));
  const std::vector<double> original = MakeMatrix(n);
  std::vector<double> N, b(static_cast<size_t>(n), 1), x(b.size()), remainder(b.size());
  for (auto _ : state) {
    state.PauseTiming();
    N = original;
    state.ResumeTiming();
    SolveDense(N.data(), n, b.data(), x.data(), remainder.data(), static_cast<int32_t>(state.range(1)));
    benchmark::ClobberMemory();
  }
}

void Factor(benchmark::State& state) {
  const auto n = static_cast<int32_t>(state.range(0));
  const std::vector<double> original = MakeMatrix(n);
  std::vector<double> N;
  for (auto _ : state) {
    state.PauseTiming();
    N = original;
    state.ResumeTiming();
    FactorCholesky(N.data(), n, static_cast<int32_t>(state.range(1)));
    benchmark::ClobberMemory();
  }
  state.counters["GFLOP/s"] = benchmark::Counter(std::pow(static_cast<double>(n), 3) / 3e9,
                                                 benchmark::Counter::kIsIterationInvariantRate);
}

void Orders(benchmark::internal::Benchmark* bench) {
  bench->ArgNames({"n", "threads"})->Unit(benchmark::kMillisecond)->UseRealTime();
  for (const int n : {605, 3005}) {
    for (const int threads : {1, 2}) bench->Args({n, threads});
  }
}

BENCHMARK(Solve)->Apply(Orders);
BENCHMARK(Factor)->Apply(Orders);

}  // namespace
}  // namespace orvo::bench
