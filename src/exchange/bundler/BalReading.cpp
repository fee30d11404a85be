#include <cmath>

#include "exchange/UnusedOptions.h"
#include "exchange/bundler/BundlerForms.h"
#include "exchange/bundler/CentredModel.h"

namespace orvo::exchange {
namespace {

constexpr double kMostPixels = 1e6;

struct Observation {
  int32_t nImage = 0, nPoint = 0;
  double x = 0, y = 0;
};

CentredCamera ReadCamera(FieldStream& fields) {
  CentredCamera camera;
  Vector3 axis;
  for (double& value : axis) value = fields.Real("a rotation");
  for (double& value : camera.t) value = fields.Real("a translation");
  camera.f = fields.Real("a focal length");
  camera.K1 = fields.Real("a distortion coefficient");
  camera.K2 = fields.Real("a distortion coefficient");
  if (!(camera.f > 0)) fields.Refuse("a focal length is not above 0");
  const auto rotation = RotationOfAngleAxis(axis);
  if (!rotation) fields.Refuse("the rotation of a camera is no angle in radians");
  if (!IsUsableTranslation(camera.t)) fields.Refuse("the translation of a camera is too large");
  camera.Rb = *rotation;
  return camera;
}

/// Observations come in any order: each point's are brought together, in the order in which they came.
void TakeObservations(const std::vector<Observation>& observations, SurveyPoints& points) {
  for (const Observation& observation : observations) {
    ++points.Points[static_cast<size_t>(observation.nPoint)].nMeasurementNum;
  }
  int64_t first = 0;
  std::vector<int64_t> next;
  for (SurveyPoint& point : points.Points) {
    point.nFirstMeasurement = first;
    next.push_back(first);
    first += point.nMeasurementNum;
  }
  points.Measurements.resize(observations.size());
  for (const Observation& observation : observations) {
    const auto place = static_cast<size_t>(next[static_cast<size_t>(observation.nPoint)]++);
    points.Measurements[place] = {observation.nImage, observation.x, observation.y};
  }
}

}  // namespace

ForeignModel ReadBal(const ImportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {"images", "distortion"});
  FieldStream fields(options.szSource, '\0', log);
  CentredModel model;
  model.szForm = "bal";
  const int64_t cameras = fields.Count("the number of cameras", 18);
  const int64_t points = fields.Count("the number of points", 6);
  const int64_t observations = fields.Count("the number of observations", 8);
  std::vector<Observation> all;
  for (int64_t i = 0; i < observations; ++i) {
    Observation observation;
    observation.nImage = static_cast<int32_t>(fields.Int("the camera of an observation", 0, cameras - 1));
    observation.nPoint = static_cast<int32_t>(fields.Int("the point of an observation", 0, points - 1));
    observation.x = fields.Real("x of an observation");
    observation.y = fields.Real("y of an observation");
    if (!(std::abs(observation.x) < kMostPixels && std::abs(observation.y) < kMostPixels)) {
      fields.Refuse("an observation is no place in an image");
    }
    all.push_back(observation);
  }
  for (int64_t i = 0; i < cameras; ++i) model.Cameras.push_back(ReadCamera(fields));
  for (int64_t i = 0; i < points; ++i) {
    SurveyPoint& point = model.Points.Points.emplace_back();
    std::to_string(i).copy(point.szName.data(), point.szName.size() - 1);
    for (double& value : point.P) value = fields.Real("a coordinate of a point");
  }
  if (!fields.AtEnd()) fields.Refuse("the file goes on behind its counts");
  TakeObservations(all, model.Points);
  model.Names = ReadImageList(options.szImages, model.Cameras.size());
  return ForeignModelOf(std::move(model), options.szSource, log);
}

}  // namespace orvo::exchange
