#include "orvo/ReportOptions.h"

#include <charconv>
#include <cmath>
#include <optional>
#include <string_view>

namespace orvo {
namespace {

std::optional<double> PositiveNumber(std::string_view text) {
  double value = 0;
  const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
  if (error != std::errc() || end != text.data() + text.size() || !std::isfinite(value) || value <= 0)
    return {};
  return value;
}

bool TakeSigmas(std::string_view text, ReportChoice& choice) {
  const size_t comma = text.find(',');
  if (comma == std::string_view::npos) return false;
  choice.fSurveySigmaH = PositiveNumber(text.substr(0, comma));
  choice.fSurveySigmaV = PositiveNumber(text.substr(comma + 1));
  return choice.fSurveySigmaH && choice.fSurveySigmaV;
}

}  // namespace

void AddReportOptions(CLI::App& app, ReportChoice& choice) {
  app.add_flag_callback(
      "--no-report", [&choice] { choice.bPage = false; }, "don't write report.html; see orvo report");
  app.add_flag("--residuals-csv", choice.Tables.bResiduals,
               "write residuals.csv, too: every measurement by image and point");
  app.add_flag("--points", choice.Tables.bPoints,
               "write the adjusted points, too: points.csv, and points.ply to look at");
  app.add_option_function<std::string>(
         "--survey-sigma",
         [&choice](const std::string& text) {
           if (!TakeSigmas(text, choice)) {
             throw CLI::ValidationError("--survey-sigma", "'" + text +
                                                              "' is no pair of standard deviations: write "
                                                              "horizontal,vertical, such as 0.01,0.015");
           }
         },
         "standard deviations of the surveyed check points, horizontal and vertical, for the statement of "
         "accuracy")
      ->type_name("H,V");
}

}  // namespace orvo
