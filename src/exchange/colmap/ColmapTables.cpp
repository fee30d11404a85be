#include "exchange/colmap/ColmapTables.h"

#include <cmath>
#include <limits>

#include "base/PrintableName.h"
#include "exchange/ForeignRotation.h"
#include "exchange/LensModels.h"

namespace orvo::exchange {

std::string AddCamera(ForeignCamera camera, ColmapTables& tables) {
  if (const std::string fault = FaultOf(camera); !fault.empty()) {
    return "camera " + std::to_string(camera.nId) + " can't be used: " + fault;
  }
  camera.szName = std::to_string(camera.nId);
  const auto ordinal = static_cast<int32_t>(tables.Cameras.size());
  if (!tables.OrdinalOfCamera.emplace(camera.nId, ordinal).second) {
    return "camera " + std::to_string(camera.nId) + " is there twice";
  }
  tables.Cameras.push_back(std::move(camera));
  return {};
}

std::string AddImage(const ColmapPose& pose, ColmapTables& tables) {
  const std::string named = "image " + std::to_string(pose.nId) + " (" + PrintableName(pose.szName) + ")";
  const auto camera = tables.OrdinalOfCamera.find(pose.nCamera);
  if (camera == tables.OrdinalOfCamera.end()) {
    return named + " has camera " + std::to_string(pose.nCamera) + ", which is not among the cameras";
  }
  const auto ordinal = static_cast<int32_t>(tables.Images.size());
  if (!tables.OrdinalOfImage.emplace(pose.nId, ordinal).second) return named + " is there twice";
  ForeignPose foreign;
  if (!IsUsableTranslation(pose.t) || !RotationOfQuaternion(pose.q, foreign.Rc))
    return named + " has no usable pose";
  foreign.t = pose.t;
  const SurveyPose ours = SurveyPoseOf(foreign);
  SurveyImage& image = tables.Images.emplace_back();
  constexpr int64_t kMost = std::numeric_limits<int32_t>::max();
  image.nId = pose.nId <= kMost ? static_cast<int32_t>(pose.nId) : ordinal;
  tables.ImageIds.push_back(pose.nId);
  image.nCamera = camera->second;
  image.szPath = pose.szName;
  image.R = ours.R;
  image.S = ours.S;
  return {};
}

std::string TakeTrackEntry(const ColmapTables& tables, uint64_t pointId, int64_t imageId, int64_t place,
                           StreamPoint& point) {
  const std::string named = "the track of point " + std::to_string(pointId);
  const auto found = tables.OrdinalOfImage.find(imageId);
  if (found == tables.OrdinalOfImage.end()) {
    return named + " names image " + std::to_string(imageId) + ", which is not among the images";
  }
  const int32_t ordinal = found->second;
  ColmapPoint2D measured;
  const auto image = static_cast<size_t>(ordinal);
  if (place < 0 || !tables.Measurements->At(image, static_cast<uint64_t>(place), measured)) {
    return named + " names measurement " + std::to_string(place) + " of image " + std::to_string(imageId) +
           ", which has fewer";
  }
  if (measured.nPoint != pointId) {
    return named + " names measurement " + std::to_string(place) + " of image " + std::to_string(imageId) +
           ", which belongs to another point";
  }
  if (!(std::abs(measured.X) < 1e7 && std::abs(measured.Y) < 1e7)) {
    return named + " names measurement " + std::to_string(place) + " of image " + std::to_string(imageId) +
           ", which is no place in an image";
  }
  const ForeignCamera& camera = tables.Cameras[static_cast<size_t>(tables.Images[image].nCamera)];
  point.Measurements.push_back(
      {ordinal, measured.X - camera.nWidth / 2.0, camera.nHeight / 2.0 - measured.Y});
  return {};
}

}  // namespace orvo::exchange
