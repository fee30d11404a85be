#include "gpu/kernels/fast/FastFill.h"

#include <algorithm>
#include <cstring>
#include <vector>

#include "base/Threads.h"

namespace orvo::gpu {
namespace {

constexpr uint32_t kNoCamera = 0xffffffffu;
constexpr int64_t kMinRaysOfTask = 1 << 16;

/// A stretch of object points and their rays, which one thread fills.
struct Stretch {
  int64_t nFirstPoint = 0, nLastPoint = 0;  ///< behind the last
  int64_t nFirstRay = 0, nLastRay = 0;      ///< behind the last
  std::vector<uint32_t> Camera;             ///< of the first ray of each image
  std::vector<uint32_t> Next;               ///< rays of each image, then where its next one goes
};

class SectionFiller {
 public:
  SectionFiller(const FastSource& source, const FastSection& section, uint32_t* index)
      : in(source),
        out(section),
        nImages(static_cast<size_t>(source.nImageNum)),
        nCameras(static_cast<size_t>(source.nCameraNum)),
        pImageFirstRay(index),
        pImageCamera(index + nImages + 1),
        pCameraImages(pImageCamera + nImages),
        pCameraFirst(pCameraImages + nImages) {}

  void Run(int threads) {
    NumberFirstRays();
    Cut(threads);
    const auto forEach = [&](void (SectionFiller::*step)(Stretch&) const) {
      ParallelFor(static_cast<int64_t>(stretches.size()), threads,
                  [&](int64_t i) { (this->*step)(stretches[static_cast<size_t>(i)]); });
    };
    forEach(&SectionFiller::FindCameras);
    MergeCameras();
    forEach(&SectionFiller::FillRays);
    PlaceRays();
    forEach(&SectionFiller::SortRays);
    SortImages();
  }

 private:
  bool IsKept(const ImagePointRecord& ray) const {
    return ray.nImage >= 0 && ray.nImage < in.nImageNum && ray.nCamera >= 0 && ray.nCamera < in.nCameraNum;
  }
  int64_t FirstRay(int64_t point) const { return point < out.m ? out.pFirstRay[point] : out.n; }

  /// Behind the last ray of a point that starts at `first`.
  int64_t EndOfPoint(int64_t point, int64_t first) const {
    const ObjectPointRecord& record = in.ObjectPoints[static_cast<size_t>(point)];
    const int64_t begin = record.nFirstImagePoint - in.nFirstImagePoint;
    return std::clamp(begin + std::max(record.nImagePointNum, 0), first, FirstRay(point + 1));
  }

  void NumberFirstRays() {
    int64_t end = 0;
    for (int64_t o = 0; o < out.m; ++o) {
      const ObjectPointRecord& point = in.ObjectPoints[static_cast<size_t>(o)];
      const int64_t begin = point.nFirstImagePoint - in.nFirstImagePoint;
      const int64_t first = std::clamp(begin, end, out.n);
      out.pFirstRay[o] = static_cast<uint32_t>(o == 0 ? 0 : first);
      end = std::clamp(begin + std::max(point.nImagePointNum, 0), first, out.n);
    }
  }

  void Cut(int threads) {
    const int64_t count = std::clamp<int64_t>(out.n / kMinRaysOfTask, 1, std::max(threads, 1));
    stretches.resize(static_cast<size_t>(count));
    int64_t point = 0;
    for (int64_t k = 0; k < count; ++k) {
      Stretch& stretch = stretches[static_cast<size_t>(k)];
      stretch.nFirstPoint = point;
      stretch.nFirstRay = k == 0 ? 0 : FirstRay(point);
      const auto end = static_cast<uint32_t>(out.n / count * (k + 1));
      point = k + 1 == count
                  ? out.m
                  : std::lower_bound(out.pFirstRay + point, out.pFirstRay + out.m, end) - out.pFirstRay;
      stretch.nLastPoint = point;
      stretch.nLastRay = FirstRay(point);
    }
  }

  void FindCameras(Stretch& stretch) const {
    stretch.Camera.assign(nImages, kNoCamera);
    for (int64_t j = stretch.nFirstRay; j < stretch.nLastRay; ++j) {
      const ImagePointRecord& ray = in.ImagePoints[static_cast<size_t>(j)];
      if (!IsKept(ray)) continue;
      uint32_t& camera = stretch.Camera[static_cast<size_t>(ray.nImage)];
      if (camera == kNoCamera) camera = static_cast<uint32_t>(ray.nCamera);
    }
  }

  void MergeCameras() {
    for (size_t i = 0; i < nImages; ++i) {
      pImageCamera[i] = 0;
      for (const Stretch& stretch : stretches) {
        if (stretch.Camera[i] == kNoCamera) continue;
        pImageCamera[i] = stretch.Camera[i];
        break;
      }
    }
  }

