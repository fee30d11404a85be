// The records of a block, as they stand in memory.
#pragma once

#include <cstdint>
#include <vector>

#include "records/LensTerms.h"

namespace orvo {

/// Exterior orientation of one image. Position in working object units, angles in radians.
struct EopRecord {
  int32_t nStatus = 0;  ///< 1: left out of every update
  double fTime = 0;     ///< flight time along the strip, seconds
  double X = 0, Y = 0, Z = 0;
  double fPhi = 0, fOmega = 0, fKappa = 0;
};

/// One GPS/IMU observation, in the form of the orientation that it observes.
using PosRecord = EopRecord;
/// nStatus of the PosRecord of an image that has no line in the POS file; such a record observes nothing.
inline constexpr int32_t kPosNotObserved = 1;

/// Interior orientation of one camera, in working image units (file units times Image_Coor_Scale).
struct IopRecord {
  int32_t nImageHeight = 0, nImageWidth = 0;  ///< extent in file units (pixels)
  double fFocal = 0, fPrincipalX = 0, fPrincipalY = 0;
  double fK1 = 0, fK2 = 0;  ///< radial distortion, subtracted from the measurement
  LensTerms Further = {};   ///< counts for nothing where the camera is not strict
  /// Of the rigorous method: every form that corrects a measurement does so as the observation equations do,
  /// and with all terms.
  bool bStrict = false;
};

/// One tie, control or check point.
struct ObjectPointRecord {
  char szName[32] = {};
  double X = 0, Y = 0, Z = 0;
  int32_t nType = 0;  ///< 0 tie point, 1 control point, above 1 check point
  int32_t nImagePointNum = 0;
  int64_t nFirstImagePoint = 0;  ///< index of its first measurement in pImagePoints
};

/// One measurement. x and y in working image units.
struct ImagePointRecord {
  int32_t nImage = 0;   ///< index into pEop, -1 on a deleted image
  int32_t nCamera = 0;  ///< index into pIop, -1 for a deleted camera
  int32_t nObjectPoint = 0;
  float x = 0, y = 0;
};

/// The division of all object points into runs that fit in memory. All ranges are inclusive.
struct PointSectionTable {
  struct Range {
    int64_t nFirst = 0, nLast = 0;
    int64_t Count() const { return nLast - nFirst + 1; }
  };
  std::vector<Range> ObjectPoints;  ///< in the one numbering of object points: tie points, then GCP
  std::vector<Range> ImagePoints;
  int32_t Count() const { return static_cast<int32_t>(ObjectPoints.size()); }
};

}  // namespace orvo
