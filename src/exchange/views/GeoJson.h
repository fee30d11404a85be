// Images, footprints and control on the map, after RFC 7946.
#pragma once

#include "base/TextWriter.h"
#include "exchange/views/MapOfBlock.h"
#include "exchange/views/ViewBlock.h"

namespace orvo::exchange {

/// One feature a line: a point for each projection centre, a polygon for each footprint, a point for each
/// control and check point, and a line from each along its difference, drawn larger so that it can be seen.
/// The kind of a feature stands in its property "kind": centre, footprint, control, check, difference.
/// Polygons are counter-clockwise; one that crosses the antimeridian is cut there. Throws what `toGeographic`
/// throws; heights that are NaN are left out.
void WriteGeoJson(const ViewBlock& view, const PlaceOnEarth& toGeographic, TextWriter& file);

/// By how much differences are drawn larger: the largest becomes about a twentieth of the extent of the
/// projection centres, by 1, 2 or 5 times a power of ten. 1 where there is nothing to draw.
double ExaggerationOf(const ViewBlock& view);

}  // namespace orvo::exchange
