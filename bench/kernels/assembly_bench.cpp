// Residuals, derivatives and elimination: for each layout, and for each instruction set of this processor.
#include <benchmark/benchmark.h>

#include <algorithm>

#include "base/ZeroedArray.h"
#include "geometry/camera/ImagePointPartials.h"
#include "kernels/LoadedBlock.h"
#include "normal/AssemblyKernel.h"
#include "normal/BlockStore.h"

namespace orvo::bench {
namespace {

std::vector<ImageTerms> TermsOfImages(const CBundleAdjustment& block) {
  std::vector<ImageTerms> terms;
  for (const EopRecord& eop : block.Images.Kept()) terms.push_back(MakeImageTerms(eop));
  return terms;
}

std::vector<CameraTerms> TermsOfCameras(const CBundleAdjustment& block) {
  std::vector<CameraTerms> terms;
  for (const IopRecord& iop : block.Cameras.Usable()) terms.push_back(MakeCameraTerms(iop));
  return terms;
}

void Linearize(benchmark::State& state, const char* caseName) {
  const CBundleAdjustment& block = LoadedBlock(caseName);
  const auto images = TermsOfImages(block);
  const auto cameras = TermsOfCameras(block);
  const UnknownLayout layout = block.Layout();
  PartialRows<double> rows;
  for (auto _ : state) {
    for (const ObjectPointRecord& point : block.Points.pObjectPoints) {
      for (const ImagePointRecord& m : MeasurementsOf(point, block.Points.pImagePoints)) {
        if (!layout.Holds(m)) continue;
        LinearizeImagePoint<double>(m.x, m.y, point.X, point.Y, point.Z,
                                    images[static_cast<size_t>(m.nImage)],
                                    cameras[static_cast<size_t>(m.nCamera)], rows);
        benchmark::DoNotOptimize(rows);
      }
    }
  }
  state.SetItemsProcessed(state.iterations() * std::ssize(block.Points.pImagePoints));
}

BENCHMARK_CAPTURE(Linearize, 100, "100/eopiop")->Unit(benchmark::kMillisecond);
BENCHMARK_CAPTURE(Linearize, 1000, "1000/eopiop")->Unit(benchmark::kMillisecond);

void Assemble(benchmark::State& state, const char* caseName, AssemblyKernels kernels) {
  const CBundleAdjustment& block = LoadedBlock(caseName);
  const auto images = TermsOfImages(block);
  const auto cameras = TermsOfCameras(block);
  const UnknownLayout layout = block.Layout();
  const BlockIndex index(block.Normal.pSubMatrixRows, layout);
  size_t largest = 0;
  for (const ObjectPointRecord& point : block.Points.pObjectPoints)
    largest = std::max(largest, MeasurementsOf(point, block.Points.pImagePoints).size());

  AssemblyInput in;
  in.pObjectPoints = block.Points.pObjectPoints.data();
  in.pImagePoints = block.Points.pImagePoints.data();
  in.nImagePointNum = std::ssize(block.Points.pImagePoints);
  in.pImages = images.data();
  in.pCameras = cameras.data();
  in.Layout = layout;
  in.Index = index.View();
  in.nSpareOffset = index.StoreSize();
  in.fControlWeight = block.Settings.GCP_Weight;
  in.fGrossX = in.fGrossY = 1e30;

  ZeroedArray store(static_cast<size_t>(index.StoreSize() + kSpareBlockSize));
  std::vector<double> constVector(static_cast<size_t>(block.Unknowns.nUnknownNum));
  std::vector<float> residuals(2 * block.Points.pImagePoints.size());
  std::vector<int32_t> gross(block.Points.pImagePoints.size());
  std::vector<uint8_t> rowFlags(static_cast<size_t>(layout.PointRows()));
  std::vector<MissingBlock> missing;
  AssemblyScratch scratch(static_cast<int64_t>(largest), layout);
  for (auto _ : state) {
    AssemblyOutput out;
    out.pBlocks = store.get();
    out.pConstVector = constVector.data();
    out.pResiduals = residuals.data();
    out.pGrossFlags = gross.data();
    out.pRowFlags = rowFlags.data();
    out.pMissing = &missing;
    kernels.ByLayout[block.Unknowns.nLayoutMode](in, scratch, out, 0,
                                                 std::ssize(block.Points.pObjectPoints) - 1);
    benchmark::ClobberMemory();
  }
  state.SetItemsProcessed(state.iterations() * std::ssize(block.Points.pImagePoints));
  state.counters["store MB"] = static_cast<double>(index.StoreSize()) * 8e-6;
}

[[maybe_unused]] const bool bRegistered = [] {
  for (const AssemblyKernels& kernels : UsableAssemblyKernels()) {
    for (const char* size : {"100", "1000"}) {
      for (const char* variant : {"eopiop", "eop", "iop", "merged", "4cam", "rays7", "random"}) {
        const std::string name = std::string(size) + "/" + variant;
        benchmark::RegisterBenchmark(
            ("Assemble/" + name + "/" + kernels.szName).c_str(),
            [name, kernels](benchmark::State& state) { Assemble(state, name.c_str(), kernels); })
            ->Unit(benchmark::kMillisecond);
      }
    }
  }
  return true;
}();

}  // namespace
}  // namespace orvo::bench
