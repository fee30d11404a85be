// Pictures of residuals.
#pragma once

#include <string>

#include "report/RunFigures.h"

namespace orvo::report {

/// Percent of the measurements in the highest bar where it is cut off, for it would leave no room for the
/// others; 0 where it is not.
double CutShare(const Histogram& histogram, double rmse, int64_t number);

/// Bars of a histogram in percent of `number` measurements, and the normal curve of standard deviation `rmse`
/// about 0. `axis` is "x" or "y". Empty where there is nothing to draw.
std::string HistogramPicture(const Histogram& histogram, double rmse, int64_t number, const char* axis);

/// Pixels of a field's picture that a mean residual of a pixel gets: arrows of the longest cells that count
/// stay within two cells. 0 where there is none.
double FieldScale(const CameraFigure& camera);

/// How many times longer than in the image the arrows of that scale are; 0 where its size is not known.
double FieldMagnification(const CameraFigure& camera, double scale);

/// Mean residuals of the cells with measurements enough, as arrows of `scale`, with a key arrow of round
/// length. Those beyond three times what noise would leave are drawn stronger. Empty without cells.
std::string FieldPicture(const CameraFigure& camera, double scale);

/// RMSE along and across the radius, and the mean along it, by rings with measurements enough. Empty without.
std::string RingPicture(const CameraFigure& camera);

}  // namespace orvo::report
