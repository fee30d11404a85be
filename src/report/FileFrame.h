// Coordinates as in the files of control and GPS from those that a run works with. Object_Coor_Scale does not
// act on these files, so the working units are theirs.
#pragma once

#include "records/ObjectFrame.h"
#include "report/RunFigures.h"

namespace orvo::report {

/// Units of the files in a unit of the frame.
inline double FileUnits(const ObjectFrame& frame) { return frame.bNormalized ? 1 / frame.dCoorScale : 1; }

inline Triple InFileFrame(const ObjectFrame& frame, double X, double Y, double Z) {
  if (!frame.bNormalized) return {X, Y, Z};
  return {X / frame.dCoorScale + frame.dCoorMean[0], Y / frame.dCoorScale + frame.dCoorMean[1],
          Z / frame.dCoorScale + frame.dCoorMean[2]};
}

}  // namespace orvo::report
