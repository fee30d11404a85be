#include "gpu/kernels/fast/FastKernels.h"

#include <algorithm>
#include <array>
#include <vector>

#include "gpu/kernels/PointFinish.h"
#include "gpu/kernels/RayBlocks.h"
#include "gpu/kernels/fast/FastRay.h"
#include "records/UnknownLayout.h"

namespace orvo::gpu {
namespace {

constexpr int64_t kRaysOfTask = 4096;
constexpr int64_t kImagesOfTask = 64;

/// Where the unknowns of an image and of a camera begin, -1 where there are none.
struct UnknownPlaces {
  int64_t nLayoutMode, nImageCount;
  int64_t OfImage(int64_t image) const {
    return nLayoutMode == LayoutIop ? -1 : (nLayoutMode == LayoutMergedEopIop ? 11 : 6) * image;
  }
  int64_t OfCamera(int64_t image, int64_t camera) const {
    if (nLayoutMode == LayoutEop) return -1;
    if (nLayoutMode == LayoutIop) return 5 * camera;
    return nLayoutMode == LayoutMergedEopIop ? 11 * image + 6 : 6 * nImageCount + 5 * camera;
  }
};

class FastRun {
 public:
  FastRun(const KernelCall& kernelCall, WorkerPool& workers, const FastPasses& kernelPasses)
      : call(kernelCall),
        pool(workers),
        passes(kernelPasses),
        nImages(call.nImageNum),
        nLayout(static_cast<size_t>(std::clamp<int64_t>(call.Para.nMode, LayoutEop, LayoutEopIop))),
        nOneCamera(call.Para.nCameraCount == 1 ? 1 : 0),
        pImageRows(reinterpret_cast<FastImageRow*>(call.Arrays.cupFast)) {
    static_cast<FastArrays&>(in) = FastArraysOf(call);
  }

  void SumMatrix() {
    ForImages([this](int64_t image) { pImageRows[image] = MakeFastImageRow(in.pEop + 6 * image); });
    WriteTerms(nullptr);
    float* rms = in.pRms;
    in.fLimitX = in.fGrossFactor * rms[2];
    in.fLimitY = in.fGrossFactor * rms[3];
    std::vector<std::array<double, 4>> sums(static_cast<size_t>(PointTasks()));
    ForPoints(PointTasks(), [&](int64_t task, int64_t first, int64_t end) {
      passes.SumPoints[nOneCamera](in, first, end, sums[static_cast<size_t>(task)].data());
    });
    FinishFirstPoint();
    ForRaysOfImages(passes.MarkImages);
    if (call.Para.nSkipStatistics != 0) return;
    for (size_t k = 0; k < 4; ++k) {
      double total = 0;
      for (const auto& sum : sums) total += sum[k];
      rms[k] = static_cast<float>(total);
    }
  }

  void ConstVector() {
    in.pOut = in.pConst;
    ForRaysOfImages(passes.ConstImages[nLayout]);
    AddCameraUnknowns();
  }

  void Preconditioner() {
    if (nLayout == LayoutIop) return;
    in.pOut = in.pPrecond;
    ForRaysOfImages(passes.ImageBlocks[nLayout == LayoutMergedEopIop ? 1 : 0]);
  }

