// tracks.csv: which point was measured where.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

#include "exchange/PointStream.h"
#include "exchange/opensfm/Reconstruction.h"

namespace orvo::exchange {

struct SfmMeasurement {
  int32_t nImage = 0;
  double u = 0, v = 0;  ///< in units of the larger side of the image, from its centre, v down
};

/// Measurements by point, each point's in a row: those of point i from First[i] to First[i + 1].
struct SfmTracks {
  std::vector<int64_t> First;
  std::vector<SfmMeasurement> Measurements;
  int64_t nWithoutShot = 0;   ///< in images that have no orientation
  int64_t nWithoutPoint = 0;  ///< of tracks that have no coordinates
};

/// Of the points and shots of a reconstruction. Throws ExchangeFault.
SfmTracks ReadTracks(const std::string& path, const SfmReconstruction& reconstruction);

}  // namespace orvo::exchange
