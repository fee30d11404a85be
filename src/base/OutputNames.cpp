#include "base/OutputNames.h"

#include <algorithm>
#include <iterator>

namespace orvo {
namespace {

constexpr std::string_view kFixedNames[] = {
    "OrvoResult.ovc",       "OrvoResult.ovt",       "OrvoResult.rst", "OrvoResult_gcp.rst",
    "OrvoAdjustReport.txt", "ObjectPointError.xyz", "Test.txt",       "Resampled.ovt",
    "verdict.txt",          kSummaryName,           kReportPageName,  "residuals.csv",
    "points.csv",           "points.ply",           "precision.csv",  "blunders.csv"};

/// Each '#' stands for one or more digits.
constexpr std::string_view kNumberedNames[] = {"Residuals_#_#.res", "Corrections_#.txt", "LM_R_Vector_#.txt"};

bool IsDigit(char c) { return c >= '0' && c <= '9'; }

bool Matches(std::string_view name, std::string_view pattern) {
  size_t at = 0;
  for (const char c : pattern) {
    if (c != '#') {
      if (at >= name.size() || name[at++] != c) return false;
      continue;
    }
    const size_t first = at;
    while (at < name.size() && IsDigit(name[at])) ++at;
    if (at == first) return false;
  }
  return at == name.size();
}

}  // namespace

bool IsOutputName(std::string_view name) {
  return std::ranges::find(kFixedNames, name) != std::end(kFixedNames) ||
         std::ranges::any_of(kNumberedNames,
                             [&](std::string_view pattern) { return Matches(name, pattern); });
}

bool IsStagingName(std::string_view name) {
  constexpr std::string_view prefix = kStagingPrefix;
  return name.starts_with(prefix) && Matches(name.substr(prefix.size()), "#");
}

}  // namespace orvo
