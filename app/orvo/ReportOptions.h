// What a run writes besides its results, as options of a command.
#pragma once

#include <CLI/CLI.hpp>
#include <functional>

#include "run/ReportChoice.h"

namespace orvo {

/// Adds --no-report, --residuals-csv, --points and --survey-sigma. `choice` outlives the parsing.
void AddReportOptions(CLI::App& app, ReportChoice& choice);

}  // namespace orvo
