// What the solution of an iteration leaves behind: Corrections_<iteration>.txt, LM_R_Vector_<iteration>.txt.
#pragma once

#include <cstdint>
#include <span>

#include "base/OutputLedger.h"
#include "records/FilePaths.h"

namespace orvo {

/// One line "%20.9e\n" for each correction, in the order of the unknowns, before they are applied. False when
/// the file can't be created. A failure is counted in `outputs`; so is that of the other writer.
bool WriteCorrectionFile(int32_t iteration, std::span<const double> corrections, const FilePaths& paths,
                         OutputLedger& outputs);

/// One line "%12.3lf\t\n" for each element of what a dense solution leaves of the right side.
bool WriteRemainderFile(int32_t iteration, std::span<const double> remainder, const FilePaths& paths,
                        OutputLedger& outputs);

}  // namespace orvo
