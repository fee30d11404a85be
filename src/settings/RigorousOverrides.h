// Settings of the rigorous method that a command line says, which count more than those of the file.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "settings/RigorousTable.h"

namespace orvo {

/// One KEY=VALUE that was found to hold.
struct RigorousOverride {
  const RigorousSetting* pSetting = nullptr;
  std::string szValue;
};

/// Whether what stands before the first '=' is the name of a setting of this method.
bool NamesRigorousSetting(std::string_view text);

/// Takes KEY=VALUE apart. Empty when `result` holds; otherwise what is wrong with the text, as a clause with
/// what helps.
std::string ParseOverride(std::string_view text, RigorousOverride& result);

/// Those of the texts that hold, each setting once, the last of it.
std::vector<RigorousOverride> RigorousOverridesOf(std::span<const std::string> texts);

/// In their order, so that the last one of a setting counts.
void ApplyOverrides(std::span<const RigorousOverride> overrides, RigorousSettings& settings);

/// What is odd about those of these texts KEY=VALUE that are settings of this method and in force: clauses
/// that begin with "warning: ". A value outside of those that blocks want.
std::vector<std::string> RigorousRemarksOn(std::span<const std::string> texts);

}  // namespace orvo
