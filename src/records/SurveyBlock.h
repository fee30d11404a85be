// A survey block as its files give it: in file units and double precision, nothing left out, nothing
// repaired.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <string>
#include <vector>

#include "records/LensTerms.h"

namespace orvo {

/// A camera; lengths in image units (pixels). The image frame has its origin in the image centre, x to the
/// right, y up. A measurement is corrected to x - x0 - (x - x0) D, D = k1 r2 + k2 r2 r2, and by the further
/// terms.
struct SurveyCamera {
  int32_t nId = 0;
  int32_t nWidth = 0, nHeight = 0;
  double dFocal = 0, dX0 = 0, dY0 = 0, dK1 = 0, dK2 = 0;
  int64_t nLine = 0;  ///< in its file, from 1; 0 where it comes from no text
  LensTerms Further = {};
  bool bFurtherLost = false;  ///< its line is marked to have them, and they are not five finite numbers
};

/// An image. R (row-major) takes the camera frame (x right, y up, z back) to the object frame: the ray of a
/// measurement is R (x, y, -f). S is the projection centre in object units.
struct SurveyImage {
  int32_t nId = 0;
  int32_t nCamera = -1;  ///< ordinal
  std::string szPath;    ///< of the photograph, as written
  std::string szName;    ///< as POS lines give it: without folder and extension
  std::array<double, 9> R{};
  std::array<double, 3> S{};
  int64_t nLine = 0;  ///< the first of its four
};

struct SurveyMeasurement {
  int32_t nImage = -1;  ///< ordinal, as written: it may lie outside the block
  double x = 0, y = 0;  ///< image units
};

struct SurveyPoint {
  std::array<char, 32> szName{};  ///< ended by a zero byte
  std::array<double, 3> P{};      ///< object units
  int32_t nType = 0;              ///< 0 tie point, 1 control point, above 1 check point
  int32_t nMeasurementNum = 0;
  int64_t nFirstMeasurement = 0;  ///< among those of its table
  int64_t nPlace = 0;             ///< line of its name in a text, offset of its record in an .ovt
};

/// Points with their measurements, each point's in a row.
struct SurveyPoints {
  std::vector<SurveyPoint> Points;
  std::vector<SurveyMeasurement> Measurements;

  std::span<const SurveyMeasurement> Of(const SurveyPoint& point) const {
    return std::span(Measurements)
        .subspan(static_cast<size_t>(point.nFirstMeasurement), static_cast<size_t>(point.nMeasurementNum));
  }
};

/// A line of a POS file; angles in degrees.
struct SurveyPos {
  std::string szName;
  std::array<double, 3> S{};
  double dOmega = 0, dPhi = 0, dKappa = 0;
  int32_t nStrip = 0;
  int64_t nLine = 0;
};

struct SurveyBlock {
  std::vector<SurveyCamera> Cameras;
  std::vector<SurveyImage> Images;
  SurveyPoints Tie, Control;  ///< Control: control and check points of the GCP file
  std::vector<SurveyPos> Pos;
};

}  // namespace orvo
