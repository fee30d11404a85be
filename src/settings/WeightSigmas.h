// The weights of settings as standard deviations.
#pragma once

#include <optional>

#include "records/AdjustmentSettings.h"
#include "settings/SettingPresets.h"

namespace orvo {

/// Object units. Empty where a weight tells none: 0 and less, without end, or in a block of unknown size.
struct WeightSigmas {
  std::optional<double> GpsXY, GpsZ;
  std::optional<double> Gcp;  ///< 0 for a weight of 1 and more, which is that of points without error
};

/// What weights count observations for beside measurements of `pixelSigma` image units of the files: the
/// reverse of GpsWeightOf and ControlWeightOf in this block.
WeightSigmas SigmasOfWeights(const AdjustmentSettings& settings, const BlockFacts& facts, double pixelSigma);

}  // namespace orvo
