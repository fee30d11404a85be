#include "device/StripBlock.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <random>

#include "gpu/kernels/RayModel.h"
#include "gpu/kernels/fast/FastLayout.h"
#include "records/UnknownLayout.h"

namespace orvo::bench {
namespace {

// Ground units: an image covers 2 by 2; 60 % forward and 40 % side overlap.
constexpr double kBaseLength = 0.8, kStripDistance = 1.2, kHeight = 1.5;
constexpr int kPointsOfCell = 144;  // of kBaseLength by kStripDistance
constexpr float kFocal = 100, kNoise = 0.01f;

struct Grid {
  int64_t nColumns = 0, nRows = 0;
  int64_t Images() const { return nColumns * nRows; }
};

/// Calls f(point, X, Y, Z, images, count) for each point, in spatial order.
template <class F>
void ForEachPoint(const Grid& grid, const F& f) {
  std::mt19937 random(1);
  std::uniform_real_distribution<double> uniform;
  int64_t point = 0;
  for (int64_t row = 0; row < grid.nRows; ++row) {
    for (int64_t column = 0; column < grid.nColumns; ++column) {
      for (int k = 0; k < kPointsOfCell; ++k) {
        const double X = (static_cast<double>(column) - 0.5 + uniform(random)) * kBaseLength;
        const double Y = (static_cast<double>(row) - 0.5 + uniform(random)) * kStripDistance;
        const double Z = 0.1 * uniform(random);
        uint32_t images[16];
        int count = 0;
        const auto first = [](double at, double step) {
          return std::max<int64_t>(0, static_cast<int64_t>(std::ceil((at - 1) / step)));
        };
        const auto last = [](double at, double step, int64_t end) {
          return std::min<int64_t>(end - 1, static_cast<int64_t>(std::floor((at + 1) / step)));
        };
        for (int64_t r = first(Y, kStripDistance); r <= last(Y, kStripDistance, grid.nRows); ++r) {
          for (int64_t c = first(X, kBaseLength); c <= last(X, kBaseLength, grid.nColumns); ++c)
            images[count++] = static_cast<uint32_t>(r * grid.nColumns + c);
        }
        if (count >= 2) f(point++, X, Y, Z, images, count);
      }
    }
  }
}

void FillOrientations(StripBlock& block, const Grid& grid, int64_t cameras) {
  std::mt19937 random(2);
  std::uniform_real_distribution<double> uniform(-1, 1);
  for (int64_t i = 0; i < grid.Images(); ++i) {
    const double values[6] = {
        static_cast<double>(i % grid.nColumns) * kBaseLength + 0.01 * uniform(random),
        static_cast<double>(i / grid.nColumns) * kStripDistance + 0.01 * uniform(random),
        kHeight + 0.01 * uniform(random),
        0.02 * uniform(random),
        0.02 * uniform(random),
        0.02 * uniform(random)};
    for (const double value : values) block.Eop.push_back(static_cast<float>(value));
  }
  for (int64_t c = 0; c < cameras; ++c) block.Iop.insert(block.Iop.end(), {kFocal, 0.1f, -0.1f, 1e-8f, 0.0f});
}

void FillCounters(gpu::GpuPara& para, int layout, int64_t images, int64_t cameras) {
  para.nImageCount = layout == LayoutIop ? 0 : images;
  para.nCameraCount = cameras;
  para.nEopLen = 6;
  para.nIopLen = 5;
  para.nMode = layout;
  para.nBlockLen = layout == LayoutEop ? 6 : layout == LayoutIop ? 5 : 11;
  switch (layout) {
    case LayoutEop:
      para.nUnknownLen = 6 * images;
      para.nPrecondLen = 21 * images;
      break;
    case LayoutIop:
      para.nUnknownLen = 5 * cameras;
      para.nPrecondLen = 15 * cameras;
      break;
    case LayoutMergedEopIop:
      para.nUnknownLen = 11 * images;
      para.nPrecondLen = 66 * images;
      break;
    default:
      para.nUnknownLen = 6 * images + 5 * cameras;
      para.nPrecondLen = 21 * images + 15 * cameras;
  }
  para.nControlWeight = 10;
  para.nGrossFactor100 = 300;
}

/// Writes rays and points in one of the forms.
class Filler {
 public:
  Filler(StripBlock& to, const Grid& blockGrid, bool fastForm)
      : block(to), grid(blockGrid), bFast(fastForm), nCameras(to.Para.nCameraCount) {
    for (int64_t i = 0; i < grid.Images(); ++i)
      vImages.push_back(gpu::MakeRayImage(&block.Eop[static_cast<size_t>(6 * i)]));
  }

