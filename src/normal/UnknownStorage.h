// Memory for the unknowns of an adjustment and their equations.
#pragma once

#include <cstdint>

#include "normal/NormalEquations.h"
#include "records/UnknownLayout.h"

namespace orvo {

/// Zeroed POS parameters, constant vector, block rows, and in the dense form the matrix. False when it does
/// not fit: the elements of the dense matrix are held against 0.9 of the free bytes.
bool AllocateUnknowns(const UnknownCounts& unknowns, int32_t groupNum, bool dense, int64_t freeBytes,
                      NormalEquations& normal);

/// Zeroed storage for one iteration, in the form that is asked for.
void MakeEquations(NormalEquations& normal, int32_t unknownNum, bool sparse);

}  // namespace orvo
