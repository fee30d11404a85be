// Generated blocks with known truth: a flight over hilly ground, measured, controlled and started with errors
// of known size.
// Strips run along X, there and back, with the long side of the image across; cross strips run along Y, a
// tenth higher. The ground has its mean height and the block its middle at 0.
#pragma once

#include <cstdint>
#include <vector>

#include "rigorous/Problem.h"

namespace orvo::rigorous::test {

enum class TruthCameras : uint8_t { One, EachStrip, EachImage };

/// All errors are normal, with these standard deviations.
struct TruthOptions {
  uint64_t nSeed = 1;
  uint64_t nNoiseSeed = 0;  ///< not 0: other errors of observations and start, with the truth of nSeed

  int32_t nStrips = 4, nImages = 8;  ///< images of a strip
  int32_t nCrossStrips = 0;
  double fForwardOverlap = 0.8, fSideOverlap = 0.6;
  double fHeight = 100;  ///< of flight, above the mean ground
  double fRelief = 0.1;  ///< of fHeight: from the lowest to the highest ground
  double fTilt = 2;      ///< of images from the vertical and their heading, degrees
  double fPointsPerImage = 100;

  TruthCameras Cameras = TruthCameras::One;
  double fPixel = 1;  ///< in units of the image: 4000 x 3000 pixels, f near 3600
  uint32_t nLensTerms = kLensFocal | kLensPrincipalPoint | kLensRadial;  ///< that are not 0
  uint32_t nLensUnknowns = kLensFocal | kLensRadial;                     ///< the others are held at truth
  ResidualForm Form = ResidualForm::Measured;
  double fNoise = 0.5;       ///< of a measured coordinate, pixels; with 0 the stated one is 1 pixel
  double fGrossShare = 0;    ///< of the rays
  double fGrossPixels = 50;  ///< in any direction

  int32_t nControl = 0;  ///< spread over the block
  Vector3 ControlSigma = {0.01, 0.01, 0.01};
  int32_t nHeightControl = 0;  ///< as many more, known in height alone

  Vector3 GpsSigma = kNotObserved3;
  Vector3 ImuSigma = kNotObserved3;            ///< radians
  Vector3 LeverArm{}, Boresight{};             ///< truth; boresight as a rotation vector
  bool bLeverArm = false, bBoresight = false;  ///< unknown, from 0; else held at truth
  /// Drifts by strip, with the time from -1 to 1 in each. Unknown, from 0, where above 0.
  double fGpsConstant = 0, fGpsLinear = 0, fImuConstant = 0, fImuLinear = 0;

  int32_t nHeldImages = 0;  ///< the first ones, at truth
  double fStartCentre = 1, fStartDegrees = 0.5, fStartPoint = 1;
  double fStartFocal = 20;         ///< pixels
  bool bStartWithoutTerms = true;  ///< unknown terms of the lens but f begin at 0; else at truth
};

struct TruthBlock {
  Problem Given;
  Estimate Truth, Start;
  std::vector<int64_t> vGrossRays;  ///< ascending
};

/// The same on every machine up to last digits. Points that fewer than two images see are left out.
TruthBlock MakeTruthBlock(const TruthOptions& options);

}  // namespace orvo::rigorous::test
