// The frame that object coordinates stand in.
#pragma once

namespace orvo {

/// A normalised coordinate is (the file's - dCoorMean) * dCoorScale.
struct ObjectFrame {
  double dCoorMean[3] = {};
  double dCoorScale = 1.0;
  bool bNormalized = false;  ///< the data is shifted and scaled now
  float fGsd = 0.1f;         ///< ground size of one file image unit

  bool bSevenParamApplied = false;  ///< orientations were transformed onto control points or GPS positions
  double fSevenParam[16] = {};
};

}  // namespace orvo
