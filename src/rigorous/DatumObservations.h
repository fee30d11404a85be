// Which observations say where a block lies.
#pragma once

#include "records/RigorousSettings.h"
#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// Takes observations out that shall not: GPS positions where control holds the datum, control where GPS
/// does, and both with the angles of the IMU for inner constraints. They can be compared with the result.
void LeaveDatumTo(DatumChoice choice, Problem& problem);

}  // namespace orvo::rigorous
