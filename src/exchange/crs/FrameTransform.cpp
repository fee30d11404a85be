#include "exchange/crs/FrameTransform.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <limits>
#include <numbers>

#include "exchange/crs/ProjObjects.h"

namespace orvo::exchange {
namespace {

using Place = std::array<double, 3>;
using Rotation = std::array<double, 9>;

constexpr Rotation kNoRotation = {1, 0, 0, 0, 1, 0, 0, 0, 1};

void CheckFinite(const Place& place) {
  for (const double value : place) {
    if (!std::isfinite(value))
      throw CrsFault("a coordinate is no finite number", "Correct it, or leave the line out");
  }
}

}  // namespace

#ifdef ORVO_HAS_PROJ

namespace {

/// Rows are the axes east, north, up at a place, in geocentric coordinates.
Rotation AxesAt(double longitude, double latitude) {
  constexpr double kRadians = std::numbers::pi / 180;
  const double sl = std::sin(longitude * kRadians), cl = std::cos(longitude * kRadians);
  const double sb = std::sin(latitude * kRadians), cb = std::cos(latitude * kRadians);
  return {-sl, cl, 0, -sb * cl, -sb * sl, cb, cb * cl, cb * sl, sb};
}

/// A B'
Rotation ProductWithTransposed(const Rotation& a, const Rotation& b) {
  Rotation product{};
  for (size_t i = 0; i < 3; ++i) {
    for (size_t j = 0; j < 3; ++j) {
      for (size_t k = 0; k < 3; ++k) product[3 * i + j] += a[3 * i + k] * b[3 * j + k];
    }
  }
  return product;
}

std::string PipelineOf(const BlockFrame& frame) {
  std::array<char, 320> text{};
  std::snprintf(text.data(), text.size(),
                "+proj=pipeline +step +proj=unitconvert +xy_in=deg +xy_out=rad +step +proj=cart +ellps=WGS84 "
                "+step +proj=topocentric +ellps=WGS84 +lon_0=%.12g +lat_0=%.12g +h_0=%.12g",
                frame.dLongitude, frame.dLatitude, frame.dHeight);
  return text.data();
}

/// A map with the geographic system below it: degrees to its own units.
struct Map {
  ProjHandle<PJ> pFromGeographic;

  Map() = default;
  Map(const ProjContext& context, const ProjSystem& system) {
    if (!system.Facts.bProjected) return;
    const ProjHandle<PJ> geographic(proj_crs_get_geodetic_crs(context.Get(), system.pHorizontal.get()));
    if (!geographic) return;
    std::string note;
    pFromGeographic = CreateOperation(context, geographic.get(), system.pHorizontal.get(), note);
  }

  /// Direction of true north against that of the map, as a rotation; `place` in units of the map.
  Rotation TrueAxes(const Place& place) const {
    if (!pFromGeographic) return kNoRotation;
    constexpr double kStep = 1e-5;  // degrees: about a metre
    const Place at = Transformed(pFromGeographic.get(), PJ_INV, {place[0], place[1], 0});
    const Place north = Transformed(pFromGeographic.get(), PJ_FWD, {at[0], at[1] + kStep, 0});
    const Place south = Transformed(pFromGeographic.get(), PJ_FWD, {at[0], at[1] - kStep, 0});
    const double convergence = std::atan2(south[0] - north[0], north[1] - south[1]);
    const double s = std::sin(convergence), c = std::cos(convergence);
    return {c, -s, 0, s, c, 0, 0, 0, 1};
  }
};

}  // namespace

struct FrameTransform::Stages {
  ProjContext Context;  // before whatever is made in it
  BlockFrame Frame;
  ProjSystem Source, Target;
  ProjHandle<PJ> pBetween;  ///< source to WGS 84, or to the projected system; null where they are the same
  ProjHandle<PJ> pTopocentric;  ///< longitude, latitude, height to the frame
  Map MapOfSource, MapOfFrame;
  std::vector<std::string> Notes;

