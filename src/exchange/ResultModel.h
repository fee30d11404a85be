// A result or project of ours as a model that other programs can hold, and the other way round.
#pragma once

#include <optional>

#include "exchange/ExchangeLog.h"
#include "exchange/ExchangeOptions.h"
#include "exchange/ForeignModel.h"
#include "exchange/ResultReading.h"
#include "exchange/Sidecar.h"
#include "exchange/SidecarFinding.h"

namespace orvo::exchange {

/// Names, cameras and measurements as the original had them, as far as options.Camera and the sidecar allow;
/// tells what each camera became. `result` outlives the model, whose points are those of the result.
ForeignModel ModelOfResult(const ResultBlock& result, const std::optional<Sidecar>& sidecar,
                           const ExportOptions& options, ExchangeLog& log);

/// The whole model in memory, as an import would have written it.
ResultBlock ResultOfModel(ForeignModel& model, const ImportOptions& options, ExchangeLog& log);

}  // namespace orvo::exchange
