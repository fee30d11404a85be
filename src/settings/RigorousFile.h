// The settings of the rigorous method in a settings file, with every element explained.
#pragma once

#include <map>
#include <string>

#include "settings/RigorousTable.h"
#include "settings/SettingPresets.h"
#include "settings/WeightSigmas.h"

namespace orvo {

struct ChosenRigorous {
  RigorousSettings Settings;
  std::map<std::string, std::string> Why;  ///< by name: why the value, as a clause
};

/// Settings for the blocks of a preset.
ChosenRigorous RigorousFor(const SettingPreset& preset);

/// Puts in what the user states.
void State(const StatedSigmas& sigmas, ChosenRigorous& chosen);

/// Tells beside the standard deviations what the weights count those observations for.
void TellWeightSigmas(const WeightSigmas& weights, ChosenRigorous& chosen);

/// The element with all its settings, to stand behind SettingsFileText.
std::string RigorousSectionText(const ChosenRigorous& chosen);

}  // namespace orvo
