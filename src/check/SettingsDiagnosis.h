// A settings file with all that is wrong in it, element by element.
#pragma once

#include <span>
#include <string>

#include "check/Diagnosis.h"
#include "check/SettingsCheck.h"

namespace orvo {

/// Codes A of the file's form, its names and its values.
void DiagnoseSettings(const std::string& path, std::span<const KnownSetting> known, Diagnosis& diagnosis);

/// A place in a text, both from 1.
struct TextPlace {
  int64_t nLine = 0, nColumn = 0;
};
/// Of a byte of the file; 0 where it can't be read.
TextPlace PlaceOfOffset(const std::string& path, int64_t offset);

}  // namespace orvo
