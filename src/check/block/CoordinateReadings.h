// What given coordinates may mean other than E, N, H in the unit of the block.
#pragma once

#include <array>
#include <span>
#include <string>
#include <vector>

#include "geometry/RobustSimilarity.h"

namespace orvo {

enum class CoordinateFault { Exchanged, Feet, HeightInFeet, Sign, HeightOffset };

/// right = factors times (given, its first two exchanged where bExchanged).
struct CoordinateReading {
  CoordinateFault Fault;
  const char* szWhat;   ///< clause behind "coordinates"
  const char* szWrite;  ///< what helps
  bool bExchanged;
  Position3 Factor;
  bool bMirror;  ///< it turns a left-handed frame into a right-handed one
};

/// E and N exchanged, international and US survey feet in all three or in height alone, signs. Two of them at
/// once turn about Z, as frames of their own are.
std::span<const CoordinateReading> AllCoordinateReadings();

Position3 Read(const CoordinateReading& reading, const Position3& given);
std::vector<Position3> Read(const CoordinateReading& reading, std::span<const Position3> given);

/// True of longitude and latitude in degrees beside heights in metres: everything within 180 of 0, apart by
/// less than a degree in plan and by 20 times that or more from height 0.
bool LooksGeographic(std::span<const Position3> given);

}  // namespace orvo
