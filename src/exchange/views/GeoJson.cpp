#include "exchange/views/GeoJson.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "exchange/Angles.h"
#include "exchange/views/Footprint.h"

namespace orvo::exchange {
namespace {

using Json = nlohmann::ordered_json;
using Place = std::array<double, 3>;

double RoundedTo(double value, double units) { return std::round(value * units) / units; }

/// Nine decimals of a degree are a tenth of a millimetre, as are four of a metre.
Json Position(const Place& place) {
  if (!std::isfinite(place[2])) return {RoundedTo(place[0], 1e9), RoundedTo(place[1], 1e9)};
  return {RoundedTo(place[0], 1e9), RoundedTo(place[1], 1e9), RoundedTo(place[2], 1e4)};
}

Json PlanPosition(const PlanPoint& place) { return {RoundedTo(place[0], 1e9), RoundedTo(place[1], 1e9)}; }

/// Writes features one by one, with commas between them.
class Features {
 public:
  explicit Features(TextWriter& file) : File(file) {
    File.Write("{\"type\":\"FeatureCollection\",\"features\":[");
  }
  void Add(Json geometry, Json properties) {
    const Json feature = {
        {"type", "Feature"}, {"geometry", std::move(geometry)}, {"properties", std::move(properties)}};
    File.Write(bFirst ? "\n" : ",\n");
    // Names may be in any encoding, and JSON is UTF-8.
    File.Write(feature.dump(-1, ' ', false, Json::error_handler_t::replace));
    bFirst = false;
  }
  void End() { File.Write("\n]}\n"); }

 private:
  TextWriter& File;
  bool bFirst = true;
};

Json RingOf(const Polygon& polygon) {
  Json ring = Json::array();
  for (const PlanPoint& corner : polygon) ring.push_back(PlanPosition(corner));
  ring.push_back(PlanPosition(polygon.front()));
  return ring;
}

/// A polygon in degrees, which may go beyond 180.
Json AreaGeometry(Polygon polygon) {
  const auto [least, most] = std::minmax_element(polygon.begin(), polygon.end());
  const bool crosses = (*most)[0] - (*least)[0] > 180;
  for (PlanPoint& corner : polygon) {
    if (crosses && corner[0] < 0) corner[0] += 360;
  }
  if (AreaOf(polygon) < 0) std::reverse(polygon.begin(), polygon.end());
  if (!crosses) return {{"type", "Polygon"}, {"coordinates", Json::array({RingOf(polygon)})}};
  const Polygon east = ClippedBy(polygon, 1, 0, 180);
  Polygon west = ClippedBy(polygon, -1, 0, -180);
  for (PlanPoint& corner : west) corner[0] -= 360;
  Json parts = Json::array();
  if (east.size() > 2) parts.push_back(Json::array({RingOf(east)}));
  if (west.size() > 2) parts.push_back(Json::array({RingOf(west)}));
  return {{"type", "MultiPolygon"}, {"coordinates", parts}};
}

Json PointGeometry(const Place& place) { return {{"type", "Point"}, {"coordinates", Position(place)}}; }

void AddImages(const ViewBlock& view, const PlaceOnEarth& toGeographic, Features& features) {
  const SurveyBlock& block = view.Block;
  const auto ground = GroundHeights(block, block.Tie, view.Tie);
  for (size_t k = 0; k < block.Images.size(); ++k) {
    const SurveyImage& image = block.Images[k];
    const auto [omega, phi, kappa] = DegreesOf(AngleSystem::Standard, image.R);
    const Json name = image.szName.empty() ? image.szPath : image.szName;
    features.Add(PointGeometry(toGeographic(image.S)), {{"kind", "centre"},
                                                        {"image", name},
                                                        {"path", image.szPath},
                                                        {"camera", image.nCamera},
                                                        {"omega", RoundedTo(omega, 1e6)},
                                                        {"phi", RoundedTo(phi, 1e6)},
                                                        {"kappa", RoundedTo(kappa, 1e6)}});
    const Polygon footprint = ground ? FootprintOf(block, image, (*ground)[k]) : Polygon();
    if (footprint.empty()) continue;
    Polygon degrees;
    for (const PlanPoint& corner : footprint) {
      const Place place = toGeographic({corner[0], corner[1], (*ground)[k]});
      degrees.push_back({place[0], place[1]});
    }
    features.Add(AreaGeometry(std::move(degrees)), {{"kind", "footprint"},
                                                    {"image", name},
                                                    {"ground", RoundedTo((*ground)[k], 1e4)},
                                                    {"area", RoundedTo(AreaOf(footprint), 1e2)}});
  }
}

void AddControl(const ViewBlock& view, const PlaceOnEarth& toGeographic, Features& features) {
  const double factor = ExaggerationOf(view);
  for (size_t k = 0; k < view.Control.size(); ++k) {
    const SurveyPoint& given = view.Block.Control.Points[k];
    const StrictPoint& solved = view.Control[k];
    Json properties = {{"kind", given.nType == 1 ? "control" : "check"}, {"point", given.szName.data()}};
    Place end = given.P;
    if (solved.bSolved) {
      for (size_t c = 0; c < 3; ++c) {
        const double difference = solved.P[c] - given.P[c];
        properties[c == 0 ? "dX" : c == 1 ? "dY" : "dZ"] = RoundedTo(difference, 1e6);
        end[c] += factor * difference;
      }
      properties["rays"] = solved.nRays;
      properties["rms"] = RoundedTo(solved.Rms(), 1e4);
    }
    const Place begin = toGeographic(given.P);
    features.Add(PointGeometry(begin), properties);
    if (!solved.bSolved) continue;
    properties["of"] = properties["kind"];
    properties["kind"] = "difference";
    properties["exaggeration"] = factor;
    features.Add({{"type", "LineString"},
                  {"coordinates", Json::array({Position(begin), Position(toGeographic(end))})}},
                 properties);
  }
}

}  // namespace

double ExaggerationOf(const ViewBlock& view) {
  double largest = 0;
  for (size_t k = 0; k < view.Control.size(); ++k) {
    if (!view.Control[k].bSolved) continue;
    const auto &p = view.Control[k].P, &q = view.Block.Control.Points[k].P;
    largest = std::max(largest, std::hypot(p[0] - q[0], p[1] - q[1], p[2] - q[2]));
  }
  std::array<double, 2> extent{};
  for (size_t c = 0; c < 2; ++c) {
    const auto [least, most] = std::ranges::minmax_element(
        view.Block.Images, {}, [c](const SurveyImage& image) { return image.S[c]; });
    if (least != view.Block.Images.end()) extent[c] = most->S[c] - least->S[c];
  }
  const double wanted = std::hypot(extent[0], extent[1]) / 20 / largest;
  if (!(wanted > 1) || !(wanted < 1e9)) return 1;
  const double power = std::pow(10, std::floor(std::log10(wanted)));
  return wanted >= 5 * power ? 5 * power : wanted >= 2 * power ? 2 * power : power;
}

void WriteGeoJson(const ViewBlock& view, const PlaceOnEarth& toGeographic, TextWriter& file) {
  Features features(file);
  AddImages(view, toGeographic, features);
  AddControl(view, toGeographic, features);
  features.End();
}

}  // namespace orvo::exchange
