// Where measurements and control points stand in their text file.
#pragma once

#include <cstdint>
#include <span>
#include <string>

#include "base/InputFiles.h"

namespace orvo {

/// What is looked for: a measurement of a point, or the point itself.
struct MeasurementLine {
  std::string szPoint;
  int32_t nMeasurement = -1;  ///< of the point's, in the order of the file; below 0: the point's own line
  double x = 0, y = 0;        ///< as measured, file units: tells points of one name apart
  int64_t nLine = 0;          ///< found there, counted from 1; 0: nowhere
};

/// `wanted` are in the order of the file; behind one that is not in it, none is found. Points begin at the
/// byte `begin` of a text project, or behind the first line of a GCP file. Of points that share a name, a
/// measurement is one whose coordinates agree to 1e-5 of them.
void FindMeasurementLines(const std::string& path, int64_t begin, InputFiles& inputs,
                          std::span<MeasurementLine> wanted);

/// The place behind the count line of a GCP file; 0 where it can't be read.
int64_t FirstPointOfGcp(const std::string& path, InputFiles& inputs);

}  // namespace orvo
