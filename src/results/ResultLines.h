// The lines of the result forms (.ovc and .rst), from values in working units.
#pragma once

#include <cstdint>
#include <string>

#include "base/TextReader.h"
#include "block/ProjectText.h"
#include "geometry/camera/ListingResidual.h"
#include "records/Records.h"

namespace orvo {

/// The next line as it is copied through: LF behind it, also where the file has none any more. A piece of a
/// line that goes on has no line end, so that whatever follows is read as the next piece again.
std::string TakeLine(TextReader& file);

/// The camera with its `ordinal`, extent and reserved real of the input line, and the columns that no reader
/// looks at as 0. `imageScale`: file image units to working units.
void AppendCameraLine(std::string& out, int32_t ordinal, const CameraLine& line, const IopRecord& camera,
                      double imageScale);
/// Nine elements, row after row.
void AppendRotationLine(std::string& out, const double* R);
/// X, Y, Z in file units; `objectScale`: file object units to working units.
void AppendPositionLine(std::string& out, const EopRecord& image, double objectScale);
/// X, Y, Z in file units, then phi, omega, kappa.
void AppendOrientationLine(std::string& out, const EopRecord& image, double objectScale);
/// Name, X, Y, Z as they stand, and type.
void AppendPointLine(std::string& out, const ObjectPointRecord& point);
/// Image ordinal, x, y and residual, in file units.
void AppendMeasurementLine(std::string& out, int32_t imageOrdinal, float x, float y,
                           const ImageResidual& residual, double imageScale);

}  // namespace orvo
