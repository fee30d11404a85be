// Numbers to text and back.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "base/FixedFormat.h"
#include "base/NumberText.h"
#include "base/Scan.h"
#include "block/ProjectText.h"
#include "results/ResidualLines.h"

namespace orvo::bench {
namespace {

constexpr int kCount = 100000;

/// As residuals of half a pixel are spread.
float Residual(int i) { return static_cast<float>(0.5 * std::sin(1.7 * i) * std::log(2.0 + i % 97)); }

void ListResiduals(benchmark::State& state) {
  std::vector<float> residuals;
  for (int i = 0; i < 2 * kCount; ++i) residuals.push_back(Residual(i));
  const std::vector<int32_t> flags(kCount);
  TextWriter file;
  if (!file.Open("/dev/null")) state.SkipWithError("/dev/null can't be opened");
  for (auto _ : state) {
    const ResidualSlice slice{residuals, flags};
    benchmark::DoNotOptimize(WriteResidualLines(file, {&slice, 1}, 1.0, 1));
  }
  state.SetItemsProcessed(state.iterations() * kCount);
  state.SetBytesProcessed(state.iterations() * kCount * 28);
}

template <typename Real>
void FormatFixed(benchmark::State& state) {
  std::vector<Real> values;
  for (int i = 0; i < kCount; ++i) values.push_back(static_cast<Real>(1000) * static_cast<Real>(Residual(i)));
  std::string text(400, '\0');
  for (auto _ : state) {
    for (const Real value : values) benchmark::DoNotOptimize(WriteFixed(text.data(), value));
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}

void FormatScientific(benchmark::State& state) {
  std::string text;
  for (auto _ : state) {
    text.clear();
    for (int i = 0; i < kCount; ++i) AppendScientific(text, 1e-4 * static_cast<double>(Residual(i)), 20, 9);
    benchmark::DoNotOptimize(text);
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}

/// Measurement lines as a text project has them.
std::vector<std::string> MeasureLines() {
  std::vector<std::string> lines;
  for (int i = 0; i < kCount; ++i) {
    std::string line = std::to_string(i % 1000);
    AppendFixed(line, 7000 * static_cast<double>(Residual(i)));
    AppendFixed(line, 5000 * static_cast<double>(Residual(i + 1)));
    lines.push_back(line);
  }
  return lines;
}

void ReadMeasureLines(benchmark::State& state) {
  const std::vector<std::string> lines = MeasureLines();
  int64_t bytes = 0;
  for (const std::string& line : lines) bytes += static_cast<int64_t>(line.size()) + 1;
  for (auto _ : state) {
    MeasureLine measure;
    for (const std::string& line : lines) {
      ParseMeasure(line, measure);
      benchmark::DoNotOptimize(measure);
    }
  }
  state.SetItemsProcessed(state.iterations() * kCount);
  state.SetBytesProcessed(state.iterations() * bytes);
}

void ReadReals(benchmark::State& state) {
  std::vector<std::string> texts;
  for (int i = 0; i < kCount; ++i) {
    texts.emplace_back();
    AppendFixed(texts.back(), 7000 * static_cast<double>(Residual(i)), 0, static_cast<int>(state.range(0)));
  }
  for (auto _ : state) {
    for (const std::string& text : texts) benchmark::DoNotOptimize(ParseReal(text));
  }
  state.SetItemsProcessed(state.iterations() * kCount);
}

BENCHMARK(ListResiduals)->Unit(benchmark::kMillisecond);
BENCHMARK(FormatFixed<float>)->Unit(benchmark::kMillisecond);
BENCHMARK(FormatFixed<double>)->Unit(benchmark::kMillisecond);
BENCHMARK(FormatScientific)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadMeasureLines)->Unit(benchmark::kMillisecond);
BENCHMARK(ReadReals)->ArgName("decimals")->Arg(3)->Arg(6)->Arg(12)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace orvo::bench
