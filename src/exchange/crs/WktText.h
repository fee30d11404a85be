// A coordinate system as the text that point clouds carry.
#pragma once

#include <string>

namespace orvo::exchange {

/// OGC WKT of the first version, in one line. Empty where PROJ has none for the system, and in a build
/// without PROJ. Throws CrsFault where PROJ does not know it.
std::string WktOf(const std::string& crs);

}  // namespace orvo::exchange
