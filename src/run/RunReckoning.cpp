#include "run/RunReckoning.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <unordered_map>

#include "block/SectionPlan.h"
#include "block/StripGroups.h"
#include "geometry/Preparation.h"
#include "records/RunLimits.h"

namespace orvo {
namespace {

/// Image units to which a measurement is good.
constexpr double kMeasurePrecision = 0.5;
constexpr double kDegrees = 180.0 / 3.14159265358979323846;

/// Longest side of the box around the points.
template <typename Points>
double ExtentOf(const Points& points) {
  std::array<double, 3> low{}, high{};
  bool first = true;
  for (const auto& point : points) {
    for (size_t axis = 0; axis < 3; ++axis) {
      low[axis] = first ? point.S[axis] : std::min(low[axis], point.S[axis]);
      high[axis] = first ? point.S[axis] : std::max(high[axis], point.S[axis]);
    }
    first = false;
  }
  return std::max({high[0] - low[0], high[1] - low[1], high[2] - low[2]});
}

/// Object units of a pixel at the middle height above the tie points with coordinates; 0 without such.
double GroundPixel(const SurveyBlock& block) {
  std::vector<double> heights;
  for (const SurveyPoint& point : block.Tie.Points) {
    if (point.P[0] != 0.0 || point.P[1] != 0.0 || point.P[2] != 0.0) heights.push_back(point.P[2]);
  }
  if (heights.empty() || block.Images.empty()) return 0.0;
  const auto middle = heights.begin() + std::ssize(heights) / 2;
  std::nth_element(heights.begin(), middle, heights.end());
  double sum = 0.0;
  for (const SurveyImage& image : block.Images)
    sum += (image.S[2] - *middle) / block.Cameras[static_cast<size_t>(image.nCamera)].dFocal;
  return sum / static_cast<double>(block.Images.size());
}

/// Groups of strips as a run forms them.
int32_t GroupNumOf(const SurveyBlock& block) {
  std::unordered_map<std::string_view, int32_t> ordinalOfName;
  for (size_t i = 0; i < block.Images.size(); ++i)
    ordinalOfName.try_emplace(block.Images[i].szName, static_cast<int32_t>(i));
  std::vector<int32_t> strips(block.Images.size(), -1), kept(block.Images.size(), 0);
  for (const SurveyPos& pos : block.Pos) {
    const auto known = ordinalOfName.find(pos.szName);
    if (known != ordinalOfName.end()) strips[static_cast<size_t>(known->second)] = pos.nStrip;
  }
  if (std::ranges::none_of(strips, [](int32_t strip) { return strip > 0; })) return 1;
  return CountGroups(FormStripGroups(strips, kept));
}

/// What a weight says of an observation of unit `scale`, in the unit of the text behind it.
std::string Accuracy(double weight, double scale) {
  if (!(weight > 0.0)) return "without weight";
  return fmt::format("{:.2g}", kMeasurePrecision * scale / std::sqrt(weight));
}

void TellPosWeights(const BlockCheckInput& input, Diagnosis& diagnosis) {
  const AdjustmentSettings& settings = input.Settings;
  const bool forced = GroupNumOf(input.Block) < 2;
  const double xy = forced ? 0.001 : settings.GPS_WeightXY, z = forced ? 1e-5 : settings.GPS_WeightZ;
  if (!std::isfinite(xy) || !std::isfinite(z)) {
    diagnosis.Add("A014", {input.Files.szSettings},
                  "an accuracy of GPS positions is 0, so that their weight has no end",
                  "Write GPS_Accuracy_XY and GPS_Accuracy_Z");
    return;
  }
  // A position of one normalised unit stands against a measurement of one working unit.
  const double unit =
      settings.Image_Coor_Scale * (settings.Coor_Normalization ? ExtentOf(input.Block.Pos) / 1000.0 : 1.0);
  std::string what;
  if (settings.Apply_GPS_Data) {
    what = fmt::format(
        "weights of {:.3g} and {:.3g} count GPS positions as good to {} object units in X and Y, {} in Z", xy,
        z, Accuracy(xy, unit), Accuracy(z, unit));
  }
  if (settings.Apply_IMU_Data) {
    const double angle = settings.Image_Coor_Scale * kDegrees;
    const bool withGps = settings.Apply_GPS_Data;
    what += fmt::format("{}angles as good to {} degrees, kappa to {}",
                        what.empty() ? "the weights count " : ", and ", Accuracy(withGps ? 1.0 : xy, angle),
                        Accuracy(withGps ? 1.0 : z, angle));
  }
  if (forced) what += ", for with fewer than two strips the settings are not consulted";
  diagnosis.Add("A013", {input.Files.szSettings}, what + "; measurements are taken as good to half a pixel",
                "");
}

std::string Megabytes(double bytes) { return fmt::format("{:.1f} MB", bytes / 1048576.0); }

void TellUnit(const BlockCheckInput& input, Diagnosis& diagnosis) {
  constexpr double kLongest = 1000;  // working units
  const double unit = std::fabs(input.Settings.Image_Coor_Scale);
  const auto isLong = [&](const SurveyCamera& camera) { return camera.dFocal * unit > kLongest; };
  const auto camera = std::ranges::find_if(input.Block.Cameras, isLong);
  if (camera == input.Block.Cameras.end() || input.Files.szSettings.empty()) return;
  diagnosis.Add("A017", {input.Files.szSettings},
                fmt::format("Image_Coor_Scale {:.6g} makes a focal length of {:.6g} working units", unit,
                            camera->dFocal * unit),
                "Write 0.001 for images measured in pixels");
}

}  // namespace

void TellWeights(const BlockCheckInput& input, Diagnosis& diagnosis) {
  const AdjustmentSettings& settings = input.Settings;
  if (settings.Direct_Intersection || settings.Absolute_Orientation) return;
  TellUnit(input, diagnosis);
  if ((settings.Apply_GPS_Data || settings.Apply_IMU_Data) && !input.Block.Pos.empty())
    TellPosWeights(input, diagnosis);
  const bool anyControl =
      std::ranges::any_of(input.Block.Control.Points, [](const SurveyPoint& one) { return one.nType == 1; });
  if (!anyControl) return;
  if (!std::isfinite(settings.GCP_Weight)) {
    diagnosis.Add("A014", {input.Files.szSettings},
                  "GCP_Accuracy is 0, so that the weight of control has no end",
                  "Write GCP_Accuracy, such as 0.01");
    return;
  }
  std::string what =
      fmt::format("a weight of {:.3g} counts measurements of control points as good to {} pixels",
                  settings.GCP_Weight, Accuracy(settings.GCP_Weight, 1.0));
  if (const double ground = GroundPixel(input.Block); ground > 0.0)
    what += fmt::format(", {} object units on the ground", Accuracy(settings.GCP_Weight, ground));
  diagnosis.Add("A013", {input.Files.szSettings},
                what + "; those of tie points are taken as good to half a pixel", "");
}

void ReckonMemory(const BlockCheckInput& input, int64_t freeBytes, Diagnosis& diagnosis) {
  const SurveyBlock& block = input.Block;
  const auto images = static_cast<int32_t>(block.Images.size()),
             cameras = static_cast<int32_t>(block.Cameras.size());
  const int64_t points = std::ssize(block.Tie.Points) + std::ssize(block.Control.Points);
  const int64_t need = EstimateBlockBytes(
      images, cameras, points, std::ssize(block.Tie.Measurements) + std::ssize(block.Control.Measurements));
  const int32_t sections = CountSections(need, 0.8 * static_cast<double>(freeBytes), points);
  if (sections > 1 && input.Files.szOvt.empty())
    diagnosis.Add(
        "M002", {input.Files.szProject},
        fmt::format("the points are reckoned to take {}, in {} sections",
                    Megabytes(static_cast<double>(need)), sections),
        "Count on more memory with --memory of orvo adjust, or convert the project to .ovc and .ovt");
  std::string what = fmt::format("the points are reckoned to take {}, read in {} section{}",
                                 Megabytes(static_cast<double>(need)), sections, sections == 1 ? "" : "s");
  ImageTable imageTable;
  imageTable.nImageFileNum = imageTable.nImageNum = imageTable.nUnknownImageNum = images;
  imageTable.nGroupNum = block.Pos.empty() ? 0 : GroupNumOf(block);
  CameraTable cameraTable;
  cameraTable.nCameraFileNum = cameraTable.nCameraNum = cameraTable.nCameraRowNum = cameras;
  RunLimits limits = LimitsOf(input.Settings);
  UnknownCounts unknowns;
  const bool adjusts = !input.Settings.Direct_Intersection && !input.Settings.Absolute_Orientation;
  if (adjusts &&
      LayOutUnknowns(input.Settings, imageTable, cameraTable, limits, unknowns) == LayoutFault::None) {
    const double elements = static_cast<double>(unknowns.nUnknownNum) * unknowns.nUnknownNum;
    what += fmt::format("; {} unknowns", unknowns.nUnknownNum);
    // On a device there are no dense equations.
    if (!limits.Apply_PCG_Model && !limits.Apply_GPU) {
      what += ", whose dense equations take " + Megabytes(8.0 * elements);
      // As the run holds them against its memory.
      if (elements > 0.9 * static_cast<double>(std::max<int64_t>(freeBytes, 0)))
        diagnosis.Add("M003", {input.Files.szSettings},
                      "the dense equations take " + Megabytes(8.0 * elements) + ", and " +
                          Megabytes(static_cast<double>(freeBytes)) + " are free",
                      "Set Apply_PCG_Model true");
    }
  }
  diagnosis.Add("M001", {input.Files.szOvt.empty() ? input.Files.szProject : input.Files.szOvt}, what, "");
}

}  // namespace orvo
