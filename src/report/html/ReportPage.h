// report.html: the figures of a run in one page that needs nothing else.
#pragma once

#include <string_view>

#include "base/TextWriter.h"
#include "report/RunFigures.h"

namespace orvo::report {

/// In the head of every page, by which it can be known again.
inline constexpr std::string_view kPageMark = "<meta name=\"generator\" content=\"orvo\">\n";

/// Writes the page, section by section. What is drawn of very large blocks is thinned, what is counted never
/// is. Texts may hold any bytes.
void WriteReportPage(const RunFigures& figures, TextWriter& file);

}  // namespace orvo::report