  void PreconditionerIop() {
    if (nLayout != LayoutIop && nLayout != LayoutEopIop) return;
    WriteTerms(nullptr);
    const size_t cameras = static_cast<size_t>(in.nCameras);
    const size_t longest = nOneCamera != 0 ? 0 : LongestPoint();
    ForPoints(kStretches, [&](int64_t stretch, int64_t first, int64_t end) {
      std::vector<double> share(kCameraShareFloats * cameras);
      std::vector<float> pointSums(16 * longest);
      std::vector<uint32_t> pointCameras(longest), slots(cameras, kNoSlot);
      passes.CouplingPoints[nOneCamera](in, first, end,
                                        {share.data(), pointSums.data(), pointCameras.data(), slots.data()});
      std::transform(share.begin(), share.end(),
                     in.Work.pStretchShare + kCameraShareFloats * in.nCameras * stretch,
                     [](double element) { return static_cast<float>(element); });
    });
    ForRaysOfImages(passes.CameraSquares);
    float* blocks = in.pPrecond + (nLayout == LayoutEopIop ? 21 * in.nEopBlocks : 0);
    ForCameras([&](int64_t camera) {
      double sum[kCameraShareFloats] = {};
      AddImageShares(camera, kCameraShareFloats, sum);
      for (int64_t stretch = 0; stretch < kStretches; ++stretch) {
        const float* share = in.Work.pStretchShare + kCameraShareFloats * (in.nCameras * stretch + camera);
        for (int64_t k = 0; k < kCameraShareFloats; ++k) sum[k] -= static_cast<double>(share[k]);
      }
      for (int64_t k = 0; k < kCameraShareFloats; ++k)
        blocks[kCameraShareFloats * camera + k] += static_cast<float>(sum[k]);
    });
  }

  void MatrixVectorAd() {
    in.pOut = in.pProduct;
    WriteTerms(in.pDirection);
    ForPoints(PointTasks(), [&](int64_t, int64_t first, int64_t end) {
      passes.ProductPoints[nLayout][nOneCamera](in, first, end);
    });
    ForRaysOfImages(passes.ProductImages[nLayout]);
    AddCameraUnknowns();
  }

 private:
  // Tasks are cut by the numbers of the section alone, so that sums over tasks never depend on threads.
  template <class Task>
  void ForPoints(int64_t tasks, const Task& task) {
    const FastSection& section = in.Section;
    const auto firstOf = [&](int64_t k) -> int64_t {
      if (k == tasks) return section.m;
      const auto ray = static_cast<uint32_t>(CutAt(section.n, k, tasks));
      return std::lower_bound(section.pFirstRay, section.pFirstRay + section.m, ray) - section.pFirstRay;
    };
    pool.Run(static_cast<int32_t>(tasks), [&](int32_t k) { task(k, firstOf(k), firstOf(k + 1)); });
  }
  int64_t PointTasks() const { return in.Section.n / kRaysOfTask + 1; }

  void ForRaysOfImages(FastPasses::Images pass) {
    const uint32_t* firstRay = in.Work.pImageFirstRay;
    const int64_t rays = nImages > 0 ? firstRay[nImages] : 0, tasks = rays / kRaysOfTask + 1;
    const auto firstOf = [&](int64_t k) -> int64_t {
      if (k == tasks) return nImages;
      return std::lower_bound(firstRay, firstRay + nImages, static_cast<uint32_t>(CutAt(rays, k, tasks))) -
             firstRay;
    };
    pool.Run(static_cast<int32_t>(tasks), [&](int32_t k) { pass(in, firstOf(k), firstOf(k + 1)); });
  }
  static int64_t CutAt(int64_t count, int64_t k, int64_t tasks) {
    return count / tasks * k + count % tasks * k / tasks;
  }

  template <class Task>
  void ForEach(int64_t count, const Task& task) {
    pool.Run(static_cast<int32_t>((count + kImagesOfTask - 1) / kImagesOfTask), [&](int32_t k) {
      for (int64_t i = k * kImagesOfTask; i < std::min(count, (k + 1) * kImagesOfTask); ++i) task(i);
    });
  }
  template <class Task>
  void ForImages(const Task& task) {
    ForEach(nImages, task);
  }
  template <class Task>
  void ForCameras(const Task& task) {
    ForEach(in.nCameras, task);
  }

