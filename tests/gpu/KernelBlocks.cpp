#include "gpu/KernelBlocks.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numbers>
#include <numeric>
#include <random>

#include "geometry/camera/Rotation.h"
#include "gpu/kernels/RayModel.h"

namespace orvo::test {
namespace {

constexpr double kNoise = 0.3;
constexpr double kThreshold = 0.9;
constexpr uint32_t kNowhere = 0xffffffffu;
constexpr int kPosSize = 6;

size_t Index(int64_t value) { return static_cast<size_t>(value); }

/// Where a point's measurement stands in an image, distortion included.
std::array<double, 2> Project(const EopRecord& eop, const IopRecord& iop, const float* point) {
  double R[9];
  ComputeRotationMatrix(eop.fPhi, eop.fOmega, eop.fKappa, R);
  const double d[3] = {point[0] - eop.X, point[1] - eop.Y, point[2] - eop.Z};
  const double Xr = R[0] * d[0] + R[3] * d[1] + R[6] * d[2];
  const double Yr = R[1] * d[0] + R[4] * d[1] + R[7] * d[2];
  const double Zr = R[2] * d[0] + R[5] * d[1] + R[8] * d[2];
  const double xc = -iop.fFocal * Xr / Zr, yc = -iop.fFocal * Yr / Zr;
  double u = xc, v = yc;
  for (int k = 0; k < 20; ++k) {
    const double r2 = u * u + v * v, distortion = iop.fK1 * r2 + iop.fK2 * r2 * r2;
    u = xc / (1 - distortion);
    v = yc / (1 - distortion);
  }
  return {u + iop.fPrincipalX, v + iop.fPrincipalY};
}

void FillCounters(KernelBlock& block, const KernelBlockOptions& options) {
  gpu::GpuPara& para = block.Para;
  const int64_t images = options.nImages, cameras = options.nCameras, groups = options.nPosGroups;
  para.nImageCount = images;
  para.nCameraCount = cameras;
  para.nEopLen = 6;
  para.nIopLen = 5;
  para.nMode = options.nLayoutMode;
  para.nControlWeight = options.nControlWeight;
  para.nGrossFactor100 = 300;
  switch (options.nLayoutMode) {
    case LayoutEop:
      para.nBlockLen = 6;
      para.nUnknownLen = 6 * images;
      para.nPrecondLen = 21 * images;
      break;
    case LayoutIop:
      para.nBlockLen = 5;
      para.nUnknownLen = 5 * cameras;
      para.nPrecondLen = 15 * cameras;
      break;
    case LayoutMergedEopIop:
      para.nBlockLen = 11;
      para.nUnknownLen = 11 * images;
      para.nPrecondLen = 66 * images;
      break;
    default:
      para.nBlockLen = 11;
      para.nUnknownLen = 6 * images + 5 * cameras;
      para.nPrecondLen = 21 * images + 15 * cameras;
  }
  para.nUnknownLen += kPosSize * groups;
  para.nPrecondLen += kPosSize * (kPosSize + 1) / 2 * groups;
}

}  // namespace

EopRecord EopOf(const KernelBlock& block, size_t image) {
  const float* e = &block.Eop[6 * image];
  EopRecord eop;
  eop.X = e[0];
  eop.Y = e[1];
  eop.Z = e[2];
  eop.fPhi = e[3];
  eop.fOmega = e[4];
  eop.fKappa = e[5];
  return eop;
}

IopRecord IopOf(const KernelBlock& block, size_t camera) {
  const float* c = &block.Iop[5 * camera];
  IopRecord iop;
  iop.fFocal = c[0];
  iop.fPrincipalX = c[1];
  iop.fPrincipalY = c[2];
  iop.fK1 = c[3];
  iop.fK2 = c[4];
  return iop;
}

void NumberRays(KernelBlock& block) {
  uint32_t first = 0, pairs = 0;
  block.PairPos.clear();
  for (size_t o = 0; o < block.ObjIdx.size() / 3; ++o) {
    const uint32_t m = block.RayCount(o);
    block.ObjIdx[3 * o + 2] = first;
    block.PairPos.push_back(pairs);
    first += m;
    pairs += m * m;
  }
  block.Para.nImgPt = first;
  block.Para.nObjPt = static_cast<int64_t>(block.ObjIdx.size() / 3);
  block.Para.nPairNum = pairs;
}

KernelBlock MakeKernelBlock(KernelBlockOptions options) {
  if (options.nLayoutMode == LayoutMergedEopIop) options.nCameras = options.nImages;
  std::mt19937 random(options.nSeed);
  std::normal_distribution<double> normal;
  std::uniform_real_distribution<double> uniform;
  const auto spread = [&](double half) { return half * (2 * uniform(random) - 1); };

  KernelBlock block;
  FillCounters(block, options);
  block.Rms.assign(260, 0.0f);
  block.Rms[2] = block.Rms[3] = static_cast<float>(kThreshold / 3);
  // Tilted images in every direction, so that points take little of the unknowns away.
  for (int32_t i = 0; i < options.nImages; ++i) {
    const double values[6] = {spread(30),  spread(30),  100 + spread(15),
                              spread(0.3), spread(0.3), spread(std::numbers::pi)};
    for (const double value : values) block.Eop.push_back(static_cast<float>(value));
  }
  for (int32_t c = 0; c < options.nCameras; ++c) {
    const double values[5] = {5 + spread(0.3), spread(0.1), spread(0.1), spread(1e-3), spread(1e-5)};
    for (const double value : values) block.Iop.push_back(static_cast<float>(value));
  }

  std::vector<uint32_t> order(Index(options.nImages));
  std::iota(order.begin(), order.end(), 0u);
  for (int32_t o = 0; o < options.nPoints; ++o) {
    const size_t number = Index(o);
    const double dice = uniform(random);
    uint32_t type = dice < options.fControlShare                                                ? 1
                    : dice < options.fControlShare + options.fHeightShare                       ? 4
                    : dice < options.fControlShare + options.fHeightShare + options.fCheckShare ? 2
                                                                                                : 0;
    if (number < options.Types.size()) type = options.Types[number];
    int32_t rays =
        options.nMinRays + static_cast<int32_t>(uniform(random) * (options.nMaxRays - options.nMinRays + 1));
    if (number < options.RayCounts.size()) rays = options.RayCounts[number];

    float point[12] = {static_cast<float>(spread(30)), static_cast<float>(spread(30)),
                       static_cast<float>(spread(20))};
    if (type == 4) {
      for (int k = 3; k < 6; ++k) point[k] = static_cast<float>(spread(1));
    }
    block.ObjPt.insert(block.ObjPt.end(), point, point + 12);
    block.ObjIdx.insert(block.ObjIdx.end(), {type, static_cast<uint32_t>(rays), 0u});

    for (int32_t k = 0; k < rays; ++k) {
      // Only a point with more rays than there are images stands in one of them twice.
      if (k % options.nImages == 0) std::shuffle(order.begin(), order.end(), random);
      const uint32_t image = order[Index(k % options.nImages)];
      const uint32_t camera =
          options.nLayoutMode == LayoutMergedEopIop ? image : image % static_cast<uint32_t>(options.nCameras);
      const auto xy = Project(EopOf(block, image), IopOf(block, camera), point);
      double x = xy[0] + spread(kNoise), y = xy[1] + spread(kNoise);
      // The first four rays of a point hold it.
      const bool loose = k >= 4;
      if (loose && uniform(random) < options.fGrossShare) {
        (uniform(random) < 0.5 ? x : y) += (uniform(random) < 0.5 ? -1 : 1) * (3.3 + 1.7 * uniform(random));
      }
      const bool leftOut = loose && uniform(random) < options.fLeftOutShare;
      block.ImgIdx.insert(block.ImgIdx.end(),
                          {leftOut ? kNowhere : image, leftOut ? kNowhere : camera, static_cast<uint32_t>(o),
                           static_cast<uint32_t>(leftOut ? gpu::kRayIsLeftOut : gpu::kRayCounts)});
      block.ImgPt.insert(block.ImgPt.end(), {static_cast<float>(x), static_cast<float>(y), 0.0f, 0.0f});
    }
  }
  NumberRays(block);
  return block;
}

}  // namespace orvo::test
