// Weights of observations from their standard deviations, and back.
#pragma once

namespace orvo {

/// Units of a run against those of the files.
struct WeightUnits {
  double fPixelSigma = 0.5;    ///< standard deviation of a measurement, image units of the files
  double fImageScale = 0.001;  ///< working units in one image unit
  double fObjectScale = 1;     ///< units of the normalised frame in one object unit of the files
};

/// Of a GPS position: the variance of a measurement divided by that of the position, each in the units in
/// which a run counts it. `sigma` in object units, above 0.
double GpsWeightOf(double sigma, const WeightUnits& units);
double GpsSigmaOf(double weight, const WeightUnits& units);

/// What the measurements of a control point stand for.
struct ControlUnits {
  double fPixelSigma = 0.5;
  double fGroundPixel = 1;  ///< object units of a pixel on the ground
  double fRays = 1;         ///< measurements of a point
};

/// Of a measurement of a control point whose coordinates are good to `sigma` object units: with it, all
/// measurements of the point together hold the block as strongly as they would if its coordinates were
/// observations. At most 1, which is that of a point without error.
double ControlWeightOf(double sigma, const ControlUnits& units);
/// Of a weight of at most 1.
double ControlSigmaOf(double weight, const ControlUnits& units);

}  // namespace orvo
