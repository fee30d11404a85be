// From the frame of a block to coordinate systems of the earth.
#pragma once

#include <array>
#include <functional>

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/ResultReading.h"
#include "exchange/crs/CoordinateSystems.h"

namespace orvo::exchange {

/// Where a block lies on the earth.
struct BlockOnEarth {
  BlockFrame Frame;
  bool bHeights = false;  ///< its Z are heights of a known kind
};

/// By the coordinate system that the user names for the block, else by the sidecar of its project (see
/// SidecarOf). Throws ExchangeFault where neither tells it, the two contradict each other, the frame is that
/// of control to which the block was never adjusted, or PROJ does not know it.
BlockOnEarth FindBlockOnEarth(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log);

/// Places of a block's frame in another system: east, north (or longitude, latitude), height. The height of a
/// block without known heights is NaN. Throws ExchangeFault, also when it is called.
using PlaceOnEarth = std::function<std::array<double, 3>(const std::array<double, 3>&)>;
/// Longitude and latitude in degrees of WGS 84, height above its ellipsoid.
PlaceOnEarth ToWgs84(const BlockOnEarth& block);
/// In the system `crs`; heights are above the ellipsoid where it does not say what they are. Refused where it
/// has heights and the block has none that are known.
PlaceOnEarth ToSystem(const BlockOnEarth& block, const std::string& crs);

}  // namespace orvo::exchange