  void Projected(bool heights);
  void Topocentric();
};

void FrameTransform::Stages::Projected(bool heights) {
  Target = CreateSystem(Context, Frame.System, heights);
  if (!Target.Facts.bProjected) {
    throw CrsFault(Target.Facts.szName + " is no projected system, so it can't be the frame of a block",
                   "Use --frame topocentric, or name a projected system");
  }
  MapOfFrame = Map(Context, Target);
  if (Target.Facts.dMetresOfUnit != 1) {
    Notes.push_back("The frame is in metres; the unit of " + Target.Facts.szName + " is the " +
                    Target.Facts.szUnit + ".");
  }
}

void FrameTransform::Stages::Topocentric() {
  if (!(std::abs(Frame.dLongitude) <= 180 && std::abs(Frame.dLatitude) <= 90 &&
        std::abs(Frame.dHeight) < 1e5)) {
    throw CrsFault("the origin of the frame is no place on the earth",
                   "Longitude is within 180, latitude within 90 degrees, height within 100 km");
  }
  pTopocentric.reset(proj_create(Context.Get(), PipelineOf(Frame).c_str()));
  if (!pTopocentric) throw CrsFault("PROJ can't make a topocentric frame: " + Context.LastWords(), "");
}

FrameTransform::FrameTransform(const SourceSystem& source, const BlockFrame& frame, bool heights)
    : pStages(std::make_unique<Stages>()) {
  Stages& stages = *pStages;
  stages.Frame = frame;
  if (frame.Kind == FrameKind::AsIs) return;
  stages.Source = CreateSystem(stages.Context, source, heights);
  stages.Notes = stages.Source.Notes;
  stages.MapOfSource = Map(stages.Context, stages.Source);
  std::string note;
  if (frame.Kind == FrameKind::Projected) {
    stages.Projected(heights);
    if (source == frame.System) return;
    stages.pBetween =
        CreateOperation(stages.Context, stages.Source.pCrs.get(), stages.Target.pCrs.get(), note);
  } else {
    stages.Topocentric();
    const ProjHandle<PJ> hub = CreateCrs(stages.Context, "EPSG:4979");
    stages.pBetween = CreateOperation(stages.Context, stages.Source.pCrs.get(), hub.get(), note);
  }
  stages.Notes.push_back(note);
}

Place FrameTransform::ToFrame(const Place& place) const {
  CheckFinite(place);
  if (pStages->Frame.Kind == FrameKind::AsIs) return place;
  Place p = place;
  if (pStages->Source.Facts.bGeographic && std::abs(p[1]) > 90) {
    throw CrsFault("its latitude is above 90 degrees",
                   "Look at the order of longitude and latitude, and at the coordinate system");
  }
  p[2] *= pStages->Source.dHeightScale;
  if (pStages->pBetween) p = Transformed(pStages->pBetween.get(), PJ_FWD, p);
  if (pStages->pTopocentric) return Transformed(pStages->pTopocentric.get(), PJ_FWD, p);
  p[0] *= pStages->Target.Facts.dMetresOfUnit;
  p[1] *= pStages->Target.Facts.dMetresOfUnit;
  p[2] *= pStages->Target.dMetresOfHeight;
  return p;
}

Place FrameTransform::FromFrame(const Place& place) const {
  CheckFinite(place);
  if (pStages->Frame.Kind == FrameKind::AsIs) return place;
  Place p = place;
  if (pStages->pTopocentric) {
    p = Transformed(pStages->pTopocentric.get(), PJ_INV, p);
  } else {
    p[0] /= pStages->Target.Facts.dMetresOfUnit;
    p[1] /= pStages->Target.Facts.dMetresOfUnit;
    p[2] /= pStages->Target.dMetresOfHeight;
  }
  if (pStages->pBetween) p = Transformed(pStages->pBetween.get(), PJ_INV, p);
  p[2] /= pStages->Source.dHeightScale;
  return p;
}

Rotation FrameTransform::LocalAxesOfFrame(const Place& place) const {
  if (pStages->Frame.Kind == FrameKind::AsIs) return kNoRotation;
  if (pStages->Frame.Kind == FrameKind::Projected) {
    const double unit = pStages->Target.Facts.dMetresOfUnit;
    return pStages->MapOfFrame.TrueAxes({place[0] / unit, place[1] / unit, 0});
  }
  const Place at = Transformed(pStages->pTopocentric.get(), PJ_INV, place);
  return ProductWithTransposed(AxesAt(pStages->Frame.dLongitude, pStages->Frame.dLatitude),
                               AxesAt(at[0], at[1]));
}

Rotation FrameTransform::LocalAxesOfSource(const Place& place) const {
  return pStages->Frame.Kind == FrameKind::AsIs ? kNoRotation : pStages->MapOfSource.TrueAxes(place);
}

const std::vector<std::string>& FrameTransform::Notes() const { return pStages->Notes; }

BlockFrame TopocentricFrameOf(const SourceSystem& source, std::span<const Place> places) {
  const ProjContext context;
  const ProjSystem system = CreateSystem(context, source, !source.szHeight.empty());
  const ProjHandle<PJ> hub = CreateCrs(context, "EPSG:4979");
  std::string note;
  const ProjHandle<PJ> operation = CreateOperation(context, system.pCrs.get(), hub.get(), note);
  constexpr double kMost = std::numeric_limits<double>::max();
  double west = kMost, south = kMost, east = -kMost, north = -kMost;
  double first = 0;
  for (const Place& place : places) {
    Place p{};
    try {
      CheckFinite(place);
      p = Transformed(operation.get(), PJ_FWD, {place[0], place[1], place[2] * system.dHeightScale});
    } catch (const CrsFault&) {
      continue;  // refused with its line, where it is brought into the frame
    }
    // A block across the antimeridian is one piece.
    if (west == kMost) first = p[0];
    p[0] = first + std::remainder(p[0] - first, 360);
    west = std::min(west, p[0]), east = std::max(east, p[0]);
    south = std::min(south, p[1]), north = std::max(north, p[1]);
  }
  if (west == kMost)
    throw CrsFault("no place has coordinates that the system holds", "Look at the coordinate system");
  BlockFrame frame{FrameKind::Topocentric, {}, 0, 0, 0};
  frame.dLongitude = std::remainder(std::round((west + east) / 2 * 1000) / 1000, 360);
  frame.dLatitude = std::round((south + north) / 2 * 1000) / 1000;
  return frame;
}

#else

struct FrameTransform::Stages {
  std::vector<std::string> Notes;
};

FrameTransform::FrameTransform(const SourceSystem& source, const BlockFrame& frame, bool)
    : pStages(std::make_unique<Stages>()) {
  if (frame.Kind != FrameKind::AsIs) DescribeSystem(source);
}

Place FrameTransform::ToFrame(const Place& place) const {
  CheckFinite(place);
  return place;
}
Place FrameTransform::FromFrame(const Place& place) const {
  CheckFinite(place);
  return place;
}
Rotation FrameTransform::LocalAxesOfFrame(const Place&) const { return kNoRotation; }
Rotation FrameTransform::LocalAxesOfSource(const Place&) const { return kNoRotation; }
const std::vector<std::string>& FrameTransform::Notes() const { return pStages->Notes; }

BlockFrame TopocentricFrameOf(const SourceSystem& source, std::span<const Place>) {
  DescribeSystem(source);
  return {};
}

#endif

FrameTransform::~FrameTransform() = default;
FrameTransform::FrameTransform(FrameTransform&&) noexcept = default;
FrameTransform& FrameTransform::operator=(FrameTransform&&) noexcept = default;

}  // namespace orvo::exchange
