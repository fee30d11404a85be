#include <fmt/format.h>

#include <algorithm>
#include <cmath>

#include "check/BlockCheck.h"
#include "check/block/BlockPieces.h"
#include "check/block/BlockScene.h"
#include "check/block/CoordinateRange.h"
#include "check/block/FindingPlaces.h"
#include "check/block/FindingTexts.h"
#include "check/block/StrayImages.h"

namespace orvo {
namespace {

constexpr double kShortestFocal = 0.3, kLongestFocal = 10;  // image widths
constexpr double kPoorStart = 50, kHopelessStart = 500;     // image units
constexpr int64_t kJoiningPoints = 3, kFewPoints = 12, kTooFewPoints = 4;
constexpr double kLowBaseToHeight = 0.05;
constexpr double kFlatRelief = 0.02;
constexpr double kNearVertical = 0.985;  // cosine of 10 degrees
constexpr double kListingLimit = 0.1;    // image units

double CornerDistortion(const SurveyCamera& camera) {
  const double u = camera.nWidth / 2.0 + std::fabs(camera.dX0),
               v = camera.nHeight / 2.0 + std::fabs(camera.dY0);
  const double r2 = u * u + v * v;
  const auto [k1, k2] = DistortionOfRun(camera);
  return std::max(std::fabs(k1 * r2 + k2 * r2 * r2), std::fabs(k1 * r2));
}

void CheckCameras(const BlockCheckInput& input, Diagnosis& diagnosis) {
  const auto& cameras = input.Block.Cameras;
  for (size_t i = 0; i < cameras.size(); ++i) {
    const SurveyCamera& camera = cameras[i];
    const FindingPlace place = PlaceOfCamera(input, i);
    if (camera.nWidth <= 0 || camera.nHeight <= 0) {
      diagnosis.Add("G013", place, fmt::format("image extent {} x {}", camera.nWidth, camera.nHeight),
                    "Write width and height of the images in pixels: thinning spreads points over them");
      continue;
    }
    if (!IsUsable(camera)) continue;
    const double width = std::max(camera.nWidth, camera.nHeight);
    if (camera.dFocal < kShortestFocal * width || camera.dFocal > kLongestFocal * width) {
      diagnosis.Add(
          "G004", place,
          fmt::format("focal length {:.6g} is {:.3g} image widths", camera.dFocal, camera.dFocal / width),
          "Write it in the unit of the measurements: millimetres divided by the size of a pixel");
    }
    const double error = std::fabs(camera.dX0 - camera.dY0) * CornerDistortion(camera);
    if (error > kListingLimit) {
      diagnosis.Add("G012", place,
                    fmt::format("x0 - y0 = {:.4g} times the distortion reaches {:.2g} px in the corners",
                                camera.dX0 - camera.dY0, error),
                    "The adjustment is right, but listed residuals are off by up to that in y: judge them by "
                    "the verdict");
    }
  }
}

void CheckExtents(const BlockCheckInput& input, Diagnosis& diagnosis) {
  const SurveyPoints& points = input.Block.Tie;
  const CoordinateRange range = FindCoordinateRange(input.Block, points);
  if (range.nOutside == 0) return;
  const double share = static_cast<double>(range.nOutside) / static_cast<double>(range.nMeasurements);
  const SurveyPoint& point = points.Points[static_cast<size_t>(range.nFirstPoint)];
  const SurveyImage& image = input.Block.Images[static_cast<size_t>(range.nFirstImage)];
  const SurveyCamera& camera = input.Block.Cameras[static_cast<size_t>(image.nCamera)];
  diagnosis.Add(
      share > 0.01 ? "G002" : "G003", PlaceOfTiePoint(input, point),
      fmt::format("{} of {} measurements lie outside their images, the first of them of {} on {}",
                  range.nOutside, range.nMeasurements, NameOfPoint(point), NameOfImage(image)),
      fmt::format("Coordinates count from the image centre, here to {} in x and {} in y: look at them and "
                  "at the extent in the camera line",
                  camera.nWidth / 2.0, camera.nHeight / 2.0));
}

void CheckScene(const BlockCheckInput& input, const BlockScene& scene, Diagnosis& diagnosis) {
  const FindingPlace place = PlaceOfImage(input, 0);
  if (scene.Points.size() < 8) return;
  if (scene.dBehind > 0.05) {
    diagnosis.Add("G001", place,
                  fmt::format("the rays of {:.0f} % of the points meet behind a camera", 100 * scene.dBehind),
                  "Look for wrong matches, or for images whose orientation is wrong");
  }
  if (scene.dRms > kHopelessStart) {
    diagnosis.Add("G006", place, fmt::format("residuals at the start are {:.0f} px", scene.dRms),
                  "An adjustment finds no way from there: look at orientations, focal length and ordinals of "
                  "the images");
  } else if (scene.dRms > kPoorStart) {
    diagnosis.Add(
        "G005", place, fmt::format("residuals at the start are {:.0f} px", scene.dRms),
        "An adjustment takes more iterations from there: better orientations or a better focal length help");
  }
  if (scene.dBaseToHeight < kLowBaseToHeight) {
    diagnosis.Add(
        "G010", place,
        fmt::format("the base is {:.2g} of the distance for half of the points", scene.dBaseToHeight),
        "Points need images from places further apart: take such images into the block, or leave out "
        "images from the same place");
  }
}

bool HasControlInHeight(const BlockCheckInput& input) {
  const bool control = std::ranges::any_of(input.Block.Control.Points,
                                           [](const SurveyPoint& point) { return point.nType == 1; });
  return control || (input.Settings.Apply_GPS_Data && !input.Block.Pos.empty());
}

void CheckFocalAgainstHeight(const BlockCheckInput& input, const BlockScene& scene,
                             const std::vector<bool>& usable, Diagnosis& diagnosis) {
  if (!input.Settings.Set_IOP_Unknown || HasControlInHeight(input) || !(scene.dDepth > 0)) return;
  const double relief = (scene.High[2] - scene.Low[2]) / scene.dDepth;
  if (scene.Points.size() < 8 || relief > kFlatRelief) return;
  for (size_t i = 0; i < usable.size(); ++i) {
    if (usable[i] && input.Block.Images[i].R[8] < kNearVertical) return;
  }
  diagnosis.Add(
      "G011", PlaceOfCamera(input, 0),
      fmt::format(
          "focal length and flying height can't be told apart: the relief is {:.1f} % of the height, and "
          "all views are near vertical",
          100 * relief),
      "Keep the camera (Set_IOP_Unknown false), or add control points or GPS positions");
}

void CheckStrays(const BlockCheckInput& input, const std::vector<bool>& usable, Diagnosis& diagnosis) {
  for (const StrayImage& stray : FindStrayImages(input.Block, usable, input.Settings.Object_Coor_Scale)) {
    const std::string name = NameOfImage(input.Block.Images[stray.nImage]);
    diagnosis.Add(
        "G014", PlaceOfImage(input, stray.nImage),
        std::isfinite(stray.dMiss)
            ? fmt::format("the rays of image {} miss by {} px what the other images see", name,
                          Figure(stray.dMiss))
            : fmt::format("image {} looks away from what the other images see", name),
        "Look at its orientation and its camera, at the ordinal in its measurements, or leave it out");
  }
}

void CheckImages(const BlockCheckInput& input, const std::vector<bool>& usable, Diagnosis& diagnosis) {
  const SurveyBlock& block = input.Block;
  const auto [counts, pieces] = FindPieces(block, usable, kJoiningPoints);
  for (size_t i = 0; i < usable.size(); ++i) {
    // One without any is left out of a run, which is told as such.
    if (!usable[i] || counts[i] == 0 || counts[i] >= kFewPoints) continue;
    diagnosis.Add(counts[i] < kTooFewPoints ? "G009" : "G008", PlaceOfImage(input, i),
                  fmt::format("image {} has {} that other images share", NameOfImage(block.Images[i]),
                              CountOf(counts[i], "point", {})),
                  "Match more points on it, or leave it out");
  }
  for (size_t piece = 1; piece < pieces.size(); ++piece) {
    const auto first = static_cast<size_t>(pieces[piece].front());
    if (pieces[piece].size() == 1 && counts[first] < kFewPoints) continue;
    std::vector<std::string> names;
    for (const int32_t image : pieces[piece]) {
      if (names.size() < 3) names.push_back(NameOfImage(block.Images[static_cast<size_t>(image)]));
    }
    diagnosis.Add(
        "G007", PlaceOfImage(input, first),
        fmt::format("{} share fewer than {} points with the rest of the block",
                    CountOf(static_cast<int64_t>(pieces[piece].size()), "image", names), kJoiningPoints),
        "Match points between the pieces, or adjust each piece on its own");
  }
}

}  // namespace

void CheckGeometry(const BlockCheckInput& input, Diagnosis& diagnosis) {
  if (input.Block.Images.empty()) return;
  const std::vector<bool> usable = UsableImages(input.Block);
  const BlockScene scene = SampleScene(input.Block, usable, input.Settings.Object_Coor_Scale);
  const int64_t unlikelyFocals = diagnosis.CountOf("G004");
  CheckCameras(input, diagnosis);
  CheckExtents(input, diagnosis);
  // How rays meet with a wrong focal length says nothing more.
  if (diagnosis.CountOf("G004") == unlikelyFocals) {
    CheckScene(input, scene, diagnosis);
    CheckStrays(input, usable, diagnosis);
  }
  CheckFocalAgainstHeight(input, scene, usable, diagnosis);
  CheckImages(input, usable, diagnosis);
}

}  // namespace orvo
