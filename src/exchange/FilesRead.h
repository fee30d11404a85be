// The files that a command reads, which it never writes over.
#pragma once

#include <string>
#include <vector>

#include "exchange/ExchangeOptions.h"
#include "exchange/ResultReading.h"

namespace orvo::exchange {

/// Source and lists, and of a project also its tie points and its sidecar, whether they are there or not.
std::vector<std::string> FilesRead(const ImportOptions& options);
/// The result or project with all that belongs to it: tie points, sidecars, and what the run wrote beside.
std::vector<std::string> FilesRead(const ResultBlock& result, const ExportOptions& options);

/// Whether a file of this name is a part of a block: a project, its tie points, or its sidecar.
bool IsOfBlock(const std::string& path);

}  // namespace orvo::exchange
