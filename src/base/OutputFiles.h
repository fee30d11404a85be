// Opening and closing of the files that a run writes.
#pragma once

#include <string>

#include "base/OutputFolder.h"
#include "base/TextWriter.h"

namespace orvo {

/// Creates the file with this final path where the folder wants it written. False, with the fault noted in
/// the folder, when it can't be created.
bool OpenOutput(OutputFolder& outputs, TextWriter& file, const std::string& path);

/// Closes a file that OpenOutput created. False, with the fault noted in the folder, when it is not whole.
bool CloseOutput(OutputFolder& outputs, TextWriter& file);

/// Closes a file that another may yet take the place of: nothing brings it to the disk before the run ends.
bool ClosePassingOutput(OutputFolder& outputs, TextWriter& file);

}  // namespace orvo
