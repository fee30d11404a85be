// The accuracy of control points, in three further columns of their lines in the GCP file.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "base/InputFiles.h"
#include "records/GcpSigma.h"

namespace orvo {

/// Of a point line "name X Y Z type sX sY sZ": standard deviations in object units, 0 for a coordinate that
/// is held, a negative number for one that is not observed. Not told where the line does not go on with three
/// finite numbers; what stands behind them counts for nothing.
GcpSigma ParseGcpSigma(std::string_view line);

/// Those of all points of the file, in its order; empty where it can't be read.
std::vector<GcpSigma> ReadGcpSigmas(const std::string& gcp, InputFiles& inputs);

}  // namespace orvo
