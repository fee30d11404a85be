// summary.json read back, to make a report of it later.
#pragma once

#include <string>
#include <variant>

#include "base/InputFiles.h"
#include "report/RunFigures.h"

namespace orvo::report {

/// The figures of a file, or why it can't be used, in a clause.
using SummaryOrFault = std::variant<RunFigures, std::string>;

/// Takes any bytes. What a newer version of the form has besides is passed over; another first number of the
/// version is a fault, as is whatever is missing or of the wrong kind.
SummaryOrFault ReadSummary(const std::string& path, InputFiles& inputs);

}  // namespace orvo::report
