#include "synthetic/SyntheticOptions.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "synthetic/FlightPlan.h"

namespace orvo {
namespace {

using O = SyntheticOptions;
constexpr double kLarge = 1e7;

constexpr SyntheticOption kOptions[] = {
    {&O::nSeed, "seed", "", "everything random follows from it", -9e15, 9e15},

    {&O::nStrips, "strips", "", "parallel strips, flown to and fro", 1, 100000},
    {&O::nImagesPerStrip, "images-per-strip", "", "images of a strip", 1, 100000},
    {&O::nCrossStrips, "cross-strips", "", "strips at right angles, over the width of the block", 0, 10000},
    {&O::fForwardOverlap, "forward-overlap", "%", "overlap along the strip", 0, 95},
    {&O::fSideOverlap, "side-overlap", "%", "overlap of neighbouring strips", 0, 95},
    {&O::fFlyingHeight, "flying-height", "m", "height above the mean ground", 1, 100000},
    {&O::fHeading, "heading", "degrees", "direction of the strips, counter-clockwise from X", -360, 360},
    {&O::fScatter, "scatter", "m", "sigma of the true positions about the flight plan", 0, 1000},
    {&O::fTilt, "tilt", "degrees", "sigma of the true angles about the flight plan", 0, 10},
    {&O::fOriginX, "origin-x", "m", "X of the middle of the block", -kLarge, kLarge},
    {&O::fOriginY, "origin-y", "m", "Y of the middle of the block", -kLarge, kLarge},
    {&O::fGroundZ, "ground-z", "m", "mean height of the ground", -10000, 10000},
    {&O::fRelief, "relief", "m", "largest deviation of the ground from its mean height", 0, 10000},

    {&O::nCameras, "cameras", "", "cameras, used by the strips in turn; 0: one for each image", 0, 100000},
    {&O::nImageWidth, "image-width", "px", "extent of an image in x, along the strip", 16, 200000},
    {&O::nImageHeight, "image-height", "px", "extent of an image in y", 16, 200000},
    {&O::fFocal, "focal", "px", "focal length", 1, 1e6},
    {&O::fPrincipalX, "principal-x", "px", "x of the principal point", -10000, 10000},
    {&O::fPrincipalY, "principal-y", "px", "y of the principal point", -10000, 10000},
    // The readers take larger coefficients for 0.
    {&O::fK1, "k1", "px^-2", "radial distortion, subtracted from a measurement", -5e-6, 5e-6},
    {&O::fK2, "k2", "px^-4", "the same, of fourth order", -5e-12, 5e-12},
    {&O::fK3, "k3", "px^-6", "the same, of sixth order; the start does not know it, nor the four behind it",
     -1e-18, 1e-18},
    {&O::fP1, "p1", "px^-1", "tangential distortion", -1e-5, 1e-5},
    {&O::fP2, "p2", "px^-1", "tangential distortion", -1e-5, 1e-5},
    {&O::fB1, "b1", "", "affinity: x is measured too long by this share", -0.01, 0.01},
    {&O::fB2, "b2", "", "shear: x is measured too large by this share of y", -0.01, 0.01},
    {&O::fCameraSpread, "camera-spread", "", "relative sigma of the focal length from camera to camera", 0,
     0.01},

    {&O::fMeasurementsPerImage, "measurements", "",
     "tie point measurements aimed at on an image, in the mean", 1, 1e6},
    {&O::bRandomOrder, "random-order", "", "tie points in random instead of spatial order", 0, 1},
    {&O::fNoise, "noise", "px", "sigma of every measurement coordinate", 0, 1000},
    {&O::fOutlierFraction, "outliers", "", "share of the tie point measurements that are outliers", 0, 1},
    {&O::fOutlierSize, "outlier-size", "px", "an outlier is off by this to twice this", 0, 100000},
    {&O::fPointStart, "point-start", "m", "sigma of the tie point coordinates in the files", 0, 10000},

    {&O::nControlPoints, "control", "", "control points", 0, 10000},
    {&O::nCheckPoints, "check", "", "check points", 0, 10000},
    {&O::fGroundPointNoise, "gcp-noise", "m", "sigma of the coordinates in the GCP file", 0, 1000},

    {&O::fPosNoise, "pos-noise", "m", "sigma of a POS position", 0, 1000},
    {&O::fImuNoise, "imu-noise", "degrees", "sigma of a POS angle", 0, 45},
    {&O::fPosOffset, "pos-offset", "m", "sigma of a strip's constant offset of position", 0, 10000},
    {&O::fImuOffset, "imu-offset", "degrees", "sigma of a strip's constant offset of angle", 0, 10},
    {&O::fPosDrift, "pos-drift", "m/s", "sigma of a strip's drift of position", 0, 100},
    {&O::fImuDrift, "imu-drift", "degrees/s", "sigma of a strip's drift of angle", 0, 1},
    {&O::fAircraftSpeed, "speed", "m/s", "speed of the aircraft, for the flight time", 0.1, 10000},

    {&O::fStartPosition, "start-position", "m", "sigma of the start positions about the true ones", 0,
     100000},
    {&O::fStartAngle, "start-angle", "degrees", "sigma of the start angles about the true ones", 0, 90},
    {&O::fStartFocal, "start-focal", "px", "sigma of the start focal lengths", 0, 10000},
    {&O::fStartPrincipal, "start-principal", "px", "sigma of the start principal points, in x and y", 0,
     10000},
    {&O::fStartK1, "start-k1", "px^-2", "sigma of the start k1", 0, 1e-6},
    {&O::fStartK2, "start-k2", "px^-4", "sigma of the start k2", 0, 1e-12},

    {&O::fFrameScale, "frame-scale", "", "scale of the start orientations' frame", 1e-6, 1e6},
    {&O::fFrameKappa, "frame-kappa", "degrees", "rotation of that frame about Z", -360, 360},
    {&O::fFrameShiftX, "frame-shift-x", "m", "shift of that frame in X", -kLarge, kLarge},
    {&O::fFrameShiftY, "frame-shift-y", "m", "shift of that frame in Y", -kLarge, kLarge},
    {&O::fFrameShiftZ, "frame-shift-z", "m", "shift of that frame in Z", -kLarge, kLarge},

    {&O::nTruthPointLimit, "truth-points", "",
     "true tie point coordinates are told when there are no more than these", 0, 10000000},
};

double ValueOf(const SyntheticOptions& options, const SyntheticOption& option) {
  return std::visit([&](auto field) { return static_cast<double>(options.*field); }, option.field);
}

/// Smallest slope of r (1 - k1 r^2 - k2 r^4 - k3 r^6) over the image, for one sign of the cameras' spread,
/// less what the other terms may change of it.
double SmallestDistortionSlope(const SyntheticOptions& options, double k1, double k2) {
  // Room for principal points that spread.
  const double u = options.nImageWidth / 2.0 + std::fabs(options.fPrincipalX) + 80;
  const double v = options.nImageHeight / 2.0 + std::fabs(options.fPrincipalY) + 80;
  double smallest = 1;
  for (int i = 0; i <= 100; ++i) {
    const double q = (u * u + v * v) * i / 100;
    const double radial = 1 - q * (3 * k1 + q * (5 * k2 + 7 * q * options.fK3));
    const double other = 6 * std::sqrt(q) * (std::fabs(options.fP1) + std::fabs(options.fP2)) +
                         std::fabs(options.fB1) + std::fabs(options.fB2);
    smallest = std::min(smallest, radial - other);
  }
  return smallest;
}

std::string CheckTogether(const SyntheticOptions& options) {
  const int64_t images = FlightPlan::CountImages(options);
  if (images < 2) return "a block needs at least two images: raise --strips or --images-per-strip";
  if (images > 1000000) return "more than 1000000 images: lower --strips or --images-per-strip";
  if (options.nCameras > int64_t{options.nStrips} + options.nCrossStrips)
    return "--cameras must not exceed the number of strips (0 gives each image its own)";
  if (static_cast<double>(images) * options.fMeasurementsPerImage > 2e9)
    return "more than 2e9 measurements do not fit an .ovt file: lower --measurements";
  if (options.fRelief > 0.4 * options.fFlyingHeight)
    return "--relief must not exceed 0.4 times --flying-height";
  if (options.fScatter > 0.05 * options.fFlyingHeight)
    return "--scatter must not exceed 0.05 times --flying-height";
  if (10 * options.fStartFocal > options.fFocal) return "--start-focal must not exceed a tenth of --focal";
  if (options.fOutlierFraction > 0 &&
      4 * options.fOutlierSize > std::min(options.nImageWidth, options.nImageHeight))
    return "--outlier-size must not exceed a quarter of the image";
  for (const double factor : {0.6, 1.0, 1.4}) {
    for (const double other : {0.6, 1.0, 1.4}) {
      if (SmallestDistortionSlope(options, factor * options.fK1, other * options.fK2) < 0.1)
        return "--k1, --k2 and the other terms of the distortion fold the image over itself: lower them";
    }
  }
  if (!FlightPlan::FootprintsAreBounded(options))
    return "--tilt lets images see the horizon: lower it, or raise --focal";
  return {};
}

}  // namespace

std::span<const SyntheticOption> SyntheticOptionTable() { return kOptions; }

std::string CheckSyntheticOptions(const SyntheticOptions& options) {
  for (const SyntheticOption& option : kOptions) {
    const double value = ValueOf(options, option);
    // Written so that a not-a-number fails.
    if (!(value >= option.fMin && value <= option.fMax))
      return fmt::format("--{} must lie between {} and {}", option.szName, option.fMin, option.fMax);
  }
  return CheckTogether(options);
}

}  // namespace orvo
