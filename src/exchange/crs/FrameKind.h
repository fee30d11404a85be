// The frames that coordinates of a coordinate system can come into.
#pragma once

namespace orvo::exchange {

enum class FrameKind {
  AsIs,        ///< coordinates as they stand
  Projected,   ///< east, north and height of a projected system, in metres
  Topocentric  ///< east, north, up of the plane that touches the ellipsoid of WGS 84 at an origin
};

}  // namespace orvo::exchange
