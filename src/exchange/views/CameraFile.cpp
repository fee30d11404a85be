#include "exchange/views/CameraFile.h"

#include <cmath>
#include <nlohmann/json.hpp>

namespace orvo::exchange {
namespace {

using Json = nlohmann::ordered_json;

Json Conventions() {
  return {
      {"image_frame", "origin in the image centre, x right, y up, pixels"},
      {"camera_frame", "x right, y up, z back: a ray is R (xc, yc, -f) in the object frame"},
      {"rotation", "R = Ry(-phi) Rx(omega) Rz(kappa)"},
      {"principal_point", "x0, y0 from the image centre"},
      {"distortion",
       "correction of the measurement: u = x - x0, v = y - y0, r2 = u u + v v, D = k1 r2 + k2 r2 r2, "
       "xc = u - u D, yc = v - v D"},
      {"upper_left_origin",
       "X = width / 2 + x, Y = height / 2 - y, the centre of the first pixel at 0.5, 0.5"},
  };
}

/// Ten radii up to the corner that is farthest from the principal point.
Json DistortionTable(const SurveyCamera& camera) {
  const double largest =
      std::hypot(0.5 * camera.nWidth + std::abs(camera.dX0), 0.5 * camera.nHeight + std::abs(camera.dY0));
  Json table = Json::array();
  for (int k = 1; k <= 10; ++k) {
    const double r = largest * k / 10, r2 = r * r;
    table.push_back({{"radius_px", r}, {"correction_px", -r * (camera.dK1 * r2 + camera.dK2 * r2 * r2)}});
  }
  return table;
}

Json CameraOf(const SurveyCamera& camera, size_t ordinal, int64_t images, double pixel) {
  Json json = {{"camera", ordinal},        {"id", camera.nId},        {"model", "orvo"},
               {"images", images},         {"width", camera.nWidth},  {"height", camera.nHeight},
               {"f_px", camera.dFocal},    {"x0_px", camera.dX0},     {"y0_px", camera.dY0},
               {"k1_per_px2", camera.dK1}, {"k2_per_px4", camera.dK2}};
  if (pixel > 0) {
    const double mm = pixel / 1000;
    json["pixel_size_um"] = pixel;
    json["f_mm"] = camera.dFocal * mm;
    json["x0_mm"] = camera.dX0 * mm;
    json["y0_mm"] = camera.dY0 * mm;
    json["k1_per_mm2"] = camera.dK1 / (mm * mm);
    json["k2_per_mm4"] = camera.dK2 / (mm * mm * mm * mm);
  }
  json["distortion"] = DistortionTable(camera);
  return json;
}

}  // namespace

std::string CameraFileText(const SurveyBlock& block, double pixel) {
  std::vector<int64_t> images(block.Cameras.size());
  for (const SurveyImage& image : block.Images) {
    if (image.nCamera >= 0 && image.nCamera < std::ssize(images))
      ++images[static_cast<size_t>(image.nCamera)];
  }
  Json json = {{"program", "orvo"}, {"conventions", Conventions()}, {"cameras", Json::array()}};
  for (size_t k = 0; k < block.Cameras.size(); ++k) {
    json["cameras"].push_back(CameraOf(block.Cameras[k], k, images[k], pixel));
  }
  return json.dump(2) + "\n";
}

}  // namespace orvo::exchange
