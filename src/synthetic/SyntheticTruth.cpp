#include "synthetic/SyntheticTruth.h"

#include <fmt/format.h>

namespace orvo {

std::vector<SyntheticCamera> MakeStartCameras(const SyntheticScene& scene) {
  const SyntheticOptions& options = scene.Options();
  std::vector<SyntheticCamera> cameras = scene.Cameras();
  for (size_t i = 0; i < cameras.size(); ++i) {
    CounterRandom random(options.nSeed, RandomStream::StartCamera, static_cast<int64_t>(i));
    cameras[i].fFocal += options.fStartFocal * random.Normal();
    cameras[i].fPrincipalX += options.fStartPrincipal * random.Normal();
    cameras[i].fPrincipalY += options.fStartPrincipal * random.Normal();
    cameras[i].fK1 += options.fStartK1 * random.Normal();
    cameras[i].fK2 += options.fStartK2 * random.Normal();
  }
  return cameras;
}

std::vector<SyntheticStart> MakeStarts(const SyntheticScene& scene) {
  const SyntheticOptions& options = scene.Options();
  const SineCosine kappa = PortableSineCosine(options.fFrameKappa * kRadiansPerDegree);
  const double scale = options.fFrameScale;
  std::vector<SyntheticStart> starts;
  starts.reserve(scene.Images().size());
  for (const SyntheticImage& image : scene.Images()) {
    CounterRandom random(options.nSeed, RandomStream::StartImage, static_cast<int64_t>(starts.size()));
    const double X = image.X + options.fStartPosition * random.Normal();
    const double Y = image.Y + options.fStartPosition * random.Normal();
    const double Z = image.Z + options.fStartPosition * random.Normal();
    const double sigma = options.fStartAngle * kRadiansPerDegree;
    const double phi = image.fPhi + sigma * random.Normal();
    const double omega = image.fOmega + sigma * random.Normal();
    double R[9];
    SyntheticRotation(phi, omega, image.fKappa + sigma * random.Normal(), R);
    SyntheticStart start;
    start.X = scale * (kappa.fCos * X - kappa.fSin * Y) + options.fFrameShiftX;
    start.Y = scale * (kappa.fSin * X + kappa.fCos * Y) + options.fFrameShiftY;
    start.Z = scale * Z + options.fFrameShiftZ;
    for (int column = 0; column < 3; ++column) {
      start.R[column] = kappa.fCos * R[column] - kappa.fSin * R[3 + column];
      start.R[3 + column] = kappa.fSin * R[column] + kappa.fCos * R[3 + column];
      start.R[6 + column] = R[6 + column];
    }
    starts.push_back(start);
  }
  return starts;
}

std::vector<SyntheticStripError> MakeStripErrors(const SyntheticScene& scene) {
  const SyntheticOptions& options = scene.Options();
  std::vector<SyntheticStripError> errors(static_cast<size_t>(scene.Flight().StripNum()));
  for (size_t strip = 0; strip < errors.size(); ++strip) {
    CounterRandom random(options.nSeed, RandomStream::Strip, static_cast<int64_t>(strip));
    for (int i = 0; i < 6; ++i) {
      const bool angle = i >= 3;
      errors[strip].fOffset[i] =
          (angle ? options.fImuOffset * kRadiansPerDegree : options.fPosOffset) * random.Normal();
      errors[strip].fDrift[i] =
          (angle ? options.fImuDrift * kRadiansPerDegree : options.fPosDrift) * random.Normal();
    }
  }
  return errors;
}

std::string TiePointName(int64_t ordinal) { return fmt::format("T{:07}", ordinal); }

std::string ImageName(const SyntheticImage& image) { return fmt::format("IMG_{:06}", image.nId); }

}  // namespace orvo
