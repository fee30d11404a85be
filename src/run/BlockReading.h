// What settings that fit a block have to know of it.
#pragma once

#include <optional>

#include "check/Diagnosis.h"
#include "run/EntryPoint.h"
#include "settings/SettingPresets.h"

namespace orvo {

/// Reads the project, the GCP and the POS file that `paths` names as a run with these settings would do, and
/// takes the block into the frame in which it would be adjusted. Writes nothing. Nothing, with the errors in
/// `diagnosis`, where a run would be refused.
std::optional<BlockFacts> ReadBlockFacts(const RunPaths& paths, const AdjustmentSettings& settings,
                                         const Platform& system, Diagnosis& diagnosis);

}  // namespace orvo
