// A coordinate system as the text that point clouds carry.
#pragma once

#include <string>

namespace orvo::exchange {

/// OGC WKT in one line: of the first version, of the second where that has none for the system. Empty where
/// neither has, and in a build without PROJ. Throws CrsFault where PROJ does not know it.
std::string WktOf(const std::string& crs);

}  // namespace orvo::exchange
