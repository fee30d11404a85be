// What is told of the precision of an adjusted block: figures in the units of the files.
// Standard deviations are roots of cofactors times sigma0 of the adjustment, or times 1 where nothing is
// redundant. Where nothing holds the datum, they are those of inner constraints (rigorous/NodeCovariance.h).
#pragma once

#include <cstdint>
#include <limits>
#include <optional>
#include <string>
#include <vector>

#include "records/RigorousSettings.h"
#include "rigorous/Adjust.h"
#include "rigorous/GlobalTest.h"
#include "rigorous/OwnRows.h"
#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// Correlations beyond it are told.
inline constexpr double kToldCorrelation = 0.95;

/// Of an image that is unknown.
struct ImagePrecision {
  int32_t nImage = 0;
  Vector3 Centre{};  ///< object units
  Vector3 Angles{};  ///< phi, omega, kappa, degrees; not finite at omega of plus or minus 90 degrees
};

struct CameraQuantity {
  const char* szName = "";
  const char* szUnit = "";
  double fValue = 0, fDeviation = 0;

  /// Value by standard deviation; 0 where there is no deviation.
  double T() const { return fDeviation > 0 ? fValue / fDeviation : 0; }
};

struct CorrelatedPair {
  size_t nFirst = 0, nSecond = 0;  ///< in the quantities of the camera
  double fCorrelation = 0;
};

/// Unknown lens (pixels), lever arm (object units) and boresight (phi, omega, kappa in degrees) of a camera.
struct CameraPrecision {
  int32_t nCamera = 0;
  std::vector<CameraQuantity> vQuantities;
  std::vector<CorrelatedPair> vPairs;  ///< beyond kToldCorrelation
};

inline constexpr Vector3 kNoNumber3 = {std::numeric_limits<double>::quiet_NaN(),
                                       std::numeric_limits<double>::quiet_NaN(),
                                       std::numeric_limits<double>::quiet_NaN()};

enum class PointKind : uint8_t { Tie, Control, Check };

struct GroundPrecision {
  int64_t nPoint = 0;  ///< of the problem
  PointKind Kind = PointKind::Tie;
  bool bDetermined = false;
  Vector3 Deviation{};  ///< of X, Y, Z, object units; 0 where the point is not determined
  int32_t nRays = 0;    ///< that are in use
  /// Residual of control by its standard deviation, and difference of a check point (given less adjusted) by
  /// that of the difference. These and the next are no number where nothing is observed or can be tested.
  Vector3 Test = kNoNumber3;
  Vector3 Redundancy = kNoNumber3;  ///< of control
  Vector3 Error = kNoNumber3;       ///< of control: its gross error as the others tell it, object units
  Vector3 Smallest = kNoNumber3;    ///< of control: gross error that is found with 80 %, object units
  Vector3 Effect = kNoNumber3;      ///< of control: see Reliability.h
};

/// A GPS position or an attitude, by its component with the largest |w|.
struct OwnTest {
  OwnKind Kind = OwnKind::Gps;
  int32_t nImage = 0, nComponent = 0;
  double fW = 0;
  double fError = 0;  ///< gross error as the others tell it: object units, radians
  double fRedundancy = 0;
  double fSmallest = 0, fEffect = 0;  ///< see Reliability.h; the former in the unit of the error
};

/// A measurement that is in use and that the rest contradicts, by its component with the larger |w|.
struct RayTest {
  int64_t nPoint = 0, nRay = 0;  ///< of the problem
  int32_t nImage = 0, nComponent = 0;
  double fW = 0;
  double fError = 0;  ///< gross error as the others tell it, unit of the measurements
  double fRedundancy = 0;
  double fSmallest = 0, fEffect = 0;
};

/// In so many of 100 sound blocks a single measurement is told.
inline constexpr double kFalseAlarm = 0.05;

/// What was surveyed of a point that is no observation.
struct CheckPoint {
  int64_t nPoint = 0;  ///< of the problem
  Vector3 Given{}, Sigma{};
};

enum class UnknownOwner : uint8_t { Image, Strip, Camera, None };

/// Why there are no standard deviations.
struct PrecisionRefusal {
  UnknownOwner Owner = UnknownOwner::None;  ///< of the unknown that the observations leave open
  int32_t nOwner = -1;                      ///< its number in the problem
  std::string szUnknown;                    ///< "Y", "rotation about x", "k1"; without an owner the reason
};

struct PrecisionFigures {
  double fSigma0 = 0;  ///< a posteriori
  double fUnit = 1;    ///< what the roots of cofactors are multiplied by
  GlobalTest Test;
  int32_t nDatumDefect = 0;
  std::vector<std::string> vFree;  ///< words for the free motions, each once
  std::optional<PrecisionRefusal> Refusal;
  std::vector<ImagePrecision> vImages;
  std::vector<CameraPrecision> vCameras;   ///< those with unknowns
  ScratchVector<GroundPrecision> vPoints;  ///< by point
  std::vector<OwnTest> vOwnTests;          ///< GPS and IMU whose |w| is above PrecisionInput::fCritical
  /// Measurements with |w| beyond chance in the whole block, see kFalseAlarm, and above
  /// PrecisionInput::fCritical: the largest first, one a point.
  std::vector<RayTest> vRayTests;
};

struct PrecisionInput {
  const Problem& Task;
  const Estimate& At;          ///< the result
  const AdjustResult& Result;  ///< of the last least squares
  PrecisionExtent Extent = PrecisionExtent::Images;
  double fImageScale = 1;                     ///< working image units of a pixel; not 0
  std::vector<CheckPoint> vCheckPoints = {};  ///< by ascending point
  double fCritical = 3.29;
  int32_t nThreads = 1;
};

/// None: sigma0, its test and the datum alone. Images: of points only control and check points. The same bits
/// for any number of threads.
PrecisionFigures PrecisionFiguresOf(const PrecisionInput& input);

}  // namespace orvo::rigorous
