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
       "xc = u - u D, yc = v - v D; further terms, where there are: xc less u k3 r2^3 + p1 (r2 + 2 u u) + "
       "2 p2 u v + b1 u + b2 v, yc less v k3 r2^3 + p2 (r2 + 2 v v) + 2 p1 u v"},
      {"upper_left_origin",
       "X = width / 2 + x, Y = height / 2 - y, the centre of the first pixel at 0.5, 0.5"},
  };
}

void AddFurther(const LensTerms& terms, Json& json) {
  if (terms.IsNone()) return;
  json["k3_per_px6"] = terms.fK3;
  json["p1_per_px"] = terms.fP1;
  json["p2_per_px"] = terms.fP2;
  json["b1"] = terms.fB1;
  json["b2"] = terms.fB2;
}

/// Ten radii up to the corner that is farthest from the principal point.
Json DistortionTable(const SurveyCamera& camera) {
  const double largest =
      std::hypot(0.5 * camera.nWidth + std::abs(camera.dX0), 0.5 * camera.nHeight + std::abs(camera.dY0));
  Json table = Json::array();
  for (int k = 1; k <= 10; ++k) {
    const double r = largest * k / 10, r2 = r * r;
    const double D = camera.dK1 * r2 + camera.dK2 * r2 * r2 + camera.Further.fK3 * r2 * r2 * r2;
    table.push_back({{"radius_px", r}, {"correction_px", -r * D}});
  }
  return table;
}

Json CameraOf(const SurveyCamera& camera, size_t ordinal, int64_t images, double pixel) {
  Json json = {{"camera", ordinal},        {"id", camera.nId},        {"model", "orvo"},
               {"images", images},         {"width", camera.nWidth},  {"height", camera.nHeight},
               {"f_px", camera.dFocal},    {"x0_px", camera.dX0},     {"y0_px", camera.dY0},
               {"k1_per_px2", camera.dK1}, {"k2_per_px4", camera.dK2}};
  AddFurther(camera.Further, json);
  if (pixel > 0) {
    const double mm = pixel / 1000;
    json["pixel_size_um"] = pixel;
    json["f_mm"] = camera.dFocal * mm;
    json["x0_mm"] = camera.dX0 * mm;
    json["y0_mm"] = camera.dY0 * mm;
    json["k1_per_mm2"] = camera.dK1 / (mm * mm);
    json["k2_per_mm4"] = camera.dK2 / (mm * mm * mm * mm);
    const LensTerms further = Scaled(camera.Further, mm);
    if (!further.IsNone()) {
      json["k3_per_mm6"] = further.fK3;
      json["p1_per_mm"] = further.fP1;
      json["p2_per_mm"] = further.fP2;
    }
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