  void FillRays(Stretch& stretch) const {
    stretch.Next.assign(nImages, 0);
    // Rays between two points belong to neither.
    for (int64_t j = stretch.nFirstRay; j < stretch.nLastRay; ++j) {
      const ImagePointRecord& ray = in.ImagePoints[static_cast<size_t>(j)];
      out.pRayImage[j] = kNoImage;
      out.pRayXy[2 * j] = ray.x;
      out.pRayXy[2 * j + 1] = ray.y;
      out.pRayResidual[2 * j] = out.pRayResidual[2 * j + 1] = 0;
    }
    for (int64_t o = stretch.nFirstPoint; o < stretch.nLastPoint; ++o) {
      const int64_t end = EndOfPoint(o, out.pFirstRay[o]);
      const int64_t begin = in.ObjectPoints[static_cast<size_t>(o)].nFirstImagePoint - in.nFirstImagePoint;
      for (int64_t j = std::max<int64_t>(out.pFirstRay[o], begin); j < end; ++j) {
        const ImagePointRecord& ray = in.ImagePoints[static_cast<size_t>(j)];
        if (!IsKept(ray) || pImageCamera[ray.nImage] != static_cast<uint32_t>(ray.nCamera)) continue;
        out.pRayImage[j] = static_cast<uint32_t>(ray.nImage);
        ++stretch.Next[static_cast<size_t>(ray.nImage)];
      }
    }
  }

  void PlaceRays() {
    uint32_t next = 0;
    for (size_t i = 0; i < nImages; ++i) {
      pImageFirstRay[i] = next;
      for (Stretch& stretch : stretches) {
        const uint32_t count = stretch.Next[i];
        stretch.Next[i] = next;
        next += count;
      }
    }
    pImageFirstRay[nImages] = next;
    std::fill(out.pImageRayPoint + next, out.pImageRayPoint + out.n, 0u);
    std::fill(out.pImageRayXy + 2 * static_cast<int64_t>(next), out.pImageRayXy + 2 * out.n, 0.0f);
  }

  void SortRays(Stretch& stretch) const {
    for (int64_t o = stretch.nFirstPoint; o < stretch.nLastPoint; ++o) {
      for (int64_t j = out.pFirstRay[o]; j < FirstRay(o + 1); ++j) {
        if (out.pRayImage[j] == kNoImage) continue;
        const uint32_t place = stretch.Next[out.pRayImage[j]]++;
        out.pImageRayPoint[place] = static_cast<uint32_t>(o);
        out.pImageRayXy[2 * static_cast<int64_t>(place)] = out.pRayXy[2 * j];
        out.pImageRayXy[2 * static_cast<int64_t>(place) + 1] = out.pRayXy[2 * j + 1];
      }
    }
  }

  void SortImages() {
    std::fill(pCameraFirst, pCameraFirst + nCameras + 1, 0u);
    if (nCameras == 0) return;
    for (size_t i = 0; i < nImages; ++i) ++pCameraFirst[pImageCamera[i] + 1];
    for (size_t c = 0; c < nCameras; ++c) pCameraFirst[c + 1] += pCameraFirst[c];
    std::vector<uint32_t> next(pCameraFirst, pCameraFirst + nCameras);
    for (size_t i = 0; i < nImages; ++i) pCameraImages[next[pImageCamera[i]]++] = static_cast<uint32_t>(i);
  }

  const FastSource& in;
  const FastSection& out;
  size_t nImages, nCameras;
  uint32_t *pImageFirstRay, *pImageCamera, *pCameraImages, *pCameraFirst;
  std::vector<Stretch> stretches;
};

}  // namespace

void FillFastPoints(const FastSource& source, const FastSection& out) {
  size_t gcp = 0;
  for (int64_t o = 0; o < out.m; ++o) {
    const ObjectPointRecord& point = source.ObjectPoints[static_cast<size_t>(o)];
    float* row = out.pPoint + kPointFloats * o;
    float* inverse = out.pInverse + 4 * o;
    std::fill_n(row, kPointFloats, 0.0f);
    std::fill_n(inverse, 4, 0.0f);
    row[0] = static_cast<float>(point.X);
    row[1] = static_cast<float>(point.Y);
    row[2] = static_cast<float>(point.Z);
    const auto type = static_cast<uint32_t>(point.nType);
    std::memcpy(row + kPointType, &type, sizeof(type));
    if (point.nType == 0) continue;
    if (point.nType == 4 && gcp < source.GcpTable.size()) {
      const ObjectPointRecord& control = source.GcpTable[gcp];
      inverse[0] = static_cast<float>(control.X - point.X);
      inverse[1] = static_cast<float>(control.Y - point.Y);
      inverse[2] = static_cast<float>(control.Z - point.Z);
      row[kPointHeightDifference] = inverse[2];
    }
    ++gcp;
  }
}

void FillFastSection(const FastSource& source, const FastSection& out, uint32_t* index, int threads) {
  FillFastPoints(source, out);
  std::fill_n(out.pInverseEnd, 2 * out.m, 0.0f);
  SectionFiller(source, out, index).Run(threads);
}

}  // namespace orvo::gpu
