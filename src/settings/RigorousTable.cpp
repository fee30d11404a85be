#include "settings/RigorousTable.h"

#include <algorithm>

namespace orvo {
namespace {

using R = RigorousSettings;

// In the order of the values.
constexpr const char* kDistortions[] = {"k1k2", "brown", "brown_affinity"};
constexpr const char* kMountings[] = {"none", "given", "estimate"};
constexpr const char* kDrifts[] = {"none", "constant", "linear"};
constexpr const char* kLosses[] = {"none", "huber", "welsch", "auto"};
constexpr const char* kDatums[] = {"auto", "control", "gps", "inner"};
constexpr const char* kExtents[] = {"none", "images", "all"};

// Weights are squares of the reciprocals of standard deviations, and have to be finite.
constexpr RigorousLimits kSigma = {1e-9, 1e9};
constexpr RigorousLimits kControl = {1e-9, 1e9, true};
constexpr RigorousLimits kPrior = {1e-9, 1e9, false, true};
constexpr RigorousLimits kLength = {-1e6, 1e6};
constexpr RigorousLimits kAngle = {-360, 360};

constexpr char kAlways[] = "every run.";
constexpr char kWithControl[] = "runs with control points.";
constexpr char kWithGps[] = "runs with a POS file and `Apply_GPS_Data`.";
constexpr char kWithImu[] = "runs with a POS file and `Apply_IMU_Data`.";
constexpr char kWithCameras[] = "runs with `Set_IOP_Unknown`.";
constexpr char kWithArm[] = "runs with GPS positions and `Lever_Arm` given or estimate.";
constexpr char kWithBoresight[] = "runs with angles of the POS file and `Boresight` given or estimate.";

const RigorousSetting kSettings[] = {
    {.field = &R::Sigma_Image,
     .szName = "Sigma_Image",
     .szUnit = "px",
     .Limits = kSigma,
     .fLow = 0.05,
     .fHigh = 5,
     .szMeaning = "standard deviation of a measured image coordinate",
     .szEffect = kAlways},
    {.field = &R::Sigma_Image_Cameras,
     .szName = "Sigma_Image_Cameras",
     .szUnit = "px",
     .Limits = kSigma,
     .szMeaning =
         "the same of single cameras, by their places in the project from 0, in place of `Sigma_Image`",
     .szEffect = kAlways},
    {.field = &R::Sigma_GCP_XY,
     .szName = "Sigma_GCP_XY",
     .szUnit = "object units",
     .Limits = kControl,
     .fLow = 0,
     .fHigh = 10,
     .szMeaning = "standard deviation of X and of Y of a control point; 0 holds them",
     .szEffect = kWithControl},
    {.field = &R::Sigma_GCP_Z,
     .szName = "Sigma_GCP_Z",
     .szUnit = "object units",
     .Limits = kControl,
     .fLow = 0,
     .fHigh = 10,
     .szMeaning = "standard deviation of Z of a control point; 0 holds it",
     .szEffect = kWithControl},
    {.field = &R::Sigma_GPS_XY,
     .szName = "Sigma_GPS_XY",
     .szUnit = "object units",
     .Limits = kSigma,
     .fLow = 0.001,
     .fHigh = 100,
     .szMeaning = "standard deviation of X and of Y of a GPS position",
     .szEffect = kWithGps},
    {.field = &R::Sigma_GPS_Z,
     .szName = "Sigma_GPS_Z",
     .szUnit = "object units",
     .Limits = kSigma,
     .fLow = 0.001,
     .fHigh = 100,
     .szMeaning = "standard deviation of Z of a GPS position",
     .szEffect = kWithGps},
    {.field = &R::Sigma_IMU_PhiOmega,
     .szName = "Sigma_IMU_PhiOmega",
     .szUnit = "degrees",
     .Limits = kSigma,
     .fLow = 0.0005,
     .fHigh = 30,
     .szMeaning = "standard deviation of phi and of omega in the POS file",
     .szEffect = kWithImu},
    {.field = &R::Sigma_IMU_Kappa,
     .szName = "Sigma_IMU_Kappa",
     .szUnit = "degrees",
     .Limits = kSigma,
     .fLow = 0.0005,
     .fHigh = 30,
     .szMeaning = "standard deviation of kappa in the POS file",
     .szEffect = kWithImu},
    {.field = &R::Prior_Focal,
     .szName = "Prior_Focal",
     .szUnit = "px",
     .Limits = kPrior,
     .fLow = 0.01,
     .fHigh = 1000,
     .szMeaning = "standard deviation of the focal length that the project has; none: it is no observation",
     .szEffect = kWithCameras},
    {.field = &R::Prior_Principal,
     .szName = "Prior_Principal",
     .szUnit = "px",
     .Limits = kPrior,
     .fLow = 0.01,
     .fHigh = 1000,
     .szMeaning = "standard deviation of x0 and of y0 that the project has; none: they are no observations",
     .szEffect = kWithCameras},
    {.field = &R::Prior_Distortion,
     .szName = "Prior_Distortion",
     .szUnit = "px",
     .Limits = kPrior,
     .fLow = 0.01,
     .fHigh = 1000,
     .szMeaning = "standard deviation of each term of the distortion that the project has, by what it moves "
                  "in the corner of the image; none: they are no observations",
     .szEffect = kWithCameras},
    {.field = &R::Distortion,
     .szName = "Distortion",
     .Words = kDistortions,
     .szMeaning = "terms of the distortion that are adjusted: `k1k2`; `brown`, with k3, p1 and p2; "
                  "`brown_affinity`, with scale and shear of the axes besides",
     .szEffect = kWithCameras},
    {.field = &R::Lever_Arm,
     .szName = "Lever_Arm",
     .Words = kMountings,
     .szMeaning = "way from the projection centre to the antenna: `none`, they are one; `given`, as "
                  "`Lever_Arm_X`, `Lever_Arm_Y` and `Lever_Arm_Z` say; `estimate`, adjusted from there",
     .szEffect = kWithGps},
    {.field = &R::Lever_Arm_X,
     .szName = "Lever_Arm_X",
     .szUnit = "object units",
     .Limits = kLength,
     .fLow = -20,
     .fHigh = 20,
     .szMeaning = "x of the antenna in the camera frame, from the projection centre",
     .szEffect = kWithArm},
    {.field = &R::Lever_Arm_Y,
     .szName = "Lever_Arm_Y",
     .szUnit = "object units",
     .Limits = kLength,
     .fLow = -20,
     .fHigh = 20,
     .szMeaning = "y of the antenna in the camera frame, from the projection centre",
     .szEffect = kWithArm},
    {.field = &R::Lever_Arm_Z,
     .szName = "Lever_Arm_Z",
     .szUnit = "object units",
     .Limits = kLength,
     .fLow = -20,
     .fHigh = 20,
     .szMeaning = "z of the antenna in the camera frame, from the projection centre",
     .szEffect = kWithArm},
    {.field = &R::Prior_Lever_Arm,
     .szName = "Prior_Lever_Arm",
     .szUnit = "object units",
     .Limits = kPrior,
     .fLow = 0.001,
     .fHigh = 10,
     .szMeaning = "standard deviation of `Lever_Arm_X`, `Lever_Arm_Y` and `Lever_Arm_Z` where they are "
                  "adjusted; none: they are start values and no observations",
     .szEffect = "runs with GPS positions and `Lever_Arm` estimate."},
    {.field = &R::Boresight,
     .szName = "Boresight",
     .Words = kMountings,
     .szMeaning = "rotation of the IMU against the camera: `none`; `given`, as `Boresight_Phi`, "
                  "`Boresight_Omega` and `Boresight_Kappa` say; `estimate`, adjusted from there",
     .szEffect = kWithImu},
    {.field = &R::Boresight_Phi,
     .szName = "Boresight_Phi",
     .szUnit = "degrees",
     .Limits = kAngle,
     .fLow = -180,
     .fHigh = 180,
     .szMeaning = "phi of the rotation of the IMU against the camera",
     .szEffect = kWithBoresight},
    {.field = &R::Boresight_Omega,
     .szName = "Boresight_Omega",
     .szUnit = "degrees",
     .Limits = kAngle,
     .fLow = -180,
     .fHigh = 180,
     .szMeaning = "omega of the rotation of the IMU against the camera",
     .szEffect = kWithBoresight},
    {.field = &R::Boresight_Kappa,
     .szName = "Boresight_Kappa",
     .szUnit = "degrees",
     .Limits = kAngle,
     .fLow = -180,
     .fHigh = 180,
     .szMeaning = "kappa of the rotation of the IMU against the camera",
     .szEffect = kWithBoresight},
    {.field = &R::Prior_Boresight,
     .szName = "Prior_Boresight",
     .szUnit = "degrees",
     .Limits = kPrior,
     .fLow = 0.001,
     .fHigh = 30,
     .szMeaning = "standard deviation of the rotation of the IMU against the camera about each axis, where "
                  "it is adjusted; none: it is a start value and no observation",
     .szEffect = "runs with angles of the POS file and `Boresight` estimate."},
    {.field = &R::Drift,
     .szName = "Drift",
     .Words = kDrifts,
     .szMeaning = "drift of the POS data that is adjusted for each strip: `none`; `constant`, an offset; "
                  "`linear`, an offset and its change with time",
     .szEffect = "runs with GPS positions or angles of the POS file."},
    {.field = &R::Robust,
     .szName = "Robust",
     .Words = kLosses,
     .szMeaning = "how gross measurements are kept from bending the block: `none`, they are not looked for; "
                  "`huber`, `welsch`: by this loss; `auto`: by Welsch's where the start looks gross",
     .szEffect = kAlways},
    {.field = &R::Snooping_Critical,
     .szName = "Snooping_Critical",
     .Limits = {0.1, 1e6},
     .fLow = 2,
     .fHigh = 10,
     .szMeaning = "a measurement is gross where its normalised residual is larger",
     .szEffect = "runs in which `Robust` is not none."},
    {.field = &R::Datum,
     .szName = "Datum",
     .Words = kDatums,
     .szMeaning =
         "what holds position, rotation and scale of the block: `control` points without GPS positions, "
         "`gps` "
         "positions without control, or the `inner` constraints of a free block; `auto`: all there is",
     .szEffect = kAlways},
    {.field = &R::Precision,
     .szName = "Precision",
     .Words = kExtents,
     .szMeaning = "what standard deviations are computed of: `none`; `images`, with their cameras; `all`, "
                  "with the points",
     .szEffect = kAlways},
    {.field = &R::Estimate_Variances,
     .szName = "Estimate_Variances",
     .szMeaning = "the standard deviations of the kinds of observations are estimated from their residuals",
     .szEffect = kAlways},
    {.field = &R::Corrected_Image,
     .szName = "Corrected_Image",
     .szMeaning =
         "residuals are those of measurements freed of their distortion, instead of the measured ones",
     .szEffect = kAlways},
    {.field = &R::Max_Iterations,
     .szName = "Max_Iterations",
     .szUnit = "iterations",
     .Limits = {1, 10000},
     .fLow = 10,
     .fHigh = 200,
     .szMeaning = "limit of the iterations",
     .szEffect = kAlways},
};

}  // namespace

std::span<const RigorousSetting> RigorousTable() { return kSettings; }

const RigorousSetting* FindRigorousSetting(std::string_view name) {
  const auto row =
      std::ranges::find_if(kSettings, [&](const RigorousSetting& one) { return name == one.szName; });
  return row == std::end(kSettings) ? nullptr : &*row;
}

}  // namespace orvo
