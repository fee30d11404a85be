// What was measured of the rigorous method, as tables and as JSON.
#pragma once

#include <string>
#include <vector>

#include "report/Json.h"
#include "report/Results.h"
#include "rigorous/RigorousComparison.h"

namespace orvo::bench {

struct RigorousResults {
  std::string szLabel;
  MachineFacts Machine;
  std::vector<RigorousComparison> Comparisons;
};

/// Every run of every round, and the figures that follow. Sums of squares are text, for all their digits.
Json RigorousJson(const RigorousResults& results);

/// In Markdown: our runs with their bars, and the peer beside them. Times are medians over the rounds, ratios
/// medians of the ratios of single rounds, by wall and by processor time.
std::string RigorousTables(const RigorousResults& results);

}  // namespace orvo::bench
