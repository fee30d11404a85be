// What is asked of every page, for tests.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "report/RunFigures.h"

namespace orvo::test {

/// report.html of these figures, through a file.
std::string PageOf(const report::RunFigures& figures);

/// What is wrong with the tags of a page: one that is not closed, closed twice or crossed, a quote or an
/// angle bracket that is not escaped; empty where nothing is.
std::string TagFault(std::string_view page);

/// What lies between `begin` and `end` at each place of the page.
std::vector<std::string> AllBetween(std::string_view page, std::string_view begin, std::string_view end);

/// How often `text` is in the page.
size_t CountOf(std::string_view page, std::string_view text);

/// The same figures with every text that comes from files replaced.
report::RunFigures WithTexts(report::RunFigures figures, const std::string& text);

/// The same figures with every number of a floating kind replaced.
report::RunFigures WithNumbers(report::RunFigures figures, double value);

}  // namespace orvo::test
