// Every setting of the rigorous method, stated once: readers, command line, documentation and tests walk this
// table.
#pragma once

#include <span>
#include <string>
#include <string_view>
#include <variant>

#include "records/RigorousSettings.h"

namespace orvo {

/// The element of a settings file in the XML form that holds the elements of these settings.
inline constexpr const char* kRigorousElement = "Rigorous";

/// What can be taken for a number, both bounds included.
struct RigorousLimits {
  double fLeast = 0, fMost = 0;
  bool bZero = false;  ///< 0 as well
  bool bNone = false;  ///< "none" as well, for RigorousSettings::kNone
};

enum class RigorousKind { Real, Integer, Switch, CameraList, Word };

struct RigorousSetting {
  using Field = std::variant<double RigorousSettings::*, int32_t RigorousSettings::*,
                             bool RigorousSettings::*, CameraSigmas RigorousSettings::*,
                             DistortionTerms RigorousSettings::*, MountingForm RigorousSettings::*,
                             DriftForm RigorousSettings::*, RobustForm RigorousSettings::*,
                             DatumChoice RigorousSettings::*, PrecisionExtent RigorousSettings::*>;
  Field field;
  const char* szName = "";                  ///< of the field, the element and the key
  const char* szUnit = "";                  ///< empty without
  std::span<const char* const> Words = {};  ///< of the values of an enumeration, in their order
  RigorousLimits Limits = {};               ///< of a number, or of each of a list
  double fLow = 0, fHigh = 0;               ///< between which blocks want a number, both included
  const char* szMeaning = "";               ///< Markdown, with links from docs/ on; no full stop
  const char* szEffect = "";                ///< in which runs of the method, as a sentence

  RigorousKind Kind() const {
    return field.index() < 4 ? static_cast<RigorousKind>(field.index()) : RigorousKind::Word;
  }
};

/// In the order of a settings file.
std::span<const RigorousSetting> RigorousTable();

/// Null where there is none of this name, as it is written in files.
const RigorousSetting* FindRigorousSetting(std::string_view name);

}  // namespace orvo
