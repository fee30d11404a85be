// What the user asks of the rigorous method. The fields bear the names of their elements and keys.
#pragma once

#include <cstdint>
#include <limits>

#include "records/CameraSigmas.h"

namespace orvo {

enum class DistortionTerms : uint8_t { K1K2, Brown, BrownAffinity };
/// Whether the offset of a sensor from the camera is left out, taken as given, or unknown.
enum class MountingForm : uint8_t { None, Given, Estimate };
enum class DriftForm : uint8_t { None, Constant, Linear };
enum class RobustForm : uint8_t { None, Huber, Welsch, Auto };
enum class DatumChoice : uint8_t { Auto, Control, Gps, Inner };
enum class PrecisionExtent : uint8_t { None, Images, All };

/// Standard deviations are those of single values; those of priors may be "none".
struct RigorousSettings {
  static constexpr double kNone = std::numeric_limits<double>::infinity();

  double Sigma_Image = 0.5;                                 ///< pixels
  CameraSigmas Sigma_Image_Cameras = {};                    ///< in its place
  double Sigma_GCP_XY = 0.02, Sigma_GCP_Z = 0.03;           ///< object units; 0: held
  double Sigma_GPS_XY = 0.1, Sigma_GPS_Z = 0.2;             ///< object units
  double Sigma_IMU_PhiOmega = 0.05, Sigma_IMU_Kappa = 0.1;  ///< degrees
  double Prior_Focal = kNone, Prior_Principal = kNone;      ///< pixels
  double Prior_Distortion = kNone;  ///< pixels, of each term's correction in the corner of the image
  DistortionTerms Distortion = DistortionTerms::K1K2;
  MountingForm Lever_Arm = MountingForm::None;
  double Lever_Arm_X = 0, Lever_Arm_Y = 0, Lever_Arm_Z = 0;  ///< from the centre to the antenna, camera frame
  double Prior_Lever_Arm = kNone;                            ///< object units
  MountingForm Boresight = MountingForm::None;
  double Boresight_Phi = 0, Boresight_Omega = 0, Boresight_Kappa = 0;  ///< degrees
  double Prior_Boresight = kNone;                                      ///< degrees
  DriftForm Drift = DriftForm::None;
  RobustForm Robust = RobustForm::Auto;
  double Snooping_Critical = 3.29;
  DatumChoice Datum = DatumChoice::Auto;
  PrecisionExtent Precision = PrecisionExtent::Images;
  bool Estimate_Variances = false;
  bool Corrected_Image = false;  ///< residuals in the image free of distortion
  int32_t Max_Iterations = 50;
};

}  // namespace orvo
