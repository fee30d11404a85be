#include "settings/SettingPresets.h"

#include <fmt/format.h>

#include <algorithm>

#include "settings/SettingNames.h"
#include "settings/SettingValues.h"
#include "settings/SettingWeights.h"

namespace orvo {
namespace {

/// Of a block whose size nobody knows.
constexpr double kAssumedExtent = 500;
/// More unknowns take more time and memory in the dense form than they are worth.
constexpr int64_t kMostDenseUnknowns = 6000;
constexpr int32_t kControlForTransform = 4;

// What all presets have in common.
constexpr PresetValue kCommon[] = {
    {"Resampling_Points", "false", "all tie points are used"},
    {"Damping_Coefficient", "1e-4", "holds the frame of a block without control, and hardly anything else"},
    {"Free_LM_Iteration_Num", "8", "start values of a structure from motion want 6 to 10"},
    {"GCP_LM_Iteration_Num", "8", "as Free_LM_Iteration_Num"},
    {"Max_PCG_Iteration_Num", "300", "what a run sets anyway"},
    {"Correct_LinearError", "false", "short strips show no drift"},
    {"Aircraft_Speed", "0", "of no account without drift"},
    {"GPS_WeightXY", "1e-6", "not used, for GPS data is off"},
    {"GPS_WeightZ", "1e-6", "not used, for GPS data is off"},
    {"GCP_Weight", "1", "a control point is measured as well as a tie point, and its coordinates hold"},
};

constexpr PresetValue kDroneRtk[] = {
    {"Apply_GPS_Data", "true", "positions good to centimetres hold the block where control is rare"},
};

constexpr PresetValue kCrewed[] = {
    {"Set_IOP_Unknown", "false", "metric cameras come with a calibration better than a block finds"},
    {"Apply_GPS_Data", "true", "positions of the flight are good to a decimetre"},
    {"Correct_LinearError", "true", "long strips drift"},
    {"Aircraft_Speed", "70", "metres a second, 140 knots"},
};

constexpr PresetValue kOblique[] = {
    {"Free_LM_Iteration_Num", "12", "views from the side converge more slowly"},
    {"GCP_LM_Iteration_Num", "12", "as Free_LM_Iteration_Num"},
    {"Max_LM_Iteration_Num", "30", "above the free iterations"},
    {"Gross_Point_Threshold", "6", "residuals of views from the side spread more"},
};

constexpr PresetValue kLarge[] = {
    {"Apply_PCG_Model", "true", "from about a thousand images on the dense form takes too long"},
    {"Free_LM_Iteration_Num", "12", "steps of the iterative solver are rough, so there are more of them"},
    {"GCP_LM_Iteration_Num", "12", "as Free_LM_Iteration_Num"},
    {"Max_LM_Iteration_Num", "30", "above the free iterations"},
};

constexpr PresetValue kCalibrated[] = {
    {"Set_IOP_Unknown", "false", "the cameras stay as the project has them"},
};

const SettingPreset kPresets[] = {
    {"drone", "images of a drone with a common camera, with control points or free", {}, 1.5, 3},
    {"drone-rtk", "images of a drone whose positions are good to centimetres", kDroneRtk, 0.02, 0.03},
    {"crewed", "images of an aircraft with calibrated cameras and GPS", kCrewed, 0.05, 0.1},
    {"oblique", "blocks with views from the side, of one or several cameras", kOblique, 1.5, 3},
    {"large", "more than about a thousand images", kLarge, 1.5, 3},
    {"calibrated", "blocks whose cameras are known and shall stay as they are", kCalibrated, 1.5, 3},
};

/// Settings under way to a file.
class Chooser {
 public:
  Chooser(const SettingPreset& preset, const StatedSigmas& sigmas) : Preset(preset), Sigmas(sigmas) {
    for (const PresetValue& value : kCommon) Set(value.szName, value.szValue, value.szWhy);
    for (const PresetValue& value : preset.Values) Set(value.szName, value.szValue, value.szWhy);
    if (sigmas.GpsXY && !Chosen.Settings.Apply_GPS_Data)
      Set("Apply_GPS_Data", "true", "a standard deviation of GPS positions was stated");
  }

  void FitSolver(const BlockFacts& facts);
  void FitDamping(const BlockFacts& facts);
  void FitGps(const std::optional<BlockFacts>& facts);
  void FitControl(const std::optional<BlockFacts>& facts);

  ChosenSettings Chosen;

 private:
  double PixelSigma() const { return Sigmas.Pixel.value_or(0.5); }
  void Set(const char* name, const std::string& value, const std::string& why) {
    AssignValue(*FindSetting(name).pSetting, value, false, Chosen.Settings);
    Chosen.Why[name] = why;
  }
  /// At least so many free iterations.
  void Hold(int32_t iterations, const std::string& why) {
    AdjustmentSettings& settings = Chosen.Settings;
    if (settings.Free_LM_Iteration_Num >= iterations) return;
    Set("Free_LM_Iteration_Num", std::to_string(iterations), why);
    Set("GCP_LM_Iteration_Num", std::to_string(iterations), why);
    if (settings.Max_LM_Iteration_Num < iterations + 2)
      Set("Max_LM_Iteration_Num", std::to_string(iterations + 2), "above the free iterations");
  }

