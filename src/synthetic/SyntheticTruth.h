// What is known of a generated block: the truth, and the start values that its files hold.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "synthetic/GroundPoints.h"
#include "synthetic/SyntheticScene.h"

namespace orvo {

struct SyntheticCounts {
  int64_t nImages = 0, nCameras = 0, nStrips = 0;
  int64_t nTiePoints = 0, nTieMeasurements = 0;  ///< in the project
  int64_t nOutliers = 0;                         ///< of these measurements
  int64_t nControlPoints = 0, nCheckPoints = 0;
  int64_t nGroundMeasurements = 0;  ///< in the GCP file
  int32_t nMaxRays = 0;             ///< of a tie point
  double fMeanRays = 0;             ///< of the tie points
};

/// Errors of one strip's POS records: offset plus flight time times drift. X, Y, Z in metres, then phi,
/// omega, kappa in radians; drifts per second.
struct SyntheticStripError {
  double fOffset[6] = {}, fDrift[6] = {};
};

/// Start orientation of an image, in the start frame.
struct SyntheticStart {
  double X = 0, Y = 0, Z = 0;
  double R[9] = {};
};

struct SyntheticTrueTiePoint {
  std::string szName;
  double X = 0, Y = 0, Z = 0;
};

struct SyntheticTruth {
  SyntheticOptions Options;
  SyntheticCounts Counts;
  std::vector<SyntheticCamera> pCameras;
  std::vector<SyntheticCamera> pStartCameras;
  std::vector<SyntheticImage> pImages;
  std::vector<SyntheticStart> pStarts;  ///< by image ordinal
  std::vector<SyntheticStripError> pStripErrors;
  std::vector<SyntheticGroundPoint> pGroundPoints;
  std::vector<SyntheticTrueTiePoint> pTiePoints;  ///< by ordinal; empty above Options.nTruthPointLimit
};

std::vector<SyntheticCamera> MakeStartCameras(const SyntheticScene& scene);
std::vector<SyntheticStart> MakeStarts(const SyntheticScene& scene);
std::vector<SyntheticStripError> MakeStripErrors(const SyntheticScene& scene);

/// "T0000123".
std::string TiePointName(int64_t ordinal);
/// "IMG_001124", without folder and extension; by the image's ID.
std::string ImageName(const SyntheticImage& image);

}  // namespace orvo