  /// Rows of pImageTerms, with the direction `d` or none.
  void WriteTerms(const float* d) {
    const UnknownPlaces places{static_cast<int64_t>(nLayout), in.nEopBlocks};
    auto* rows = reinterpret_cast<FastTermsRow*>(in.Work.pImageTerms);
    ForImages([&, d](int64_t image) {
      const int64_t camera = in.Work.pImageCamera[image];
      FastTermsRow row{};
      row.Camera = MakeRayCamera(in.pIop + 5 * camera);
      if (d != nullptr) {
        const int64_t outer = places.OfImage(image), inner = places.OfCamera(image, camera);
        if (outer >= 0) row.Turned = TurnDirection(pImageRows[image], d + outer);
        if (inner >= 0) row.Inner = {d[inner], d[inner + 1], d[inner + 2], d[inner + 3], d[inner + 4]};
      }
      rows[image] = row;
    });
  }

  /// Object point 0 once more, from nothing (RayBlocks.h). A height difference is then read where the first
  /// finish has put its inverse. On purpose.
  void FinishFirstPoint() {
    const FastSection& section = in.Section;
    if (section.m == 0) return;
    float* row = section.pPoint;
    uint32_t type;
    std::copy_n(reinterpret_cast<const char*>(row + kPointType), sizeof(type),
                reinterpret_cast<char*>(&type));
    if (type == 1 || BlockZeroHasTail(section.pFirstRay, section.m, section.n)) return;
    const bool bHasRays = section.m == 1 ? section.n > 0 : section.pFirstRay[1] > 0;
    const FinishedPoint finished = FinishPoint({}, type, in.fControlWeight,
                                               bHasRays ? section.pInverse[2] : row[kPointHeightDifference]);
    std::copy_n(finished.e, 3, row + kPointSolved);
    std::copy_n(finished.P, 4, section.pInverse);
    std::copy_n(finished.P + 4, 2, section.pInverseEnd);
  }

  size_t LongestPoint() const {
    const FastSection& section = in.Section;
    int64_t longest = 0;
    for (int64_t o = 0; o < section.m; ++o) {
      const int64_t end = o + 1 < section.m ? section.pFirstRay[o + 1] : section.n;
      longest = std::max(longest, end - section.pFirstRay[o]);
    }
    return static_cast<size_t>(longest);
  }

  void AddImageShares(int64_t camera, int64_t length, double* sum) const {
    for (uint32_t k = in.Work.pCameraFirst[camera]; k < in.Work.pCameraFirst[camera + 1]; ++k) {
      const float* share = in.Work.pImageTerms + kImageRowFloats * int64_t{in.Work.pCameraImages[k]};
      for (int64_t i = 0; i < length; ++i) sum[i] += static_cast<double>(share[i]);
    }
  }

  void AddCameraUnknowns() {
    if (nLayout != LayoutIop && nLayout != LayoutEopIop) return;
    float* out = in.pOut + (nLayout == LayoutEopIop ? 6 * in.nEopBlocks : 0);
    ForCameras([&](int64_t camera) {
      double sum[5] = {};
      AddImageShares(camera, 5, sum);
      for (int64_t k = 0; k < 5; ++k) out[5 * camera + k] += static_cast<float>(sum[k]);
    });
  }

  const KernelCall& call;
  WorkerPool& pool;
  const FastPasses& passes;
  const int64_t nImages;
  const size_t nLayout, nOneCamera;
  FastImageRow* const pImageRows;
  FastInput in;
};

}  // namespace

std::vector<FastPasses> UsableFastPasses() {
  return ForUsableSets([]<InstructionSet kSet>() { return FastPassesOf<kSet>(); });
}

void RunFastKernel(const KernelCall& call, WorkerPool& pool) {
  static const FastPasses best = UsableFastPasses().back();
  RunFastKernel(call, pool, best);
}

void RunFastKernel(const KernelCall& call, WorkerPool& pool, const FastPasses& passes) {
  FastRun run(call, pool, passes);
  switch (call.Which) {
    case Kernel::SumMatrix:
      return run.SumMatrix();
    case Kernel::ConstVector:
      return run.ConstVector();
    case Kernel::Preconditioner:
      return run.Preconditioner();
    case Kernel::PreconditionerIop:
      return run.PreconditionerIop();
    case Kernel::MatrixVectorAd:
      return run.MatrixVectorAd();
  }
}

}  // namespace orvo::gpu
