#include "exchange/survey/Strips.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <map>
#include <numbers>
#include <numeric>

#include "base/PrintableName.h"

namespace orvo::exchange {
namespace {

constexpr double kFarGap = 3, kLongGap = 5;
constexpr double kTurn = 45;       ///< degrees
constexpr double kStanding = 0.2;  ///< of the median distance: a shorter one has no heading

/// From one image to the next.
struct Leg {
  double dEast = 0, dNorth = 0, dSeconds = 0;
  double Length() const { return std::hypot(dEast, dNorth); }
};

double Median(std::vector<double> values) {
  if (values.empty()) return 0;
  const auto middle = values.begin() + static_cast<std::ptrdiff_t>(values.size() / 2);
  std::nth_element(values.begin(), middle, values.end());
  return *middle;
}

/// Degrees between the two, from 0 to 180; 0 where one has no direction.
double Turn(const Leg& a, const Leg& b) {
  if (a.Length() == 0 || b.Length() == 0) return 0;
  const double cross = a.dEast * b.dNorth - a.dNorth * b.dEast, dot = a.dEast * b.dEast + a.dNorth * b.dNorth;
  return std::abs(std::atan2(cross, dot)) * 180 / std::numbers::pi;
}

std::vector<size_t> InOrder(std::span<const StripImage> images) {
  std::vector<size_t> order(images.size());
  std::iota(order.begin(), order.end(), size_t{0});
  const bool timed = std::all_of(images.begin(), images.end(),
                                 [](const StripImage& image) { return image.Seconds.has_value(); });
  if (timed) {
    std::stable_sort(order.begin(), order.end(),
                     [&](size_t a, size_t b) { return *images[a].Seconds < *images[b].Seconds; });
  }
  return order;
}

class StripFinder {
 public:
  StripFinder(std::span<const StripImage> images, std::vector<size_t> order) : Order(std::move(order)) {
    std::vector<double> lengths, seconds;
    for (size_t i = 0; i + 1 < Order.size(); ++i) {
      const StripImage &from = images[Order[i]], &to = images[Order[i + 1]];
      Leg leg{to.dEast - from.dEast, to.dNorth - from.dNorth, 0};
      if (from.Seconds && to.Seconds) leg.dSeconds = *to.Seconds - *from.Seconds;
      lengths.push_back(leg.Length());
      seconds.push_back(leg.dSeconds);
      Legs.push_back(leg);
    }
    dLength = Median(lengths);
    dSeconds = Median(seconds);
  }

  std::vector<Strip> Find() {
    Strip strip;
    Leg way;  // of the strip so far
    for (size_t i = 0; i < Order.size(); ++i) {
      strip.Images.push_back(Order[i]);
      if (i == Legs.size()) break;
      const bool gap = IsGap(Legs[i]);
      const bool turn = !gap && IsTurn(way, Legs[i]);
      if (!gap && !turn) {
        if (HasHeading(Legs[i])) way = {way.dEast + Legs[i].dEast, way.dNorth + Legs[i].dNorth, 0};
        continue;
      }
      // The strip that begins here is the flight's: the last image was on its way into it.
      if (turn && strip.Images.size() == 2 && i + 1 < Legs.size() && !IsGap(Legs[i + 1]) &&
          Turn(Legs[i], Legs[i + 1]) <= kTurn) {
        strip.Images.pop_back();
        End(strip);
        strip.Images.push_back(Order[i]);
        way = Legs[i];
        continue;
      }
      End(strip);
      way = {};
    }
    End(strip);
    return std::move(Strips);
  }

 private:
  bool IsGap(const Leg& leg) const {
    return leg.Length() > kFarGap * dLength || (dSeconds > 0 && leg.dSeconds > kLongGap * dSeconds);
  }
  bool HasHeading(const Leg& leg) const { return leg.Length() > kStanding * dLength; }
  bool IsTurn(const Leg& way, const Leg& leg) const { return HasHeading(leg) && Turn(way, leg) > kTurn; }
  void End(Strip& strip) {
    if (!strip.Images.empty()) Strips.push_back(std::move(strip));
    strip = {};
  }

  std::vector<size_t> Order;
  std::vector<Leg> Legs;
  double dLength = 0, dSeconds = 0;
  std::vector<Strip> Strips;
};

void SetHeadings(std::span<const StripImage> images, std::vector<Strip>& strips) {
  for (Strip& strip : strips) {
    const StripImage &first = images[strip.Images.front()], &last = images[strip.Images.back()];
    const double heading =
        std::atan2(last.dEast - first.dEast, last.dNorth - first.dNorth) * 180 / std::numbers::pi;
    strip.dHeading = heading < 0 ? heading + 360 : heading;
  }
}

}  // namespace

std::vector<Strip> FindStrips(std::span<const StripImage> images) {
  std::vector<Strip> strips = StripFinder(images, InOrder(images)).Find();
  SetHeadings(images, strips);
  return strips;
}

std::vector<Strip> StripsByNumber(std::span<const StripImage> images, std::span<const int64_t> numbers) {
  std::map<int64_t, size_t> places;
  std::vector<Strip> strips;
  for (const size_t i : InOrder(images)) {
    const auto [place, isNew] = places.emplace(numbers[i], strips.size());
    if (isNew) strips.emplace_back();
    strips[place->second].Images.push_back(i);
  }
  SetHeadings(images, strips);
  return strips;
}

std::string LineOf(const Strip& strip, size_t number, std::span<const StripImage> images) {
  const std::string first = PrintableName(images[strip.Images.front()].szName);
  if (strip.Images.size() == 1)
    return fmt::format("Strip {}: 1 image, {}, which is alone and will not be observed", number, first);
  return fmt::format("Strip {}: {} images, {} to {}, heading {:.0f} degrees", number, strip.Images.size(),
                     first, PrintableName(images[strip.Images.back()].szName), strip.dHeading);
}

}  // namespace orvo::exchange
