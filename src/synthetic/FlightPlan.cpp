#include "synthetic/FlightPlan.h"

#include <algorithm>
#include <cmath>

#include "synthetic/CounterRandom.h"

namespace orvo {
namespace {

/// Random deviations from the plan are cut here, so that what an image can see is bounded.
constexpr double kSigmaLimit = 4;
constexpr int32_t kFirstImageId = 1001;

double Base(const SyntheticOptions& options) {
  return options.nImageWidth * options.fFlyingHeight / options.fFocal * (1 - options.fForwardOverlap / 100);
}

double StripSpacing(const SyntheticOptions& options) {
  return options.nImageHeight * options.fFlyingHeight / options.fFocal * (1 - options.fSideOverlap / 100);
}

/// Largest distance along and across the strip at which an image sees the lowest ground, or infinity when it
/// sees the horizon: over the corners of the image and of the box of tilts.
void Reach(const SyntheticOptions& options, double& along, double& across) {
  const double tilt = kSigmaLimit * options.fTilt * kRadiansPerDegree;
  const double shift = kSigmaLimit * 2000 * options.fCameraSpread;
  const double halfX = options.nImageWidth / 2.0 + std::fabs(options.fPrincipalX) + shift;
  const double halfY = options.nImageHeight / 2.0 + std::fabs(options.fPrincipalY) + shift;
  const double r2 = halfX * halfX + halfY * halfY;
  const double further = r2 * r2 * r2 * std::fabs(options.fK3) +
                         4 * std::sqrt(r2) * (std::fabs(options.fP1) + std::fabs(options.fP2)) +
                         std::fabs(options.fB1) + std::fabs(options.fB2);
  const double stretch = 1 + 1.4 * r2 * (std::fabs(options.fK1) + r2 * std::fabs(options.fK2)) + further;
  const double focal = options.fFocal * (1 - kSigmaLimit * options.fCameraSpread);
  const double scatter = kSigmaLimit * options.fScatter;
  const double height = options.fFlyingHeight + options.fRelief + scatter;
  along = across = 0;
  for (int corner = 0; corner < 32; ++corner) {
    const auto sign = [corner](int bit) { return (corner >> bit & 1) != 0 ? 1.0 : -1.0; };
    double R[9];
    SyntheticRotation(sign(0) * tilt, sign(1) * tilt, sign(2) * tilt, R);
    const double x = sign(3) * halfX * stretch / focal, y = sign(4) * halfY * stretch / focal;
    const double down = -(R[6] * x + R[7] * y - R[8]);
    if (down < 0.1) {
      along = across = HUGE_VAL;
      return;
    }
    along = std::max(along, std::fabs(R[0] * x + R[1] * y - R[2]) / down * height);
    across = std::max(across, std::fabs(R[3] * x + R[4] * y - R[5]) / down * height);
  }
  along = 1.02 * along + scatter;
  across = 1.02 * across + scatter;
}

/// The time of a POS reader: signed by the axis along which the second image lies farthest from the first.
int DominantAxis(const double* d) {
  if (std::fabs(d[0]) >= std::fabs(d[1]) && std::fabs(d[0]) >= std::fabs(d[2])) return 0;
  return std::fabs(d[1]) > std::fabs(d[2]) ? 1 : 2;
}

}  // namespace

int32_t FlightPlan::ImagesOfCrossStrip(const SyntheticOptions& options) {
  const double length = (options.nStrips - 1) * StripSpacing(options);
  return std::max(2, static_cast<int32_t>(std::ceil(std::min(length / Base(options), 1e6))) + 1);
}

int64_t FlightPlan::CountImages(const SyntheticOptions& options) {
  return static_cast<int64_t>(options.nStrips) * options.nImagesPerStrip +
         static_cast<int64_t>(options.nCrossStrips) * ImagesOfCrossStrip(options);
}

bool FlightPlan::FootprintsAreBounded(const SyntheticOptions& options) {
  double along, across;
  Reach(options, along, across);
  return std::isfinite(along) && std::isfinite(across);
}

FlightPlan::FlightPlan(const SyntheticOptions& options)
    : fOriginX(options.fOriginX), fOriginY(options.fOriginY) {
  const SineCosine heading = PortableSineCosine(options.fHeading * kRadiansPerDegree);
  fCosine = heading.fCos;
  fSine = heading.fSin;
  Reach(options, fReachAlong, fReachAcross);

  Parallel.nStrips = options.nStrips;
  Parallel.nImages = options.nImagesPerStrip;
  Parallel.fImageStep = Base(options);
  Parallel.fStripStep = StripSpacing(options);
  fHalfLength = (Parallel.nImages - 1) * Parallel.fImageStep / 2;
  fHalfWidth = (Parallel.nStrips - 1) * Parallel.fStripStep / 2;
  Parallel.fFirstImage = -fHalfLength;
  Parallel.fFirstStrip = -fHalfWidth;

  Cross.bCross = true;
  Cross.nStrips = options.nCrossStrips;
  Cross.nImages = ImagesOfCrossStrip(options);
  Cross.nFirstOrdinal = Parallel.nStrips * Parallel.nImages;
  Cross.fImageStep = Base(options);
  Cross.fFirstImage = -(Cross.nImages - 1) * Cross.fImageStep / 2;
  // One in the middle, several from end to end.
  if (Cross.nStrips > 1) {
    Cross.fStripStep = std::max(2 * fHalfLength / (Cross.nStrips - 1), 1e-3 * options.fFlyingHeight);
    Cross.fFirstStrip = -Cross.fStripStep * (Cross.nStrips - 1) / 2;
  }

  nStrips = Parallel.nStrips + Cross.nStrips;
  pImages.reserve(static_cast<size_t>(CountImages(options)));
  for (int32_t strip = 0; strip < Parallel.nStrips; ++strip) AddStrip(options, Parallel, strip);
  for (int32_t strip = 0; strip < Cross.nStrips; ++strip) AddStrip(options, Cross, strip);
  SetFlightTimes(options);
}

void FlightPlan::ToPlan(double X, double Y, double& u, double& v) const {
  u = fCosine * (X - fOriginX) + fSine * (Y - fOriginY);
  v = fCosine * (Y - fOriginY) - fSine * (X - fOriginX);
}

void FlightPlan::FromPlan(double u, double v, double& X, double& Y) const {
  X = fOriginX + fCosine * u - fSine * v;
  Y = fOriginY + fSine * u + fCosine * v;
}

std::pair<int32_t, int32_t> FlightPlan::Range(double position, double reach, double first, double step,
                                              int32_t count) {
  const double low = std::ceil((position - reach - first) / step);
  const double high = std::floor((position + reach - first) / step);
  const double last = count - 1;
  // Compared as doubles: far from the block they exceed every integer.
  if (low > last || high < 0) return {0, -1};
  return {static_cast<int32_t>(std::max(low, 0.0)), static_cast<int32_t>(std::min(high, last))};
}

void FlightPlan::AddStrip(const SyntheticOptions& options, const Grid& grid, int32_t strip) {
  const bool backwards = strip % 2 != 0;
  const double heading = options.fHeading + (grid.bCross ? 90 : 0) + (backwards ? 180 : 0);
  const double across = grid.fFirstStrip + strip * grid.fStripStep;
  const int32_t stripOrdinal = grid.bCross ? Parallel.nStrips + strip : strip;
  for (int32_t i = 0; i < grid.nImages; ++i) {
    const auto ordinal = static_cast<int32_t>(pImages.size());
    const double along = grid.fFirstImage + (backwards ? grid.nImages - 1 - i : i) * grid.fImageStep;
    CounterRandom random(options.nSeed, RandomStream::Image, ordinal);
    SyntheticImage image;
    image.nId = kFirstImageId + ordinal;
    image.nStrip = stripOrdinal;
    image.nCamera = options.nCameras == 0 ? ordinal : stripOrdinal % options.nCameras;
    FromPlan(grid.bCross ? across : along, grid.bCross ? along : across, image.X, image.Y);
    image.X += options.fScatter * random.Normal(kSigmaLimit);
    image.Y += options.fScatter * random.Normal(kSigmaLimit);
    image.Z = options.fGroundZ + options.fFlyingHeight + options.fScatter * random.Normal(kSigmaLimit);
    const double tilt = options.fTilt * kRadiansPerDegree;
    image.fPhi = tilt * random.Normal(kSigmaLimit);
    image.fOmega = tilt * random.Normal(kSigmaLimit);
    const double kappa = heading * kRadiansPerDegree + tilt * random.Normal(kSigmaLimit);
    image.fKappa = kappa - 2 * kPi * std::floor((kappa + kPi) / (2 * kPi));
    SyntheticRotation(image.fPhi, image.fOmega, image.fKappa, image.R);
    pImages.push_back(image);
  }
}

void FlightPlan::SetFlightTimes(const SyntheticOptions& options) {
  const SyntheticImage* first = nullptr;
  int axis = -1;
  for (SyntheticImage& image : pImages) {
    if (first == nullptr || image.nStrip != first->nStrip) {
      first = &image;
      axis = -1;
      continue;
    }
    const double d[3] = {image.X - first->X, image.Y - first->Y, image.Z - first->Z};
    if (axis < 0) axis = DominantAxis(d);
    const double length = std::sqrt(d[0] * d[0] + d[1] * d[1] + d[2] * d[2]);
    image.fTime = (d[axis] < 0 ? -length : length) / options.fAircraftSpeed;
  }
}

}  // namespace orvo
