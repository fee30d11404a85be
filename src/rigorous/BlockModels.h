// What is observed and unknown of cameras, images and strips, by the settings of the rigorous method.
#pragma once

#include <array>
#include <cstdint>
#include <span>

#include "records/PosSigma.h"
#include "records/Records.h"
#include "records/RigorousSettings.h"
#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// The parameters of the lens that the form has as unknowns: bits of LensModel.h.
uint32_t LensUnknownsOf(DistortionTerms terms);

/// Standard deviations of what is known of the lens beforehand, in working units. `imageScale`: working image
/// units of a pixel. That of a distortion term is by the extent of the camera; without one it is not known.
std::array<double, kLensParameterNum> LensPriorOf(const RigorousSettings& settings, const IopRecord& iop,
                                                  double imageScale);

/// Which of a camera's values are unknown.
struct CameraUnknowns {
  bool bLens = false;
  bool bLeverArm = false;   ///< where the settings ask for it
  bool bBoresight = false;  ///< the same
  int32_t nCamera = -1;     ///< whose they are, by its place in the project; below 0: of none
};

/// Standard deviation of measurements of a camera, by its place in the project; pixels.
double ImageSigmaOf(const RigorousSettings& settings, int32_t camera);

CameraModel CameraModelOf(const RigorousSettings& settings, const IopRecord& iop, double imageScale,
                          const CameraUnknowns& unknowns);
/// Lens of the record, lever arm and boresight of the settings.
CameraEstimate CameraStartOf(const RigorousSettings& settings, const IopRecord& iop);

/// Standard deviations of a GPS position: what the file tells, and else the settings.
Vector3 GpsSigmaOf(const RigorousSettings& settings, const PosSigma& told = {});
/// Those of the rotation vector that errors of the angles make, in the frame of the IMU, its components taken
/// by themselves. Exact for an attitude near the vertical; never below the smallest of those of
/// the angles. They are what the file tells, and else the settings. The angles are one rotation: where one of
/// them is not observed, none is.
Vector3 ImuSigmaOf(const RigorousSettings& settings, const Vector3& phiOmegaKappa, const PosSigma& told = {});

/// Of a strip with observations at these times: no rate of drift where they are all the same.
StripModel StripModelOf(const RigorousSettings& settings, std::span<const double> gpsTimes,
                        std::span<const double> imuTimes);

}  // namespace orvo::rigorous
