// Points and cameras as PLY files, for viewers of point clouds.
#pragma once

#include "base/TextWriter.h"
#include "exchange/views/ViewBlock.h"

namespace orvo::exchange {

/// Solved tie, control and check points, little-endian: x, y, z as doubles, rms (float, image units), rays
/// (ushort) and type (uchar: 0 tie, 1 control, 2 check).
void WritePointsPly(const ViewBlock& view, TextWriter& file);

/// Each image as a pyramid of four triangles: its top in the projection centre, its base the image, `depth`
/// object units off. Vertices have the ordinal of their image as a property.
void WriteCamerasPly(const SurveyBlock& block, double depth, TextWriter& file);

/// A depth at which the pyramids can be told apart: a third of the median distance between one image and the
/// next, or 1 where that is 0.
double PyramidDepth(const SurveyBlock& block);

}  // namespace orvo::exchange
