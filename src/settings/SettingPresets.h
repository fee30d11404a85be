// Settings for kinds of blocks, and their fitting to one block.
#pragma once

#include <cstdint>
#include <map>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "settings/SettingsTable.h"

namespace orvo {

struct PresetValue {
  const char* szName;   ///< of the field
  const char* szValue;  ///< as AssignValue takes it
  const char* szWhy;    ///< a clause without full stop
};

struct SettingPreset {
  const char* szName;
  const char* szFor;  ///< the blocks that it is made for, without full stop
  std::span<const PresetValue> Values;
  double fGpsXY, fGpsZ;  ///< standard deviations that its GPS positions are taken to have, object units
};

std::span<const SettingPreset> SettingPresets();
/// Null where there is none of this name.
const SettingPreset* FindPreset(std::string_view name);

/// What a run would find in a block.
struct BlockFacts {
  int32_t nImages = 0, nCameras = 0;
  int32_t nControl = 0;  ///< control points, of which 4 and more make a transform
  int32_t nStrips = 0;   ///< groups of the POS file
  /// Units of the normalised frame in one object unit, where images have been taken into the frame of control
  /// or GPS.
  double fObjectScale = 1;
  double fGroundPixel = 0;  ///< object units of a pixel at the control points; 0 where they tell none
  double fControlRays = 0;  ///< measurements of a control point, in the mean
};

/// Standard deviations that a user states; empty: those of the preset.
struct StatedSigmas {
  std::optional<double> Pixel, GpsXY, GpsZ, Gcp;
};

struct ChosenSettings {
  AdjustmentSettings Settings;
  std::map<std::string, std::string> Why;  ///< by name of the field: why the value, as a sentence
  std::vector<std::string> Notes;          ///< what the user should know, as sentences
};

/// Without facts, weights are those of a block of 500 object units, and a note says so.
ChosenSettings SettingsFor(const SettingPreset& preset, const std::optional<BlockFacts>& facts,
                           const StatedSigmas& sigmas);

}  // namespace orvo
