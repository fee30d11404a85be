#include "settings/SettingWeights.h"

#include <cmath>

namespace orvo {

double GpsWeightOf(double sigma, const WeightUnits& units) {
  const double ratio = units.fPixelSigma * units.fImageScale / (sigma * units.fObjectScale);
  return ratio * ratio;
}

double GpsSigmaOf(double weight, const WeightUnits& units) {
  return units.fPixelSigma * units.fImageScale / (units.fObjectScale * std::sqrt(weight));
}

double ControlWeightOf(double sigma, const ControlUnits& units) {
  const double image = units.fPixelSigma * units.fPixelSigma;
  const double ground = sigma / units.fGroundPixel;
  return image / (image + units.fRays * ground * ground);
}

double ControlSigmaOf(double weight, const ControlUnits& units) {
  return units.fGroundPixel * units.fPixelSigma * std::sqrt((1 / weight - 1) / units.fRays);
}

}  // namespace orvo
