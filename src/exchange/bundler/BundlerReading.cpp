#include <cmath>
#include <cstdint>
#include <filesystem>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/UnusedOptions.h"
#include "exchange/bundler/BundlerForms.h"
#include "exchange/bundler/CentredModel.h"

namespace orvo::exchange {
namespace {

constexpr int64_t kMostPixels = 1000000;

CentredCamera ReadCamera(FieldStream& fields) {
  CentredCamera camera;
  camera.f = fields.Real("a focal length");
  camera.K1 = fields.Real("a distortion coefficient");
  camera.K2 = fields.Real("a distortion coefficient");
  for (double& value : camera.Rb) value = fields.Real("a rotation");
  for (double& value : camera.t) value = fields.Real("a translation");
  if (camera.f != 0 && !MakeRotation(camera.Rb)) fields.Refuse("the matrix of a camera is no rotation");
  if (!IsUsableTranslation(camera.t)) fields.Refuse("the translation of a camera is too large");
  return camera;
}

void ReadPoint(FieldStream& fields, size_t ordinal, int64_t imageNum, SurveyPoints& points) {
  SurveyPoint point;
  const std::string name = std::to_string(ordinal);
  name.copy(point.szName.data(), point.szName.size() - 1);
  for (double& value : point.P) value = fields.Real("a coordinate of a point");
  for (int i = 0; i < 3; ++i) fields.Real("the colour of a point");
  point.nFirstMeasurement = static_cast<int64_t>(points.Measurements.size());
  point.nMeasurementNum = static_cast<int32_t>(fields.Count("the number of views of a point", 8));
  for (int32_t i = 0; i < point.nMeasurementNum; ++i) {
    SurveyMeasurement measurement;
    measurement.nImage = static_cast<int32_t>(fields.Int("the camera of a view", 0, imageNum - 1));
    fields.Int("the key of a view", -1, INT64_MAX);
    measurement.x = fields.Real("x of a view");
    measurement.y = fields.Real("y of a view");
    if (!(std::abs(measurement.x) < kMostPixels && std::abs(measurement.y) < kMostPixels)) {
      fields.Refuse("a view is no place in an image");
    }
    points.Measurements.push_back(measurement);
  }
  points.Points.push_back(point);
}

}  // namespace

ForeignModel ReadBundler(const ImportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {"images", "distortion"});
  FieldStream fields(options.szSource, '#', log);
  CentredModel model;
  model.szForm = "bundler";
  const int64_t cameras = fields.Count("the number of cameras", 30);
  const int64_t points = fields.Count("the number of points", 14);
  for (int64_t i = 0; i < cameras; ++i) model.Cameras.push_back(ReadCamera(fields));
  for (int64_t i = 0; i < points; ++i) {
    ReadPoint(fields, static_cast<size_t>(i), cameras, model.Points);
  }
  if (!fields.AtEnd()) fields.Refuse("the file goes on behind its counts");
  std::string list = options.szImages;
  if (list.empty()) {
    const auto beside = std::filesystem::path(options.szSource).parent_path() / "list.txt";
    std::error_code error;
    if (std::filesystem::is_regular_file(beside, error)) list = beside.string();
  }
  model.Names = ReadImageList(list, model.Cameras.size());
  if (!list.empty()) log.Say("Image names: " + PrintableName(list));
  return ForeignModelOf(std::move(model), options.szSource, log);
}

}  // namespace orvo::exchange
