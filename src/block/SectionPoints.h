// The points of one section, from all of the files that hold them.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

#include "block/SectionReading.h"

namespace orvo {

/// The files that hold the points, besides the .ovt.
struct PointFiles {
  const std::string& szProject;
  const std::string& szGcp;
};

/// Reads a section into pObjectPoints and pImagePoints, and takes the ground sample distance `gsd` from it.
/// `count`: object points read; an empty section leaves the arrays empty. `tiePointsRead` is called behind
/// the tie points and before the control points of the GCP file. True, whatever the files hold, unless there
/// is no such section or reading failed.
bool ReadSection(const SectionReading& reading, int32_t section, const PointFiles& files,
                 const std::function<void()>& tiePointsRead, float& gsd, int64_t& count);

}  // namespace orvo
