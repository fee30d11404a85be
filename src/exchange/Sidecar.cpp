#include "exchange/Sidecar.h"

#include <fmt/format.h>

#include <filesystem>
#include <nlohmann/json.hpp>

#include "base/InputFile.h"
#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/LensModels.h"

namespace orvo::exchange {
namespace {

using Json = nlohmann::ordered_json;

constexpr int kVersion = 1;
constexpr int64_t kMostBytes = int64_t{1} << 30;
constexpr LensModel kLenses[] = {LensModel::Pinhole,       LensModel::SimpleRadial,  LensModel::Radial,
                                 LensModel::Brown,         LensModel::FullOpenCv,    LensModel::SimpleFisheye,
                                 LensModel::RadialFisheye, LensModel::OpenCvFisheye, LensModel::Fov,
                                 LensModel::ThinPrism};

/// JSON holds UTF-8 only: other names as their bytes in hexadecimal digits.
void PutName(Json& object, const char* key, const std::string& name) {
  try {
    Json(name).dump();
    object[key] = name;
  } catch (const Json::type_error&) {
    std::string digits;
    for (const char c : name) digits += fmt::format("{:02x}", static_cast<unsigned char>(c));
    object[std::string(key) + "Bytes"] = digits;
  }
}

std::string GetName(const Json& object, const char* key) {
  const std::string bytes = std::string(key) + "Bytes";
  if (!object.contains(bytes)) return object.at(key).get<std::string>();
  const std::string digits = object.at(bytes).get<std::string>();
  std::string name;
  for (size_t i = 0; i + 1 < digits.size(); i += 2) {
    name += static_cast<char>(std::stoi(digits.substr(i, 2), nullptr, 16));
  }
  return name;
}

Json JsonOf(const ForeignCamera& camera) {
  Json json;
  json["id"] = camera.nId;
  PutName(json, "name", camera.szName);
  PutName(json, "model", camera.szModel);
  json["lens"] = NameOf(camera.Lens);
  json["width"] = camera.nWidth;
  json["height"] = camera.nHeight;
  json["fx"] = camera.dFx;
  json["fy"] = camera.dFy;
  json["cx"] = camera.dCx;
  json["cy"] = camera.dCy;
  json["parameters"] = camera.Parameters;
  return json;
}

Json JsonOf(const SurveyCamera& camera) {
  return {{"width", camera.nWidth}, {"height", camera.nHeight}, {"f", camera.dFocal}, {"x0", camera.dX0},
          {"y0", camera.dY0},       {"k1", camera.dK1},         {"k2", camera.dK2}};
}

ForeignCamera ForeignCameraOf(const Json& json, const std::string& path) {
  ForeignCamera camera;
  camera.nId = json.at("id").get<int64_t>();
  camera.szName = GetName(json, "name");
  camera.szModel = GetName(json, "model");
  const std::string lens = json.at("lens").get<std::string>();
  const auto found = std::ranges::find_if(kLenses, [&](LensModel known) { return lens == NameOf(known); });
  if (found == std::end(kLenses)) {
    Refuse(path, 0, "the lens \"" + PrintableName(lens) + "\" is not known", "Import the block again");
  }
  camera.Lens = *found;
  camera.nWidth = json.at("width").get<int32_t>();
  camera.nHeight = json.at("height").get<int32_t>();
  camera.dFx = json.at("fx").get<double>();
  camera.dFy = json.at("fy").get<double>();
  camera.dCx = json.at("cx").get<double>();
  camera.dCy = json.at("cy").get<double>();
  camera.Parameters = json.at("parameters").get<std::vector<double>>();
  if (const std::string fault = FaultOf(camera); !fault.empty()) {
    Refuse(path, 0, "camera " + PrintableName(camera.szName) + " can't be used: " + fault,
           "Import the block again");
  }
  return camera;
}

SurveyCamera SurveyCameraOf(const Json& json, const std::string& path) {
  SurveyCamera camera;
  camera.nWidth = json.at("width").get<int32_t>();
  camera.nHeight = json.at("height").get<int32_t>();
  camera.dFocal = json.at("f").get<double>();
  camera.dX0 = json.at("x0").get<double>();
  camera.dY0 = json.at("y0").get<double>();
  camera.dK1 = json.at("k1").get<double>();
  camera.dK2 = json.at("k2").get<double>();
  if (!(camera.dFocal > 0 && camera.dFocal <= 1e6) || camera.nWidth <= 0 || camera.nHeight <= 0) {
    Refuse(path, 0, "a written camera has no focal length or image size above 0", "Import the block again");
  }
  return camera;
}

Sidecar SidecarOf(const Json& json, const std::string& path) {
  Sidecar sidecar;
  if (json.at("orvoSidecar").get<int>() != kVersion) {
    Refuse(path, 0, "the file is of another version", "Import the block again");
  }
  sidecar.szForm = json.at("form").get<std::string>();
  sidecar.szSource = GetName(json, "source");
  sidecar.szChecksum = json.at("checksum").get<std::string>();
  const auto mode = DistortionModeOf(json.at("distortion").get<std::string>());
  const Json& frame = json.at("frame");
  const auto kind = FrameKindOf(frame.at("kind").get<std::string>());
  if (!mode || !kind)
    Refuse(path, 0, "the distortion mode or the frame is not known", "Import the block again");
  sidecar.Distortion = *mode;
  sidecar.Frame.Kind = *kind;
  sidecar.Frame.szCrs = frame.at("crs").get<std::string>();
  sidecar.Frame.bOfControl = frame.value("ofControl", false);
  sidecar.Frame.szHeight = frame.value("height", std::string());
  sidecar.Frame.Origin = frame.at("origin").get<std::array<double, 3>>();
  sidecar.szPixelOrigin = json.at("pixelOrigin").get<std::string>();
  for (const Json& camera : json.at("cameras")) {
    sidecar.Cameras.push_back(ForeignCameraOf(camera.at("original"), path));
    sidecar.Written.push_back(SurveyCameraOf(camera.at("written"), path));
  }
  for (const Json& image : json.at("images")) {
    sidecar.Images.push_back(
        {image.at("id").get<int64_t>(), GetName(image, "name"), GetName(image, "alias")});
  }
  for (const Json& sample : json.value("samples", Json::array())) {
    sidecar.Samples.push_back({GetName(sample, "point"), sample.at("image").get<size_t>(),
                               sample.at("x").get<double>(), sample.at("y").get<double>()});
  }
  return sidecar;
}

}  // namespace

std::string SidecarPathOf(const std::string& project) {
  std::filesystem::path path(project);
  const std::string extension = path.extension().string();
  if (extension == ".ovc" || extension == ".ovt" || extension == ".prj") path.replace_extension();
  return path.string() + ".orvo.json";
}

std::string SidecarText(const Sidecar& sidecar) {
  Json json;
  json["orvoSidecar"] = kVersion;
  json["form"] = sidecar.szForm;
  PutName(json, "source", sidecar.szSource);
  json["checksum"] = sidecar.szChecksum;
  json["distortion"] = NameOf(sidecar.Distortion);
  json["pixelOrigin"] = sidecar.szPixelOrigin;
  json["frame"] = {{"kind", NameOf(sidecar.Frame.Kind)},
                   {"crs", sidecar.Frame.szCrs},
                   {"ofControl", sidecar.Frame.bOfControl},
                   {"height", sidecar.Frame.szHeight},
                   {"origin", sidecar.Frame.Origin}};
  json["cameras"] = Json::array();
  for (size_t i = 0; i < sidecar.Cameras.size(); ++i) {
    json["cameras"].push_back(
        {{"original", JsonOf(sidecar.Cameras[i])}, {"written", JsonOf(sidecar.Written[i])}});
  }
  Json images = Json::array();
  for (const SidecarImage& image : sidecar.Images) {
    Json entry;
    entry["id"] = image.nId;
    PutName(entry, "name", image.szName);
    PutName(entry, "alias", image.szAlias);
    images.push_back(std::move(entry));
  }
  json["images"] = std::move(images);
  Json samples = Json::array();
  for (const SidecarSample& sample : sidecar.Samples) {
    Json entry;
    PutName(entry, "point", sample.szPoint);
    entry["image"] = sample.nImage;
    entry["x"] = sample.x;
    entry["y"] = sample.y;
    samples.push_back(std::move(entry));
  }
  json["samples"] = std::move(samples);
  return json.dump(1) + "\n";
}

std::optional<Sidecar> ReadSidecar(const std::string& path) {
  std::error_code error;
  if (!std::filesystem::exists(path, error)) return {};
  std::string text;
  if (!ReadWholeFile(path, {false, kMostBytes}, nullptr, text)) {
    Refuse(path, 0, "the file can't be read", "Check its permissions");
  }
  try {
    return SidecarOf(Json::parse(text), path);
  } catch (const Json::parse_error& wrong) {
    RefuseAtByte(path, static_cast<int64_t>(wrong.byte), "the file is no whole JSON",
                 "Import the block again");
  } catch (const Json::exception& wrong) {
    // Behind the library's own name of the exception.
    const std::string reason = wrong.what();
    const size_t name = reason.find("] ");
    Refuse(path, 0,
           "the file is no sidecar of an import: " +
               PrintableName(name == std::string::npos ? reason : reason.substr(name + 2)),
           "Import the block again");
  } catch (const std::logic_error&) {
    Refuse(path, 0, "a name in the file can't be read", "Import the block again");
  }
}

}  // namespace orvo::exchange
