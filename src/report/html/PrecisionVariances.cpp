#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <utility>
#include <vector>

#include "report/html/HtmlParts.h"
#include "report/html/Numbers.h"
#include "report/html/PrecisionParts.h"

namespace orvo::report {
namespace {

constexpr double kLittle = 1.1;  // times: nothing needs to be done
constexpr double kSure = 2;      // standard deviations of the factor

bool IsKnown(const VarianceFigure& variance) {
  return std::isfinite(variance.fDeviation) && variance.fDeviation > 0 && std::isfinite(variance.fFactor) &&
         variance.fFactor > 0;
}

// Whether errors are of another size than stated, and by more than chance and a
// simple model explain.
bool IsOff(const VarianceFigure& variance) {
  const double factor = variance.fFactor;
  return IsKnown(variance) && (factor > kLittle || factor * kLittle < 1) &&
         std::fabs(factor - 1) > kSure * variance.fDeviation;
}

std::string MeaningOf(const VarianceFigure& variance) {
  if (!IsKnown(variance)) return "too few to tell";
  if (!IsOff(variance)) return "as stated";
  return variance.fFactor > 1 ? "! errors larger than stated" : "! errors smaller than stated";
}

std::string NameOf(const VarianceFigure& variance) {
  return variance.szCamera.empty() ? variance.szGroup
                                   : fmt::format("{}, camera {}", variance.szGroup, variance.szCamera);
}

void AddRow(HtmlTable& table, const VarianceFigure& variance) {
  const bool known = IsKnown(variance);
  const int decimals = known ? std::clamp(DecimalsOf(variance.fDeviation, 2), 2, 4) : 2;
  table.Row({NameOf(variance), Thousands(variance.nObservations), Thousands(variance.fRedundancy, 1),
             known ? Fixed(variance.fFactor, decimals) : Fixed(NAN, 0), Fixed(variance.fDeviation, decimals),
             MeaningOf(variance), variance.bApplied ? "yes" : "no"},
            IsOff(variance) && !variance.bApplied ? "doubtful" : "");
}

}  // namespace

std::string VariancePart(const std::vector<VarianceFigure>& variances) {
  HtmlTable table({{"Group of observations"},
                   {"observations", true},
                   {"redundancy", true},
                   {"factor", true},
                   {"standard deviation", true},
                   {"says"},
                   {"applied"}});
  bool open = false;
  for (const VarianceFigure& variance : variances) {
    AddRow(table, variance);
    open = open || (IsOff(variance) && !variance.bApplied);
  }
  if (table.IsEmpty()) return {};
  std::string text =
      "The factor is how many times larger than stated the "
      "errors of a group are, by its own residuals. Where it "
      "was applied, the adjustment took the stated standard "
      "deviations times the factor.";
  if (open)
    text +=
        " Of the marked groups it did not: multiply their standard "
        "deviations in the settings.";
  return SubHeading("Stated and real standard deviations") + std::move(table).Finish() +
         Paragraph(text, "hint");
}

}  // namespace orvo::report
