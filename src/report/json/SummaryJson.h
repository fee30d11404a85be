// summary.json: all figures of a run, for programs.
#pragma once

#include <string>

#include "base/TextWriter.h"
#include "report/RunFigures.h"

namespace orvo::report {

/// The version of the form; docs/summary.schema.json describes it. The first number changes when a reader of
/// the form before would read something wrong.
inline constexpr char kSummaryVersion[] = "1.1";

/// What the file says of itself, beside its version.
inline constexpr char kSummaryForm[] = "orvo-summary";

/// Writes all of `figures`, piece by piece: memory is that of one image or point. Texts may hold any bytes:
/// those that are no UTF-8 are written as ValidUtf8 shows them. Numbers that are none are null, all others
/// have the digits that give them back.
void WriteSummary(const RunFigures& figures, TextWriter& file);

}  // namespace orvo::report
