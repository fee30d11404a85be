#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "base/PrintableName.h"
#include "exchange/ExchangeFault.h"
#include "exchange/ExportCameras.h"
#include "exchange/ForeignRotation.h"
#include "exchange/LensFit.h"
#include "exchange/LensModels.h"
#include "exchange/UnusedOptions.h"
#include "exchange/WholeFiles.h"
#include "exchange/opensfm/OpenSfm.h"

namespace orvo::exchange {
namespace {

/// A text in quotes, with its escapes.
std::string JsonText(const std::string& text) {
  try {
    return nlohmann::json(text).dump();
  } catch (const nlohmann::json::exception&) {
    Refuse("", 0, "the name '" + PrintableName(text) + "' is no UTF-8, which JSON needs", "Rename it");
  }
}

std::string JsonVector(const std::array<double, 3>& v) {
  for (const double value : v) {
    if (!std::isfinite(value))
      Refuse("", 0, "a coordinate or angle is not finite, which JSON does not know", "Look at the result");
  }
  return fmt::format("[{}, {}, {}]", v[0], v[1], v[2]);
}

bool IsHeld(LensModel lens) {
  return lens == LensModel::Pinhole || lens == LensModel::SimpleRadial || lens == LensModel::Radial ||
         lens == LensModel::Brown || IsFisheye(lens);
}

/// The nearest camera of the projection brown, of a field of view of fisheye624, with what it leaves told;
/// above the limit only where asked for.
ForeignCamera FittedCamera(const ForeignCamera& camera, const ExportOptions& options, ExchangeLog& log) {
  const std::string name = "camera '" + PrintableName(camera.szName) + "'";
  const bool fisheye = camera.Lens == LensModel::Fov;
  const auto fitted =
      FitForeignCamera([&](LensPoint pixel) { return DirectionOf(camera, pixel); }, camera.nWidth,
                       camera.nHeight, {fisheye ? LensModel::ThinPrism : LensModel::Brown, false, false});
  if (!fitted || (fitted->Error.dMax > kRefitDefaultLimit && options.Camera != CameraChoice::Refit)) {
    Refuse(options.szOut, 0,
           name + " has a model that this form does not have" +
               (fitted ? fmt::format(", and the nearest one leaves {:.4f} pixels", fitted->Error.dMax) : ""),
           fitted ? "Export with --camera pinhole, or with --camera refit where that is good enough"
                  : "Export with --camera pinhole");
  }
  log.Say(fmt::format("{} is fitted by the projection {}, which leaves RMS {:.6f}, largest {:.6f} px",
                      "C" + name.substr(1), fisheye ? "fisheye624" : "brown", fitted->Error.dRms,
                      fitted->Error.dMax));
  ForeignCamera held = fitted->Camera;
  held.nId = camera.nId;
  held.szName = camera.szName;
  held.szModel = fisheye ? "fisheye624" : "brown";
  return held;
}

/// What stands behind the size: projection and its numbers, in units of the larger side.
std::string ProjectionOf(const ForeignCamera& camera) {
  const double larger = std::max(camera.nWidth, camera.nHeight);
  const double cx = (camera.dCx - camera.nWidth / 2.0) / larger,
               cy = (camera.dCy - camera.nHeight / 2.0) / larger;
  const auto parameter = [&](size_t i) { return i < camera.Parameters.size() ? camera.Parameters[i] : 0.0; };
  const std::string inside = fmt::format(R"("focal_x": {}, "focal_y": {}, "c_x": {}, "c_y": {})",
                                         camera.dFx / larger, camera.dFy / larger, cx, cy);
  switch (camera.Lens) {
    case LensModel::Pinhole:
    case LensModel::Radial:
      if (camera.dFx == camera.dFy && cx == 0 && cy == 0) {
        return fmt::format(R"("projection_type": "perspective", "focal": {}, "k1": {}, "k2": {})",
                           camera.dFx / larger, parameter(0), parameter(1));
      }
      return fmt::format(R"("projection_type": "radial", {}, "k1": {}, "k2": {})", inside, parameter(0),
                         parameter(1));
    case LensModel::SimpleRadial:
      return fmt::format(R"("projection_type": "simple_radial", {}, "k1": {})", inside, parameter(0));
    case LensModel::SimpleFisheye:
    case LensModel::RadialFisheye:
    case LensModel::OpenCvFisheye:
      if (camera.dFx == camera.dFy && cx == 0 && cy == 0 && parameter(2) == 0 && parameter(3) == 0) {
        return fmt::format(R"("projection_type": "fisheye", "focal": {}, "k1": {}, "k2": {})",
                           camera.dFx / larger, parameter(0), parameter(1));
      }
      return fmt::format(R"("projection_type": "fisheye_opencv", {}, "k1": {}, "k2": {}, "k3": {}, "k4": {})",
                         inside, parameter(0), parameter(1), parameter(2), parameter(3));
    case LensModel::ThinPrism:
      return fmt::format(R"("projection_type": "fisheye624", {}, "k1": {}, "k2": {}, "k3": {}, "k4": {}, )"
                         R"("k5": 0, "k6": 0, "p1": {}, "p2": {}, "s0": {}, "s1": 0, "s2": {}, "s3": 0)",
                         inside, parameter(0), parameter(1), parameter(4), parameter(5), parameter(2),
                         parameter(3), parameter(6), parameter(7));
    default:  // brown: others were fitted
      return fmt::format(
          R"("projection_type": "brown", {}, "k1": {}, "k2": {}, "p1": {}, "p2": {}, "k3": {})", inside,
          parameter(0), parameter(1), parameter(2), parameter(3), parameter(4));
  }
}

std::string CameraLines(const ForeignModel& model) {
  std::string text;
  for (size_t i = 0; i < model.Cameras.size(); ++i) {
    const ForeignCamera& camera = model.Cameras[i];
    text += fmt::format("    {}: {{\"width\": {}, \"height\": {}, {}}}{}\n", JsonText(camera.szName),
                        camera.nWidth, camera.nHeight, ProjectionOf(camera),
                        i + 1 < model.Cameras.size() ? "," : "");
  }
  return text;
}

std::string ShotLine(const ForeignModel& model, const SurveyImage& image) {
  const ForeignPose pose = ForeignPoseOf({image.R, image.S});
  return fmt::format("    {}: {{\"rotation\": {}, \"translation\": {}, \"camera\": {}}}",
                     JsonText(image.szPath), JsonVector(AngleAxisOf(pose.Rc)), JsonVector(pose.t),
                     JsonText(model.Cameras[static_cast<size_t>(image.nCamera)].szName));
}

std::string ReferenceOf(const ModelFrame& frame) {
  return fmt::format(R"({{"latitude": {}, "longitude": {}, "altitude": {}}})", frame.Origin[0],
                     frame.Origin[1], frame.Origin[2]);
}

void WriteReconstruction(ForeignModel& model, TextWriter& file) {
  file.Write("[{\n  \"cameras\": {\n" + CameraLines(model) + "  },\n  \"shots\": {\n");
  for (size_t i = 0; i < model.Images.size(); ++i)
    file.Write(ShotLine(model, model.Images[i]) + (i + 1 < model.Images.size() ? ",\n" : "\n"));
  file.Write("  },\n  \"points\": {\n");
  model.Points->Rewind();
  bool first = true;
  for (StreamPoint point; model.Points->Next(point); first = false) {
    file.Write(fmt::format("{}    {}: {{\"color\": [0, 0, 0], \"coordinates\": {}}}", first ? "" : ",\n",
                           JsonText(point.szName), JsonVector(point.P)));
  }
  file.Write(first ? "  }" : "\n  }");
  if (model.Frame.Kind == FrameKind::Topocentric)
    file.Write(",\n  \"reference_lla\": " + ReferenceOf(model.Frame));
  file.Write("\n}]\n");
}

void CheckName(const std::string& name, const char* kind) {
  if (name.find_first_of("\t\r\n") != std::string::npos || name.empty()) {
    Refuse("", 0, std::string(kind) + " '" + PrintableName(name) + "' can't stand in tracks.csv",
           "Names are not empty, and hold no tabs and line ends");
  }
}

/// Shots, cameras and points are told apart by their names alone.
void CheckAllNames(ForeignModel& model) {
  std::unordered_set<std::string> names;
  const auto once = [&](const std::string& name, const char* kind) {
    if (names.insert(name).second) return;
    Refuse("", 0,
           std::string("two ") + kind + " have the name '" + PrintableName(name) +
               "', by which this form tells them apart",
           "Rename one of them");
  };
  for (const SurveyImage& image : model.Images) {
    CheckName(image.szPath, "the image");
    once(image.szPath, "images");
  }
  names.clear();
  for (const ForeignCamera& camera : model.Cameras) once(camera.szName, "cameras");
  names.clear();
  model.Points->Rewind();
  for (StreamPoint point; model.Points->Next(point);) once(point.szName, "points");
}

void WriteTracks(ForeignModel& model, TextWriter& file) {
  file.Write("OPENSFM_TRACKS_VERSION_v2\n");
  std::vector<int64_t> features(model.Images.size(), 0);
  model.Points->Rewind();
  for (StreamPoint point; model.Points->Next(point);) {
    CheckName(point.szName, "the point");
    for (const SurveyMeasurement& measured : point.Measurements) {
      const SurveyImage& image = model.Images[static_cast<size_t>(measured.nImage)];
      const ForeignCamera& camera = model.Cameras[static_cast<size_t>(image.nCamera)];
      const double larger = std::max(camera.nWidth, camera.nHeight);
      // Size of the feature, colour, segmentation and instance are not known.
      file.Write(fmt::format("{}\t{}\t{}\t{}\t{}\t0.01\t0\t0\t0\t-1\t-1\n", image.szPath, point.szName,
                             features[static_cast<size_t>(measured.nImage)]++, measured.x / larger,
                             -measured.y / larger));
    }
  }
}

}  // namespace

void WriteOpenSfm(ForeignModel& model, const ExportOptions& options, ExchangeLog& log) {
  RefuseUnused(options, {"camera"});
  CheckAllNames(model);
  for (ForeignCamera& camera : model.Cameras) {
    if (!IsHeld(camera.Lens)) camera = FittedCamera(camera, options, log);
  }
  WholeFiles files(options.szOut, model.Files);
  files.Write("reconstruction.json", [&](TextWriter& file) { WriteReconstruction(model, file); });
  files.Write("tracks.csv", [&](TextWriter& file) { WriteTracks(model, file); });
  if (model.Frame.Kind == FrameKind::Topocentric) {
    files.Write("reference_lla.json", [&](TextWriter& file) { file.Write(ReferenceOf(model.Frame) + "\n"); });
  }
  files.Commit();
  log.Say(PrintableName(files.PathOf("reconstruction.json")));
  log.Say(PrintableName(files.PathOf("tracks.csv")));
}

}  // namespace orvo::exchange
