#include "verdict/PointPass.h"

#include <algorithm>
#include <cmath>

#include "base/Threads.h"
#include "geometry/RaySums.h"
#include "records/UnknownLayout.h"

namespace orvo {
namespace {

/// Below this many points a thread costs more than it saves.
constexpr int64_t kPointsPerThread = 1000;

struct RayResidual {
  double x, y;
  bool bInFront;
};

/// Residual of the observation equations, and whether the point lies on the side of the camera that it looks
/// to.
RayResidual ResidualOf(const ImageFrame& frame, const IopRecord& camera, const ImagePointRecord& ray,
                       const double* P) {
  double inCamera[3];
  for (int k = 0; k < 3; ++k) {
    const double* C = frame.C[k];
    inCamera[k] = C[0] * P[0] + C[1] * P[1] + C[2] * P[2] - C[3];
  }
  const ImageCoordinates corrected =
      CorrectMeasurement(camera, static_cast<double>(ray.x), static_cast<double>(ray.y));
  const ImageCoordinates v = ComputeImageResidual(camera.fFocal, inCamera, corrected);
  return {v.x, v.y, camera.fFocal * inCamera[2] < 0};
}

}  // namespace

void PointPassSums::Add(const PointPassSums& other) {
  nPoints += other.nPoints;
  nNotInFront += other.nNotInFront;
  nNotSolved += other.nNotSolved;
  nMeasurements += other.nMeasurements;
  nUsed += other.nUsed;
  nGross += other.nGross;
  fSumX += other.fSumX;
  fSumY += other.fSumY;
  fSquaresX += other.fSquaresX;
  fSquaresY += other.fSquaresY;
  for (size_t i = 0; i < vImages.size(); ++i) {
    vImages[i].nUsed += other.vImages[i].nUsed;
    vImages[i].nGross += other.vImages[i].nGross;
    vImages[i].nShared += other.vImages[i].nShared;
    vImages[i].fSquares += other.vImages[i].fSquares;
    vImages[i].fHeights += other.vImages[i].fHeights;
  }
  for (size_t i = 0; i < vCameras.size(); ++i) {
    vCameras[i].nUsed += other.vCameras[i].nUsed;
    vCameras[i].nGross += other.vCameras[i].nGross;
    vCameras[i].fSquares += other.vCameras[i].fSquares;
  }
  Sets.Join(other.Sets);
}

PointPass::PointPass(const PointPassInput& input, int threads)
    : In(input), vFrames(MakeImageFrames(input.Eop)), nThreads(std::max(threads, 1)), Total(EmptySums()) {}

PointPassSums PointPass::EmptySums() const {
  PointPassSums sums;
  sums.vImages.resize(In.Eop.size());
  sums.vCameras.resize(In.Iop.size());
  sums.Sets = ImageSets(static_cast<int32_t>(In.Eop.size()));
  return sums;
}

void PointPass::Add(std::span<const ObjectPointRecord> points,
                    std::span<const ImagePointRecord> imagePoints) {
  const auto count = static_cast<int64_t>(points.size());
  const int64_t parts = std::clamp<int64_t>(count / kPointsPerThread, 1, nThreads);
  std::vector<PointPassSums> sums(static_cast<size_t>(parts));
  ParallelFor(parts, nThreads, [&](int64_t part) {
    const int64_t first = count * part / parts, end = count * (part + 1) / parts;
    PointPassSums own = EmptySums();
    AddRange(points.subspan(static_cast<size_t>(first), static_cast<size_t>(end - first)), imagePoints,
             nTaken + first, own);
    sums[static_cast<size_t>(part)] = std::move(own);
  });
  for (const PointPassSums& part : sums) Total.Add(part);
  nTaken += count;
}

void PointPass::AddRange(std::span<const ObjectPointRecord> points,
                         std::span<const ImagePointRecord> imagePoints, int64_t firstOrdinal,
                         PointPassSums& sums) const {
  const bool placed = In.LeftOut.size() == imagePoints.size() && !imagePoints.empty();
  std::vector<int32_t> images;
  for (size_t i = 0; i < points.size(); ++i) {
    const ObjectPointRecord& point = points[i];
    const std::span<const ImagePointRecord> rays = MeasurementsOf(point, imagePoints);
    ++sums.nPoints;
    sums.nMeasurements += std::ssize(rays);
    images.clear();
    RaySums raySums;
    for (const ImagePointRecord& ray : rays) {
      if (!IsOnKeptImage(ray, In.Eop.size(), In.Iop.size())) continue;
      images.push_back(ray.nImage);
      if (point.nType != 1 && !placed) {
        raySums.Add(vFrames[static_cast<size_t>(ray.nImage)], In.Iop[static_cast<size_t>(ray.nCamera)],
                    static_cast<double>(ray.x), static_cast<double>(ray.y));
      }
    }
    double P[3] = {point.X, point.Y, point.Z};
    if (point.nType != 1 && (images.size() < 2 || (!placed && !SolveRaySums(raySums, P)))) {
      ++sums.nNotSolved;
      continue;
    }
    bool inFront = true;
    const bool joins = std::ranges::any_of(images, [&](int32_t image) { return image != images.front(); });
    for (const ImagePointRecord& ray : rays) {
      if (!IsOnKeptImage(ray, In.Eop.size(), In.Iop.size())) continue;
      ImageSums& image = sums.vImages[static_cast<size_t>(ray.nImage)];
      CameraSums& camera = sums.vCameras[static_cast<size_t>(ray.nCamera)];
      const RayResidual v = ResidualOf(vFrames[static_cast<size_t>(ray.nImage)],
                                       In.Iop[static_cast<size_t>(ray.nCamera)], ray, P);
      inFront = inFront && v.bInFront;
      image.fHeights += P[2];
      if (joins) ++image.nShared;
      // A limit that is not a number, as before any residual was known, makes nothing gross.
      const bool gross =
          placed ? In.LeftOut[static_cast<size_t>(&ray - imagePoints.data())] != 0
                 : point.nType == 0 && (std::fabs(v.x) > In.fGrossX || std::fabs(v.y) > In.fGrossY);
      if (gross || !std::isfinite(v.x + v.y)) {
        ++sums.nGross;
        ++image.nGross;
        ++camera.nGross;
        continue;
      }
      const double squares = v.x * v.x + v.y * v.y;
      ++sums.nUsed;
      sums.fSumX += v.x;
      sums.fSumY += v.y;
      sums.fSquaresX += v.x * v.x;
      sums.fSquaresY += v.y * v.y;
      ++image.nUsed;
      image.fSquares += squares;
      ++camera.nUsed;
      camera.fSquares += squares;
    }
    if (!inFront) ++sums.nNotInFront;
    if (joins) sums.Sets.Join(firstOrdinal + static_cast<int64_t>(i), images);
  }
}

ImageCoordinates RayResidualOf(const ImageFrame& frame, const IopRecord& camera, const ImagePointRecord& ray,
                               const double* P) {
  const RayResidual v = ResidualOf(frame, camera, ray, P);
  return {v.x, v.y};
}

void KeptImagesOf(const ObjectPointRecord& point, std::span<const ImagePointRecord> imagePoints,
                  size_t imageNum, size_t cameraNum, std::vector<int32_t>& images) {
  images.clear();
  for (const ImagePointRecord& ray : MeasurementsOf(point, imagePoints)) {
    if (IsOnKeptImage(ray, imageNum, cameraNum)) images.push_back(ray.nImage);
  }
}

}  // namespace orvo
