// The generated blocks on which the rigorous method stands beside the peer.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "whole/Cases.h"

namespace orvo::bench {

/// Sizes that there are, in images: 30, 100, 1,000, 10,000, 100,000 (a few images more or less). One camera,
/// 4 rays a point, noise of half a pixel, control points without error; 600 measurements an image, 100 with
/// 100,000.
std::vector<int64_t> RigorousSizes();

/// Makes the files of a size below `workFolder`, or finds them there. Without a result after a message.
std::optional<CaseFiles> PrepareRigorousBlock(int64_t images, const std::string& workFolder);

/// KEY=VALUE of what both programs adjust by: residuals in the corrected image, control held, no search for
/// gross errors.
std::vector<std::string> RigorousSettingsOfBlocks();

}  // namespace orvo::bench