  const SettingPreset& Preset;
  const StatedSigmas& Sigmas;
};

void Chooser::FitSolver(const BlockFacts& facts) {
  const int64_t unknowns =
      int64_t{6} * facts.nImages + (Chosen.Settings.Set_IOP_Unknown ? int64_t{5} * facts.nCameras : 0);
  if (unknowns <= kMostDenseUnknowns || Chosen.Settings.Apply_PCG_Model) return;
  Set("Apply_PCG_Model", "true",
      fmt::format("{} unknowns, of which the dense form takes {} at most", unknowns, kMostDenseUnknowns));
  Hold(12, "steps of the iterative solver are rough, so there are more of them");
}

void Chooser::FitDamping(const BlockFacts& facts) {
  const bool sparse = Chosen.Settings.Apply_PCG_Model, tied = facts.nControl >= kControlForTransform;
  if (Chosen.Settings.Set_IOP_Unknown && facts.nImages > 1 && facts.nCameras == facts.nImages) {
    const char* damping = sparse ? "1e-4" : tied ? "1e-14" : "1e-10";
    Set("Damping_Coefficient", damping,
        sparse ? "with a camera for each image rough steps run away without damping"
               : "with a camera for each image the dense form is held back by its own increments");
    Hold(18, "with a camera for each image the block settles slowly");
    return;
  }
  if (tied)
    Set("Damping_Coefficient", "1e-8",
        fmt::format("{} control points hold the frame, so that damping need not", facts.nControl));
  else if (facts.nControl > 0)
    Set("Damping_Coefficient", "1e-6", "few control points are held back by a larger one");
}

void Chooser::FitGps(const std::optional<BlockFacts>& facts) {
  if (!Chosen.Settings.Apply_GPS_Data) return;
  const double scale = facts ? facts->fObjectScale : 1000 / kAssumedExtent;
  const WeightUnits units{PixelSigma(), Chosen.Settings.Image_Coor_Scale, scale};
  const auto set = [&](const char* name, double sigma) {
    Set(name, fmt::format("{}", GpsWeightOf(sigma, units)),
        fmt::format("GPS positions good to {}, measurements to {} pixels, {} normalised units in one of the "
                    "project",
                    sigma, PixelSigma(), scale));
  };
  set("GPS_WeightXY", Sigmas.GpsXY.value_or(Preset.fGpsXY));
  set("GPS_WeightZ", Sigmas.GpsZ.value_or(Preset.fGpsZ));
  if (!facts)
    Chosen.Notes.push_back(
        fmt::format("GPS weights follow from the size of the block, which is not known, and are those of one "
                    "of {} m: name "
                    "the project to have them computed",
                    kAssumedExtent));
  else if (facts->nStrips == 1)
    Chosen.Notes.emplace_back(
        "With fewer than two strips in the POS file a run does not consult the GPS weights, but takes 0.001 "
        "and "
        "1e-5: give the images strip IDs in two strips or more");
}

void Chooser::FitControl(const std::optional<BlockFacts>& facts) {
  if (!Sigmas.Gcp) return;
  if (!facts || !(facts->fGroundPixel > 0)) {
    Chosen.Notes.emplace_back(
        "The weight of control points follows from their measurements and the size of a pixel on the ground, "
        "which are not known, and is left at 1: name project and GCP file");
    return;
  }
  const ControlUnits units{PixelSigma(), facts->fGroundPixel, facts->fControlRays};
  Set("GCP_Weight", fmt::format("{}", ControlWeightOf(*Sigmas.Gcp, units)),
      fmt::format(
          "coordinates of control points good to {}, measurements to {} pixels of {:.4g} on the ground, "
          "{:.3g} measurements a point",
          *Sigmas.Gcp, PixelSigma(), facts->fGroundPixel, facts->fControlRays));
}

}  // namespace

std::span<const SettingPreset> SettingPresets() { return kPresets; }

const SettingPreset* FindPreset(std::string_view name) {
  const auto preset = std::ranges::find_if(kPresets, [&](const auto& one) { return name == one.szName; });
  return preset == std::end(kPresets) ? nullptr : &*preset;
}

ChosenSettings SettingsFor(const SettingPreset& preset, const std::optional<BlockFacts>& facts,
                           const StatedSigmas& sigmas) {
  Chooser chooser(preset, sigmas);
  if (facts) {
    chooser.FitSolver(*facts);
    chooser.FitDamping(*facts);
  }
  chooser.FitGps(facts);
  chooser.FitControl(facts);
  return std::move(chooser.Chosen);
}

}  // namespace orvo
