#include <benchmark/benchmark.h>

#include "geometry/Intersection.h"
#include "kernels/LoadedBlock.h"

namespace orvo::bench {
namespace {

void IntersectAll(benchmark::State& state, const char* caseName) {
  CBundleAdjustment& block = LoadedBlock(caseName);
  ObjectPointArray points = block.Points.pObjectPoints;
  const std::vector<ImageFrame> frames = MakeImageFrames(block.Images.Kept());
  for (auto _ : state) {
    IntersectPoints(std::ssize(points), points.data(), block.Points.pImagePoints, frames,
                    block.Cameras.Usable());
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * std::ssize(block.Points.pImagePoints));
}

BENCHMARK_CAPTURE(IntersectAll, 100, "100/eopiop")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(IntersectAll, 1000, "1000/eopiop")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(IntersectAll, 1000_random, "1000/random")->Unit(benchmark::kMillisecond);

void Frames(benchmark::State& state, const char* caseName) {
  const CBundleAdjustment& block = LoadedBlock(caseName);
  for (auto _ : state) benchmark::DoNotOptimize(MakeImageFrames(block.Images.Kept()));
  state.SetItemsProcessed(state.iterations() * block.Images.nImageNum);
}

BENCHMARK_CAPTURE(Frames, 1000, "1000/eopiop")->Unit(benchmark::kMicrosecond);

}  // namespace
}  // namespace orvo::bench
