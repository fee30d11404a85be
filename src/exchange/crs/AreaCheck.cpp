#include "exchange/crs/AreaCheck.h"

#include <algorithm>
#include <cmath>
#include <optional>
#include <vector>

#include "exchange/crs/ProjObjects.h"

namespace orvo::exchange {

#ifdef ORVO_HAS_PROJ

namespace {

constexpr double kMargin = 1;  ///< degrees

using Place = std::array<double, 3>;

double MiddleOf(std::span<const Place> places, size_t axis) {
  std::vector<double> values;
  for (const Place& place : places) values.push_back(place[axis]);
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

class Area {
 public:
  Area(const ProjContext& context, const ProjSystem& system) : Limits(system.Facts.WestSouthEastNorth) {
    if (!system.Facts.bProjected) return;
    const ProjHandle<PJ> geographic(proj_crs_get_geodetic_crs(context.Get(), system.pHorizontal.get()));
    std::string note;
    if (geographic) pToDegrees = CreateOperation(context, system.pHorizontal.get(), geographic.get(), note);
  }

  bool Holds(double east, double north) const {
    double longitude = east, latitude = north;
    if (pToDegrees) {
      try {
        const Place degrees = Transformed(pToDegrees.get(), PJ_FWD, {east, north, 0});
        longitude = degrees[0], latitude = degrees[1];
      } catch (const CrsFault&) {
        return false;
      }
    }
    const auto& [west, south, right, upper] = *Limits;
    const bool across = west > right;
    const bool within = across ? longitude >= west - kMargin || longitude <= right + kMargin
                               : longitude >= west - kMargin && longitude <= right + kMargin;
    return within && latitude >= south - kMargin && latitude <= upper + kMargin;
  }

 private:
  std::optional<std::array<double, 4>> Limits;
  ProjHandle<PJ> pToDegrees;
};

std::string Outside(const SourceSystem& source, std::span<const Place> places, bool refuseExchanged) {
  const ProjContext context;
  const ProjSystem system = CreateSystem(context, source, false);
  if (!system.Facts.WestSouthEastNorth || system.Facts.bGeocentric || places.empty()) return {};
  const Area area(context, system);
  const double east = MiddleOf(places, 0), north = MiddleOf(places, 1);
  if (!std::isfinite(east) || !std::isfinite(north) || area.Holds(east, north)) return {};
  if (refuseExchanged && area.Holds(north, east)) {
    throw CrsFault("the coordinates lie outside the area of " + system.Facts.szName +
                       ", and within when east and north are exchanged",
                   system.Facts.bGeographic ? "Exchange longitude and latitude in the file"
                                            : "Exchange east and north in the file");
  }
  return "The coordinates lie outside the area in which " + system.Facts.szName + " is used.";
}

}  // namespace

std::string CheckArea(const SourceSystem& source, std::span<const Place> places) {
  return Outside(source, places, true);
}
std::string OutsideArea(const SourceSystem& source, std::span<const Place> places) {
  return Outside(source, places, false);
}

#else

std::string CheckArea(const SourceSystem&, std::span<const std::array<double, 3>>) { return {}; }
std::string OutsideArea(const SourceSystem&, std::span<const std::array<double, 3>>) { return {}; }

#endif

}  // namespace orvo::exchange
