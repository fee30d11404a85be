// A block as tables, for spreadsheets: comma-separated values after RFC 4180, with a line of headings.
#pragma once

#include <string>
#include <string_view>

#include "base/TextWriter.h"
#include "exchange/views/ViewBlock.h"

namespace orvo::exchange {

/// Appends the text, in quotes where it holds a comma, a quote or the end of a line.
void AppendField(std::string& out, std::string_view text);

/// A line an image: name, path, camera, X, Y, Z, angles of both systems in degrees, measurements, and the RMS
/// of its residuals.
void WriteOrientations(const ViewBlock& view, TextWriter& file);
/// A line a camera: ordinal, ID, extent, f, x0, y0, k1, k2.
void WriteCameras(const SurveyBlock& block, TextWriter& file);
/// A line a tie point that is solved: name, X, Y, Z, rays, RMS.
void WritePoints(const ViewBlock& view, TextWriter& file);
/// A line a control or check point: name, role, given X, Y, Z, intersected minus given, rays, RMS. Empty
/// fields where it is not solved.
void WriteControl(const ViewBlock& view, TextWriter& file);
/// A line a measurement of a solved point: point, role, image, x, y as measured, vx, vy.
void WriteResiduals(const ViewBlock& view, TextWriter& file);

}  // namespace orvo::exchange
