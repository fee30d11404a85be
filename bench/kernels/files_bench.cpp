// Reading the points of a block from files that stand in memory.
#include <benchmark/benchmark.h>

#include <filesystem>

#include "base/TextReader.h"
#include "block/OvtFile.h"
#include "kernels/LoadedBlock.h"

namespace orvo::bench {
namespace {

int64_t TiePointBytes(const std::string& project) {
  const std::filesystem::path path(project);
  return static_cast<int64_t>(std::filesystem::file_size(
      path.extension() == ".ovc" ? std::filesystem::path(path).replace_extension(".ovt") : path));
}

/// From the file to the arrays of the section, either form.
void ReadPoints(benchmark::State& state, const char* caseName) {
  CBundleAdjustment& loaded = LoadedBlock(caseName);
  // The object of the others keeps its intersected points.
  const auto points = loaded.Points.pObjectPoints;
  const auto measures = loaded.Points.pImagePoints;
  for (auto _ : state) {
    if (loaded.ReadSectionPoints(0) == 0) state.SkipWithError("the points can't be read");
  }
  state.SetItemsProcessed(state.iterations() * std::ssize(loaded.Points.pImagePoints));
  state.SetBytesProcessed(state.iterations() * TiePointBytes(ProjectOf(caseName)));
  loaded.Points.pObjectPoints = points;
  loaded.Points.pImagePoints = measures;
}

/// The least that reading an .ovt can take.
void CopyOvt(benchmark::State& state, const char* caseName) {
  const std::string path = std::filesystem::path(ProjectOf(caseName)).replace_extension(".ovt").string();
  OvtReader file;
  if (!file.Open(path)) return state.SkipWithError("the .ovt can't be opened");
  std::vector<char> points(static_cast<size_t>(file.PointNum() * kOvtPointBytes));
  std::vector<char> measures(static_cast<size_t>(file.MeasureNum() * kOvtMeasureBytes));
  for (auto _ : state) {
    file.ReadPoints(0, file.PointNum(), points.data());
    file.ReadMeasures(0, file.MeasureNum(), measures.data());
    benchmark::ClobberMemory();
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(points.size() + measures.size()));
}

/// The least that reading a text can take.
void WalkLines(benchmark::State& state, const char* caseName) {
  const std::string path = ProjectOf(caseName);
  for (auto _ : state) {
    TextReader file;
    if (!file.Open(path)) return state.SkipWithError("the project can't be opened");
    int64_t lines = 0;
    for (std::string_view line; file.Next(line);) ++lines;
    benchmark::DoNotOptimize(lines);
  }
  state.SetBytesProcessed(state.iterations() * TiePointBytes(path));
}

BENCHMARK_CAPTURE(ReadPoints, 1000_ovt, "1000/eopiop")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(ReadPoints, 1000_text, "1000/text")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(CopyOvt, 1000, "1000/eopiop")->Unit(benchmark::kMillisecond)->UseRealTime();
BENCHMARK_CAPTURE(WalkLines, 1000, "1000/text")->Unit(benchmark::kMillisecond)->UseRealTime();

}  // namespace
}  // namespace orvo::bench
