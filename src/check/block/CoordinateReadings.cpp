#include "check/block/CoordinateReadings.h"

#include <algorithm>
#include <cmath>

namespace orvo {
namespace {

using F = CoordinateFault;
constexpr double kFoot = 0.3048, kSurveyFoot = 1200.0 / 3937.0;

#define ORVO_EXCHANGE "Write easting first, then northing"
#define ORVO_SIGN "Write it with the other sign: X east, Y north, Z up"

constexpr CoordinateReading kReadings[] = {
    {F::Exchanged, "have easting and northing exchanged", ORVO_EXCHANGE, true, {1, 1, 1}, true},
    {F::Feet, "are in feet", "Write metres: times 0.3048", false, {kFoot, kFoot, kFoot}, false},
    {F::Feet,
     "are in US survey feet",
     "Write metres: times 1200/3937",
     false,
     {kSurveyFoot, kSurveyFoot, kSurveyFoot},
     false},
    {F::HeightInFeet,
     "have heights in feet",
     "Write heights in metres: times 0.3048",
     false,
     {1, 1, kFoot},
     false},
    {F::Sign, "have the wrong sign in X", ORVO_SIGN, false, {-1, 1, 1}, true},
    {F::Sign, "have the wrong sign in Y", ORVO_SIGN, false, {1, -1, 1}, true},
    {F::Sign, "have the wrong sign in Z", ORVO_SIGN, false, {1, 1, -1}, true},
};

#undef ORVO_EXCHANGE
#undef ORVO_SIGN

}  // namespace

std::span<const CoordinateReading> AllCoordinateReadings() { return kReadings; }

Position3 Read(const CoordinateReading& reading, const Position3& given) {
  Position3 result = given;
  if (reading.bExchanged) std::swap(result[0], result[1]);
  for (size_t k = 0; k < 3; ++k) result[k] *= reading.Factor[k];
  return result;
}

std::vector<Position3> Read(const CoordinateReading& reading, std::span<const Position3> given) {
  std::vector<Position3> results;
  results.reserve(given.size());
  for (const Position3& each : given) results.push_back(Read(reading, each));
  return results;
}

bool LooksGeographic(std::span<const Position3> given) {
  if (given.size() < 2) return false;
  Position3 low = given.front(), high = given.front();
  for (const Position3& each : given) {
    for (size_t k = 0; k < 3; ++k) {
      low[k] = std::min(low[k], each[k]);
      high[k] = std::max(high[k], each[k]);
    }
  }
  const double plan = std::hypot(high[0] - low[0], high[1] - low[1]);
  const double height = std::max(std::fabs(low[2]), std::fabs(high[2]));
  const bool within = low[0] >= -180 && high[0] <= 180 && low[1] >= -180 && high[1] <= 180;
  return within && plan > 0 && plan < 1 && height > 20 * plan;
}

}  // namespace orvo
