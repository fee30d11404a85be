// Units in the headings of a table: Height [ft], omega (rad).
#pragma once

#include <optional>
#include <string>
#include <string_view>

namespace orvo::exchange {

enum class UnitKind { Length, Angle, Pixel };

struct HeadingUnit {
  UnitKind Kind = UnitKind::Length;
  double dFactor = 1;      ///< metres, degrees or pixels in one
  bool bSomeFoot = false;  ///< a foot that may be the international one or that of the US survey
  const char* szName = "m";
};

/// What a heading says behind its name.
struct UnitWords {
  std::optional<HeadingUnit> Unit;
  std::string szUnknown;  ///< that is neither a unit nor a word that goes with coordinates
};

/// Where the first bracket of a heading opens; its length where there is none.
size_t StartOfBracket(std::string_view heading);

/// The unit of what stands from the first bracket on. Words that say what is measured and not in what pass:
/// X (Easting), Latitude (WGS84), Height [m MSL]. Two units are unknown words.
UnitWords UnitOfHeading(std::string_view heading);

}  // namespace orvo::exchange
