// Test.txt: projection centres beside their GPS positions, as the transform onto these was found.
#pragma once

#include "base/OutputLedger.h"
#include "base/RunLog.h"
#include "records/FilePaths.h"
#include "records/ImageTable.h"

namespace orvo {

/// One line for each kept image: its projection centre, and its GPS position or, with the seven `parameters`
/// of a transform, how far the transformed centre is off it. A failure is counted in `outputs`.
void WriteGpsDifferences(const ImageTable& images, const double* parameters, const FilePaths& paths,
                         OutputLedger& outputs, RunLog& log);

}  // namespace orvo
