// The flow of a rigorous adjustment, from reading to the last output file.
#pragma once

#include <string>

namespace orvo {

class CBundleAdjustment;

/// Reads the block as the classic flow does, with all points in one section and none thinned out, and takes
/// it onto control or GPS as that does. Then adjusts it by least squares (rigorous/RobustAdjust.h), and
/// writes the result files in their classic forms. 1 when it came to its end, and 0, after a message, when
/// not.
int RunRigorousAdjustment(CBundleAdjustment& run, const std::string& project, const std::string& gcp,
                          const std::string& pos, std::string& output);

}  // namespace orvo
