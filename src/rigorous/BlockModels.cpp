#include "rigorous/BlockModels.h"

#include <algorithm>
#include <cmath>
#include <numbers>

#include "rigorous/RotationVector.h"

namespace orvo::rigorous {
namespace {

constexpr double kRadians = std::numbers::pi / 180;

Vector3 AllThree(double value) { return {value, value, value}; }

/// What a term of the distortion does in the corner of the image, by its coefficient.
std::array<double, kLensParameterNum> CornerEffects(const IopRecord& iop, double imageScale) {
  const double u = iop.nImageWidth / 2.0 * imageScale, v = iop.nImageHeight / 2.0 * imageScale;
  const double r2 = u * u + v * v, r = std::sqrt(r2);
  const double tangential = std::hypot(r2 + 2 * u * u, 2 * u * v);
  return {1,           1,
          1,           r * r2,
          r * r2 * r2, r * r2 * r2 * r2,
          tangential,  std::hypot(r2 + 2 * v * v, 2 * u * v),
          std::abs(u), std::abs(v)};
}

/// `told`, and `usual` where it is not a number.
Vector3 OrUsual(const std::array<double, 3>& told, Vector3 usual) {
  for (size_t i = 0; i < 3; ++i) {
    if (!std::isnan(told[i])) usual[i] = told[i];
  }
  return usual;
}

bool Vary(std::span<const double> times) {
  if (times.empty()) return false;
  const auto [low, high] = std::ranges::minmax(times);
  return high > low;
}

}  // namespace

uint32_t LensUnknownsOf(DistortionTerms terms) {
  uint32_t unknowns = kLensFocal | kLensPrincipalPoint | kLensRadial;
  if (terms != DistortionTerms::K1K2) unknowns |= kLensThirdRadial | kLensTangential;
  if (terms == DistortionTerms::BrownAffinity) unknowns |= kLensAffine;
  return unknowns;
}

std::array<double, kLensParameterNum> LensPriorOf(const RigorousSettings& settings, const IopRecord& iop,
                                                  double imageScale) {
  const double scale = std::abs(imageScale);
  const std::array<double, kLensParameterNum> effects = CornerEffects(iop, scale);
  std::array<double, kLensParameterNum> sigma{};
  for (size_t i = 0; i < sigma.size(); ++i) {
    const double pixels = i == 0  ? settings.Prior_Focal
                          : i < 3 ? settings.Prior_Principal
                                  : settings.Prior_Distortion;
    sigma[i] = pixels * scale / effects[i];
    if (!(sigma[i] > 0)) sigma[i] = kNotObserved;
  }
  return sigma;
}

double ImageSigmaOf(const RigorousSettings& settings, int32_t camera) {
  const auto own = std::ranges::find(settings.Sigma_Image_Cameras, camera, &CameraSigma::nCamera);
  return own == settings.Sigma_Image_Cameras.end() ? settings.Sigma_Image : own->fSigma;
}

CameraModel CameraModelOf(const RigorousSettings& settings, const IopRecord& iop, double imageScale,
                          const CameraUnknowns& unknowns) {
  CameraModel model;
  model.fSigma = ImageSigmaOf(settings, unknowns.nCamera) * std::abs(imageScale);
  if (unknowns.bLens) {
    model.nLensUnknowns = LensUnknownsOf(settings.Distortion);
    model.PriorSigma = LensPriorOf(settings, iop, imageScale);
  }
  const CameraEstimate start = CameraStartOf(settings, iop);
  model.Prior = start.LensNow;
  model.bLeverArm = unknowns.bLeverArm && settings.Lever_Arm == MountingForm::Estimate;
  model.LeverArmPrior = start.LeverArm;
  if (model.bLeverArm) model.LeverArmSigma = AllThree(settings.Prior_Lever_Arm);
  model.bBoresight = unknowns.bBoresight && settings.Boresight == MountingForm::Estimate;
  model.BoresightPrior = start.Boresight;
  if (model.bBoresight) model.BoresightSigma = AllThree(settings.Prior_Boresight * kRadians);
  return model;
}

CameraEstimate CameraStartOf(const RigorousSettings& settings, const IopRecord& iop) {
  CameraEstimate start;
  start.LensNow = LensOf(iop);
  if (settings.Lever_Arm != MountingForm::None)
    start.LeverArm = {settings.Lever_Arm_X, settings.Lever_Arm_Y, settings.Lever_Arm_Z};
  if (settings.Boresight != MountingForm::None) {
    start.Boresight =
        RotationOfAngles({settings.Boresight_Phi * kRadians, settings.Boresight_Omega * kRadians,
                          settings.Boresight_Kappa * kRadians});
  }
  return start;
}

Vector3 GpsSigmaOf(const RigorousSettings& settings, const PosSigma& told) {
  return OrUsual(told.Position, {settings.Sigma_GPS_XY, settings.Sigma_GPS_XY, settings.Sigma_GPS_Z});
}

Vector3 ImuSigmaOf(const RigorousSettings& settings, const Vector3& phiOmegaKappa, const PosSigma& told) {
  const double tilt = settings.Sigma_IMU_PhiOmega * kRadians, kappa = settings.Sigma_IMU_Kappa * kRadians;
  const Vector3 angles = OrUsual(told.Angles, {tilt, tilt, kappa});
  if (!std::ranges::all_of(angles, [](double one) { return std::isfinite(one); })) return kNotObserved3;
  const Matrix3 T = VectorByAngles(phiOmegaKappa);
  Vector3 sigma{};
  for (size_t i = 0; i < 3; ++i) {
    sigma[i] = std::hypot(T[3 * i] * angles[0], T[3 * i + 1] * angles[1], T[3 * i + 2] * angles[2]);
    // In a direction that no angle turns about alone the angles are not better than themselves.
    sigma[i] = std::max(sigma[i], std::ranges::min(angles));
  }
  return sigma;
}

StripModel StripModelOf(const RigorousSettings& settings, std::span<const double> gpsTimes,
                        std::span<const double> imuTimes) {
  StripModel model;
  if (settings.Drift == DriftForm::None) return model;
  const bool linear = settings.Drift == DriftForm::Linear;
  model.bGpsConstant = !gpsTimes.empty();
  model.bGpsLinear = linear && Vary(gpsTimes);
  model.bImuConstant = !imuTimes.empty();
  model.bImuLinear = linear && Vary(imuTimes);
  return model;
}

}  // namespace orvo::rigorous
