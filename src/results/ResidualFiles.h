// Residuals_<iteration>_<number>.res: the residuals of one section in one iteration.
#pragma once

#include <cstdint>
#include <string>

#include "base/OutputLedger.h"
#include "base/Platform.h"
#include "records/FilePaths.h"
#include "results/ResidualListing.h"
#include "results/ResidualWriter.h"

namespace orvo {

/// `number`: of the point section, or of the GPU section.
std::string ResidualFilePath(const FilePaths& paths, int32_t iteration, int32_t number);

/// Writes the file whole; false when it can't be created. A failure is counted in `outputs`. `passing`: see
/// ClosePassingOutput.
bool WriteResidualFile(const std::string& path, ResidualListing& listing, int threads, OutputLedger& outputs,
                       bool passing = false);

/// For a listing of parts: creates the file and returns while `writer` is writing it; false when it can't be
/// created. A large listing in a small memory is written whole before this returns.
bool WriteResidualFileBeside(const std::string& path, ResidualListing listing, const Platform& system,
                             ResidualWriter& writer, OutputLedger& outputs, bool passing = false);

}  // namespace orvo
