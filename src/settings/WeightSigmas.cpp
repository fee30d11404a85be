#include "settings/WeightSigmas.h"

#include <cmath>

#include "settings/SettingWeights.h"

namespace orvo {
namespace {

std::optional<double> Told(double sigma) {
  return std::isfinite(sigma) && sigma > 0 ? std::optional(sigma) : std::nullopt;
}

}  // namespace

WeightSigmas SigmasOfWeights(const AdjustmentSettings& settings, const BlockFacts& facts, double pixelSigma) {
  WeightSigmas sigmas;
  const WeightUnits units{pixelSigma, settings.Image_Coor_Scale, facts.fObjectScale};
  sigmas.GpsXY = Told(GpsSigmaOf(settings.GPS_WeightXY, units));
  sigmas.GpsZ = Told(GpsSigmaOf(settings.GPS_WeightZ, units));
  if (!(facts.fGroundPixel > 0) || !(facts.fControlRays > 0)) return sigmas;
  const ControlUnits control{pixelSigma, facts.fGroundPixel, facts.fControlRays};
  if (settings.GCP_Weight >= 1) {
    sigmas.Gcp = 0;
  } else {
    sigmas.Gcp = Told(ControlSigmaOf(settings.GCP_Weight, control));
  }
  return sigmas;
}

}  // namespace orvo