  void Run() {
    std::vector<uint32_t> rays(static_cast<size_t>(grid.Images()) + 1, 0u);
    int64_t n = 0, m = 0, pairs = 0;
    ForEachPoint(grid, [&](int64_t, double, double, double, const uint32_t* images, int count) {
      for (int k = 0; k < count; ++k) ++rays[images[k] + 1];
      n += count;
      pairs += count * count;
      ++m;
    });
    block.Para.nImgPt = n;
    block.Para.nObjPt = m;
    block.Para.nPairNum = pairs;
    for (size_t i = 1; i < rays.size(); ++i) rays[i] += rays[i - 1];
    const auto length = [](int64_t count) { return static_cast<size_t>(count); };
    block.ImgIdx.assign(length(4 * n), 0);
    block.ObjIdx.assign(length(3 * m), 0);
    block.ImgPt.assign(length(4 * n), 0);
    block.ObjPt.assign(length(12 * m), 0);
    if (bFast) {
      FillIndex(rays);
      gpu::DeviceArrays arrays;
      arrays.cupImgIdx = block.ImgIdx.data();
      arrays.cupObjIdx = block.ObjIdx.data();
      arrays.cupImgPt = block.ImgPt.data();
      arrays.cupObjPt = block.ObjPt.data();
      section = gpu::FastSectionOf(arrays, n, m);
    } else {
      block.PairPos.assign(length(m), 0);
    }
    vNext = rays;
    ForEachPoint(grid, [&](int64_t point, double X, double Y, double Z, const uint32_t* images, int count) {
      AddPoint(point, static_cast<float>(X), static_cast<float>(Y), static_cast<float>(Z), images, count);
    });
  }

 private:
  void FillIndex(const std::vector<uint32_t>& firstRay) {
    block.FastIndex = firstRay;
    const auto images = static_cast<uint32_t>(grid.Images());
    const bool one = nCameras == 1;
    for (uint32_t i = 0; i < images; ++i) block.FastIndex.push_back(one ? 0 : i);
    for (uint32_t i = 0; i < images; ++i) block.FastIndex.push_back(i);
    for (int64_t c = 0; c <= nCameras; ++c)
      block.FastIndex.push_back(one ? static_cast<uint32_t>(c) * images : static_cast<uint32_t>(c));
  }

  void AddPoint(int64_t point, float X, float Y, float Z, const uint32_t* images, int count) {
    if (bFast) {
      float* row = section.pPoint + gpu::kPointFloats * point;
      row[0] = X;
      row[1] = Y;
      row[2] = Z;
      section.pFirstRay[point] = static_cast<uint32_t>(nRay);
    } else {
      const float at[3] = {X, Y, Z};
      std::copy_n(at, 3, &block.ObjPt[static_cast<size_t>(12 * point)]);
      const uint32_t index[3] = {0, static_cast<uint32_t>(count), static_cast<uint32_t>(nRay)};
      std::copy_n(index, 3, &block.ObjIdx[static_cast<size_t>(3 * point)]);
      block.PairPos[static_cast<size_t>(point)] = static_cast<uint32_t>(nPair);
    }
    nPair += count * count;
    for (int k = 0; k < count; ++k, ++nRay) {
      const uint32_t image = images[k];
      const float* iop = &block.Iop[nCameras == 1 ? 0 : 5 * size_t{image}];
      const auto L = gpu::ObserveRay(vImages[image], gpu::MakeRayCamera(iop), iop[1], iop[2], X, Y, Z);
      const float x = iop[1] - L.Lx + Noise(), y = iop[2] - L.Ly + Noise();
      if (bFast) {
        const uint32_t place = vNext[image]++;
        section.pRayImage[nRay] = image;
        section.pRayXy[2 * nRay] = x;
        section.pRayXy[2 * nRay + 1] = y;
        section.pImageRayPoint[place] = static_cast<uint32_t>(point);
        section.pImageRayXy[2 * size_t{place}] = x;
        section.pImageRayXy[2 * size_t{place} + 1] = y;
      } else {
        const uint32_t index[4] = {image, nCameras == 1 ? 0 : image, static_cast<uint32_t>(point), 0};
        std::copy_n(index, 4, &block.ImgIdx[static_cast<size_t>(4 * nRay)]);
        const float xy[2] = {x, y};
        std::copy_n(xy, 2, &block.ImgPt[static_cast<size_t>(4 * nRay)]);
      }
    }
  }

  float Noise() { return kNoise * (static_cast<float>(random() % 2001u) / 1000.0f - 1.0f); }

  StripBlock& block;
  const Grid grid;
  const bool bFast;
  const int64_t nCameras;
  gpu::FastSection section;
  std::vector<gpu::RayImage<float>> vImages;
  std::vector<uint32_t> vNext;
  std::minstd_rand random;
  int64_t nRay = 0, nPair = 0;
};

}  // namespace

StripBlock MakeStripBlock(int64_t measurements, int layout, bool fast) {
  // Twice as many images in a strip as there are strips.
  const double images = static_cast<double>(measurements) / 600;
  Grid grid;
  grid.nColumns = std::max<int64_t>(2, std::llround(std::sqrt(2 * images)));
  grid.nRows = std::max<int64_t>(1, std::llround(images / static_cast<double>(grid.nColumns)));
  StripBlock block;
  block.nImages = grid.Images();
  const int64_t cameras = layout == LayoutMergedEopIop ? block.nImages : 1;
  FillCounters(block.Para, layout, block.nImages, cameras);
  FillOrientations(block, grid, cameras);
  Filler(block, grid, fast).Run();
  return block;
}

}  // namespace orvo::bench
