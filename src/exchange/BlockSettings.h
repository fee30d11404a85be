// Settings that fit an imported block.
#pragma once

#include <cstdint>
#include <string>

namespace orvo::exchange {

/// The XML form: all points, measurements in pixels, orientations and cameras free, no POS data; the sparse
/// form where the block is large.
std::string SettingsTextFor(int64_t imageNum, int64_t cameraNum);

}  // namespace orvo::exchange
