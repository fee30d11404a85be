// The sidecar that a result belongs to.
#pragma once

#include <optional>
#include <vector>

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/ResultReading.h"
#include "exchange/Sidecar.h"

namespace orvo::exchange {

/// The sidecar that belongs to a result: named by options.szSidecar, or beside the project, or the one beside
/// the result folder that has its images; without cameras and images that the result leaves out. Throws
/// ExchangeFault where a named one is missing or another block's.
std::optional<Sidecar> SidecarOf(const ResultBlock& result, const ExportOptions& options, ExchangeLog& log);

/// The named one, or all that lie beside the project or near the result, that have its images, whatever their
/// measurements; those that can't be read are passed over.
std::vector<Sidecar> SidecarsOfImages(const ResultBlock& result, const ExportOptions& options);

}  // namespace orvo::exchange
