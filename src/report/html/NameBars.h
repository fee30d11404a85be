// Bars with names: the worst of many.
#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace orvo::report {

struct NameBar {
  std::string szName;    ///< any bytes
  double fValue = 0;     ///< not below 0
  std::string szText;    ///< behind the bar
  bool bBeyond = false;  ///< beyond what is usual: drawn with another colour and a sign
};

/// A line across all bars, such as the mean of all.
struct BarMark {
  double fValue = 0;
  std::string szText;
};

/// The picture: a row for each bar, in their order. Empty without bars.
std::string NameBars(const std::vector<NameBar>& bars, const BarMark& mark, std::string_view title,
                     std::string_view description);

}  // namespace orvo::report
