#include "info/Strips.h"

#include <algorithm>
#include <limits>
#include <map>
#include <optional>
#include <unordered_map>

namespace orvo::info {
namespace {

using exchange::PlanPoint;
using exchange::Polygon;

constexpr double kStraight = 0.70710678118654757;  ///< cosine of the turn that ends a strip
constexpr double kGap = 3;                         ///< median bases
constexpr double kParallel = 0.94;                 ///< cosine of the angle between strips side by side

PlanPoint Difference(const PlanPoint& p, const PlanPoint& q) { return {q[0] - p[0], q[1] - p[1]}; }
double Dot(const PlanPoint& p, const PlanPoint& q) { return p[0] * q[0] + p[1] * q[1]; }
double Length(const PlanPoint& p) { return std::hypot(p[0], p[1]); }

PlanPoint PlaceOf(const SurveyBlock& block, int32_t image) {
  const auto& S = block.Images[static_cast<size_t>(image)].S;
  return {S[0], S[1]};
}

std::vector<Strip> StripsOfPos(const SurveyBlock& block) {
  std::unordered_map<std::string, int32_t> idOfName;
  for (const SurveyPos& line : block.Pos) idOfName[line.szName] = line.nStrip;
  std::map<int32_t, Strip> strips;
  for (int32_t k = 0; k < std::ssize(block.Images); ++k) {
    const auto found = idOfName.find(block.Images[static_cast<size_t>(k)].szName);
    if (found != idOfName.end() && found->second > 0) strips[found->second].push_back(k);
  }
  std::vector<Strip> list;
  list.reserve(strips.size());
  for (auto& [id, strip] : strips) list.push_back(std::move(strip));
  return list;
}

std::vector<Strip> StripsByCourse(const SurveyBlock& block) {
  std::vector<double> steps;
  for (int32_t k = 1; k < std::ssize(block.Images); ++k) {
    steps.push_back(Length(Difference(PlaceOf(block, k - 1), PlaceOf(block, k))));
  }
  const double longest = kGap * SpreadOf(steps).dMedian;
  std::vector<Strip> list;
  for (int32_t k = 0; k < std::ssize(block.Images); ++k) {
    bool goesOn = false;
    if (!list.empty()) {
      const Strip& strip = list.back();
      const PlanPoint step = Difference(PlaceOf(block, strip.back()), PlaceOf(block, k));
      goesOn = Length(step) <= longest;
      if (goesOn && strip.size() > 1) {
        const PlanPoint before =
            Difference(PlaceOf(block, strip[strip.size() - 2]), PlaceOf(block, strip.back()));
        goesOn = Dot(before, step) > kStraight * Length(before) * Length(step);
      }
    }
    if (!goesOn) list.emplace_back();
    list.back().push_back(k);
  }
  return list;
}

/// Most of the images have a neighbour in their strip, and more than one.
bool AreStrips(const std::vector<Strip>& strips) {
  size_t inStrips = 0, all = 0;
  for (const Strip& strip : strips) {
    all += strip.size();
    if (strip.size() > 2) inStrips += strip.size();
  }
  return 2 * inStrips > all;
}

/// Where the line through `place` along the unit vector `along` lies in a convex polygon, from `place` on.
struct Chord {
  double dBegin = 0, dEnd = 0;
};
std::optional<Chord> ChordOf(const Polygon& polygon, const PlanPoint& place, const PlanPoint& along) {
  Chord chord{std::numeric_limits<double>::max(), std::numeric_limits<double>::lowest()};
  for (size_t k = 0; k < polygon.size(); ++k) {
    const PlanPoint p = Difference(place, polygon[k]);
    const PlanPoint q = Difference(place, polygon[(k + 1) % polygon.size()]);
    const double acrossP = along[0] * p[1] - along[1] * p[0], acrossQ = along[0] * q[1] - along[1] * q[0];
    if ((acrossP > 0) == (acrossQ > 0)) continue;
    const double t = acrossP / (acrossP - acrossQ);
    const double at = Dot(along, p) + t * (Dot(along, q) - Dot(along, p));
    chord.dBegin = std::min(chord.dBegin, at);
    chord.dEnd = std::max(chord.dEnd, at);
  }
  if (!(chord.dEnd > chord.dBegin)) return {};
  return chord;
}

PlanPoint MiddleOf(const Polygon& polygon) {
  PlanPoint middle{};
  for (const PlanPoint& corner : polygon) {
    for (size_t c = 0; c < 2; ++c) middle[c] += corner[c] / static_cast<double>(polygon.size());
  }
  return middle;
}

/// Per cent of their mean length by which two footprints overlap on a line; nothing where one misses it.
std::optional<double> OverlapOf(const Polygon& one, const Polygon& other, const PlanPoint& along) {
  if (one.empty() || other.empty()) return {};
  const PlanPoint p = MiddleOf(one), q = MiddleOf(other);
  const PlanPoint between{(p[0] + q[0]) / 2, (p[1] + q[1]) / 2};
  const auto a = ChordOf(one, between, along), b = ChordOf(other, between, along);
  if (!a || !b) return {};
  const double shared = std::min(a->dEnd, b->dEnd) - std::max(a->dBegin, b->dBegin);
  return 200 * std::max(shared, 0.0) / (a->dEnd - a->dBegin + b->dEnd - b->dBegin);
}

/// An image in its strip, for the search for those beside it.
struct Flown {
  int32_t nImage = 0, nStrip = 0;
  PlanPoint Place{}, Along{};
};

std::vector<Flown> FlownImages(const SurveyBlock& block, const std::vector<Strip>& strips) {
  std::vector<Flown> flown;
  for (int32_t s = 0; s < std::ssize(strips); ++s) {
    const Strip& strip = strips[static_cast<size_t>(s)];
    if (strip.size() < 2) continue;
    PlanPoint along = Difference(PlaceOf(block, strip.front()), PlaceOf(block, strip.back()));
    const double length = Length(along);
    if (!(length > 0) || !std::isfinite(length)) continue;
    along = {along[0] / length, along[1] / length};
    for (const int32_t image : strip) {
      const PlanPoint place = PlaceOf(block, image);
      if (std::isfinite(place[0]) && std::isfinite(place[1])) flown.push_back({image, s, place, along});
    }
  }
  return flown;
}

/// Footprints beside each other that are nearer than this, in their lengths along the strip, can be compared.
constexpr double kAbreast = 0.5;
/// The same line flown again is no neighbour: tenths of the width.
constexpr double kSameLine = 0.1;
/// Strips that are farther apart, in widths, don't belong together.
constexpr double kFarthest = 1.5;

void AddSideOverlaps(const std::vector<Flown>& flown, const std::vector<Polygon>& footprints,
                     std::vector<double>& overlaps) {
  // In the order of X, so that only those within reach are looked at.
  std::vector<size_t> order(flown.size());
  for (size_t k = 0; k < order.size(); ++k) order[k] = k;
  std::ranges::sort(order, {}, [&](size_t k) { return flown[k].Place[0]; });
  for (const Flown& image : flown) {
    const Polygon& own = footprints[static_cast<size_t>(image.nImage)];
    const PlanPoint across{-image.Along[1], image.Along[0]};
    const auto length = own.empty() ? std::nullopt : ChordOf(own, MiddleOf(own), image.Along);
    const auto width = own.empty() ? std::nullopt : ChordOf(own, MiddleOf(own), across);
    if (!length || !width) continue;
    const double reachAlong = kAbreast * (length->dEnd - length->dBegin);
    const double wide = width->dEnd - width->dBegin, reach = kFarthest * wide + reachAlong;
    const Flown* nearest[2] = {nullptr, nullptr};
    double offOfNearest[2] = {kFarthest * wide, kFarthest * wide};
    auto k = std::ranges::lower_bound(order, image.Place[0] - reach, {},
                                      [&](size_t j) { return flown[j].Place[0]; });
    for (; k != order.end() && flown[*k].Place[0] <= image.Place[0] + reach; ++k) {
      const Flown& other = flown[*k];
      if (other.nStrip == image.nStrip || std::abs(Dot(other.Along, image.Along)) < kParallel) continue;
      const PlanPoint to = Difference(image.Place, other.Place);
      const double off = Dot(to, across);
      const size_t side = off > 0 ? 1 : 0;
      if (std::abs(Dot(to, image.Along)) > reachAlong || std::abs(off) < kSameLine * wide) continue;
      if (std::abs(off) >= offOfNearest[side]) continue;
      offOfNearest[side] = std::abs(off);
      nearest[side] = &other;
    }
    for (const Flown* other : nearest) {
      if (other == nullptr) continue;
      const auto overlap = OverlapOf(own, footprints[static_cast<size_t>(other->nImage)], across);
      if (overlap) overlaps.push_back(*overlap);
    }
  }
}

}  // namespace

StripList StripsOf(const SurveyBlock& block) {
  StripList list{StripSource::Pos, StripsOfPos(block)};
  if (AreStrips(list.Strips)) return list;
  list = {StripSource::Course, StripsByCourse(block)};
  if (AreStrips(list.Strips)) return list;
  return {};
}

StripFigures FiguresOfStrips(const SurveyBlock& block, const StripList& list,
                             const std::vector<Polygon>& footprints) {
  std::vector<double> images, bases, forward, side;
  for (const Strip& strip : list.Strips) {
    images.push_back(static_cast<double>(strip.size()));
    for (size_t k = 1; k < strip.size(); ++k) {
      const PlanPoint base = Difference(PlaceOf(block, strip[k - 1]), PlaceOf(block, strip[k]));
      const double length = Length(base);
      bases.push_back(length);
      if (!(length > 0)) continue;
      const auto overlap =
          OverlapOf(footprints[static_cast<size_t>(strip[k - 1])], footprints[static_cast<size_t>(strip[k])],
                    {base[0] / length, base[1] / length});
      if (overlap) forward.push_back(*overlap);
    }
  }
  AddSideOverlaps(FlownImages(block, list.Strips), footprints, side);
  return {SpreadOf(std::move(images)), SpreadOf(std::move(bases)), SpreadOf(std::move(forward)),
          SpreadOf(std::move(side))};
}

}  // namespace orvo::info
