// The figures of a run from its parts.
//
// There are two moments. Behind the last iteration coordinates may still be normalised, points are read once
// more, and the POS data is there:
//   FigurePass pass(FigurePassInputOf(sources), threads); pass.Add(...) for each section;
//   FillFromPass(sources, pass, figures);
// the latter once the track knows its fGsd.
// At the end of the run, with coordinates as in the files and behind the reports of control and check points:
//   FillFromEnd(sources, ground, figures);
// A run without adjustment calls all of it at the end.
#pragma once

#include "report/FigurePass.h"
#include "report/FigureSources.h"
#include "verdict/GroundPoints.h"

namespace orvo::report {

/// Orientations, cameras and limits as in the verdict's pass. `unit`: working image units that the statistics
/// of residuals are taken to be in, see PassInputOf.
FigurePassInput FigurePassInputOf(const FigureSources& from, double unit = 1);

/// Residuals but for the listed ones, vImages, vCameras, Pos, Points. Coordinates come out in the frame of
/// the files whatever frame they stand in. Points.fGsd is that of the track.
void FillFromPass(const FigureSources& from, const FigurePass& pass, RunFigures& figures);

/// The listed residuals and Ground, and Counts where nobody has filled them. Needs neither pass nor POS data.
void FillFromEnd(const FigureSources& from, const GroundPoints& ground, RunFigures& figures);

/// Counts as they are known before the first iteration; later, POS data may have been released and points
/// counted anew. nTiePointsInFile is left to those who know it and becomes nTiePoints where it is less.
/// Unknowns and redundancy once the unknowns are laid out.
void FillCounts(const FigureSources& from, BlockCounts& counts);

}  // namespace orvo::report
