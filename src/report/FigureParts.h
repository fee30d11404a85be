// The parts that FiguresOfRun puts together, each from the values it rests on.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "report/FigurePass.h"
#include "report/FigureSources.h"
#include "report/PlainSums.h"
#include "verdict/GroundPoints.h"

namespace orvo::report {

/// Row of pIop of each kept image, -1 without a camera.
std::vector<int32_t> CameraRowsOf(const ImageTable& images, const CameraTable& cameras);

/// Every kept image, in their order. The footprint is where the rays of the corners of the image, without
/// distortion, meet the mean height of its points; none where one of them meets it only behind the camera or
/// farther off than ten times the height.
std::vector<ImageFigure> ImageFiguresOf(const FigureSources& from, const FigureSums& sums);

/// Every row of cameras that may be used, with those that no image stands on. Without cameras of the start,
/// those of the end stand for them.
std::vector<CameraFigure> CameraFiguresOf(const FigureSources& from, const FigurePass& pass,
                                          const FigureSums& sums);

/// NaN but for the number where there are none.
ResidualFigure FigureOf(const PlainSums& sums);

/// Strict residuals, histograms and counts; the listed figures stay. Gross ones are not known where no point
/// could be intersected.
void FillStrictResiduals(const FigurePass& pass, const FigureSums& sums, ResidualFigures& figures);

/// Figures of tie points. `gsd`: object units of a pixel, 0 where it is not known.
PointFigures PointFiguresOf(const FigureSums& sums, double gsd);

/// Differences and drift of the POS data, nothing where none takes part in an adjustment. `rmse`: strict
/// residuals, pixels.
///
/// A weight p stands for the standard deviation sigma_0 / sqrt(p), where sigma_0 is that of a measurement of
/// weight 1: the strict RMSE of a coordinate, times Image_Coor_Scale, in working units. It comes out in
/// working object units and is divided by dCoorScale where coordinates are normalised.
std::optional<PosFigures> PosFiguresOf(const FigureSources& from, const Pair& rmse);

/// Control and check points, with coordinates as in the files: unweighted intersection less given place.
/// Points of type 0 are left out. Listed figures are those of the run.
GroundFigures GroundFiguresOf(const FigureSources& from, const GroundPoints& ground);

}  // namespace orvo::report
