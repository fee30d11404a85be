// The map of a block's images and ground points, and what its pictures have in common.
#pragma once

#include <vector>

#include "report/html/Extent.h"
#include "report/html/Frames.h"

namespace orvo::report {

inline constexpr double kPlanWidth = 640, kPlanLeft = 34;

/// Of all images and ground points but those that lie far away from the rest.
Map PlanMapOf(const RunFigures& figures);

/// Triangles for control, rings for check points, with their names where there is room and they are `most` at
/// most. `size`: of the signs, times their usual one.
void DrawGroundPoints(Svg& svg, const Map& map, const std::vector<GroundPointFigure>& points, LabelRoom& room,
                      size_t most, double size = 1);
/// Entries for those kinds of ground points that there are.
void AppendGroundLegend(const std::vector<GroundPointFigure>& points, std::vector<LegendEntry>& legend);

/// Height of a picture of this map with scale bar and legend below.
double PlanHeight(const Map& map, const std::vector<LegendEntry>& legend);
/// Scale bar, north arrow and legend below the map.
void FinishPlan(Svg& svg, const Map& map, const std::vector<LegendEntry>& legend);

}  // namespace orvo::report
