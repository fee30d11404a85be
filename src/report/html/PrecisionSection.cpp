#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <string>
#include <vector>

#include "report/html/HtmlParts.h"
#include "report/html/LengthUnit.h"
#include "report/html/Numbers.h"
#include "report/html/PrecisionParts.h"
#include "report/html/Sections.h"
#include "report/html/ShortName.h"

namespace orvo::report {
namespace {

constexpr double kLittle = 1.1;       // times: no more than chance and a simple model explain
constexpr double kMostSeconds = 0.1;  // degrees: larger angles are shown as such
constexpr double kSecondsOfDegree = 3600;

// Between what sigma0 passes.
std::string BoundsText(const PrecisionFigures& precision) {
  const auto redundancy = static_cast<double>(precision.nRedundancy);
  const double low = std::sqrt(precision.fLow / redundancy), high = std::sqrt(precision.fHigh / redundancy);
  if (!(redundancy > 0) || !std::isfinite(low) || !std::isfinite(high)) return {};
  const int decimals = std::clamp(DecimalsOf(high - low, 1) + 1, 2, 6);
  return fmt::format("; sound observations with right standard deviations stay from {} to {}",
                     Fixed(low, decimals), Fixed(high, decimals));
}

std::string TooLarge(double sigma0) {
  if (sigma0 <= kLittle)
    return "It fails its test, for the residuals are larger than the standard deviations of the settings "
           "say; but by so little that nothing needs to be done.";
  return "It fails its test: the residuals are larger than the standard deviations of the settings say, by "
         "this factor. Either the observations are worse than stated, or the model lacks something: "
         "distortion, a lever arm, a wrong control point. Look at residuals, control and GPS on this page; "
         "where all is well there, multiply Sigma_Image by sigma0.";
}

std::string TooSmall(double sigma0) {
  if (sigma0 * kLittle >= 1)
    return "It fails its test, for the residuals are smaller than the standard deviations of the settings "
           "say; but by so little that nothing needs to be done.";
  return "It fails its test: the residuals are smaller than the standard deviations of the settings say, by "
         "this factor. The observations are better than stated: multiply Sigma_Image by sigma0, so that "
         "they weigh rightly against control and GPS.";
}

std::string TestText(const PrecisionFigures& precision) {
  if (precision.szTest == "passed")
    return "It passes its test: the residuals are as large as the standard deviations of the settings say. "
           "Nothing needs to be done.";
  if (precision.szTest == "too large") return TooLarge(precision.fSigma0);
  if (precision.szTest == "too small") return TooSmall(precision.fSigma0);
  if (precision.szTest == "not possible")
    return "No test of it is possible, for nothing is redundant or it is no number: whether the standard "
           "deviations of the settings are right shows nowhere, and errors do not either. Measure more "
           "points.";
  return fmt::format("Its test: {}.", ShortText(precision.szTest));
}

std::string Lead(const PrecisionFigures& precision) {
  std::string text =
      fmt::format("Sigma0 is {} with a redundancy of {}{}. {}", Fixed(precision.fSigma0, 3),
                  Thousands(precision.nRedundancy), BoundsText(precision), TestText(precision));
  if (precision.nBlunders > 0)
    text += fmt::format(" {} {} left out before, as the others contradict {}.",
                        Counted(precision.nBlunders, "measurement"),
                        precision.nBlunders == 1 ? "was" : "were", precision.nBlunders == 1 ? "it" : "them");
  return Paragraph(text);
}

std::string ListOf(const std::vector<std::string>& words) {
  std::string text;
  for (size_t i = 0; i < words.size(); ++i) text += (i == 0 ? "" : "; ") + ShortText(words[i]);
  return text;
}

std::string Datum(const PrecisionFigures& precision) {
  std::string html;
  if (!precision.vFree.empty())
    html +=
        Paragraph(fmt::format("! No observation holds: {}. Where the block shall lie in the frame of the "
                              "ground, this takes more control points or GPS.",
                              ListOf(precision.vFree)));
  if (precision.nDatumDefect > 0)
    html += Paragraph(fmt::format(
        "The datum lacks {}. Standard deviations hold with inner constraints: they are those of a block that "
        "lies best on all its projection centres, and tell how well it hangs together, not where it lies.",
        Counted(precision.nDatumDefect, "condition")));
  return html;
}

std::string Refusal(const PrecisionFigures& precision) {
  if (precision.szRefusal.empty()) return {};
  return Paragraph(
      fmt::format("! There are no standard deviations: {}. Hold what the observations leave "
                  "open, state what is known of it, or measure more there, and run again.",
                  ShortText(precision.szRefusal)));
}

struct DeviationRow {
  std::string szName;
  double Triple::*pAxis;
};

void AddRows(HtmlTable& table, const DeviationRange& range, double scale, const std::string& unit,
             const std::vector<DeviationRow>& rows) {
  const Triple& m = range.Median;
  const int decimals = DecimalsFor({scale * m.X, scale * m.Y, scale * m.Z});
  for (const auto& [name, axis] : rows)
    table.Row({fmt::format("{}, {}", name, unit), Fixed(scale * range.Least.*axis, decimals),
               Fixed(scale * range.Median.*axis, decimals), Fixed(scale * range.Largest.*axis, decimals)});
}

std::string ImagePart(const PrecisionFigures& precision, const char* unit) {
  if (precision.nImages <= 0) return {};
  HtmlTable table({{"Standard deviation of"}, {"least", true}, {"median", true}, {"largest", true}},
                  fmt::format("Projection centres and angles of {}", Counted(precision.nImages, "image")));
  AddRows(table, precision.Centres, 1, unit, {{"X", &Triple::X}, {"Y", &Triple::Y}, {"Z", &Triple::Z}});
  const Triple& m = precision.Angles.Median;
  const bool seconds = !(std::max({m.X, m.Y, m.Z}) > kMostSeconds);
  AddRows(table, precision.Angles, seconds ? kSecondsOfDegree : 1, seconds ? "arc seconds" : "degrees",
          {{"phi", &Triple::X}, {"omega", &Triple::Y}, {"kappa", &Triple::Z}});
  return "<div>" + SubHeading("Images") + std::move(table).Finish() +
         Paragraph(
             "Two thirds of all errors are below one standard deviation, one in 370 is above three. A "
             "largest one far above the median is that of an image at the rim or with few points. "
             "precision.csv has those of every image.",
             "hint") +
         "</div>\n";
}

}  // namespace

double LargestOf(const Triple& test) {
  double largest = -1;
  for (const double value : {test.X, test.Y, test.Z})
    if (std::isfinite(value)) largest = std::max(largest, std::fabs(value));
  return largest;
}

std::string UnitText(std::string_view unit, const char* lengths) {
  if (unit == "object units") return lengths;
  constexpr std::pair<std::string_view, const char*> kPowers[] = {{"px^-1", "1/px"},
                                                                  {"px^-2", "1/px\xc2\xb2"},
                                                                  {"px^-4", "1/px\xe2\x81\xb4"},
                                                                  {"px^-6", "1/px\xe2\x81\xb6"}};
  for (const auto& [power, shown] : kPowers)
    if (unit == power) return shown;
  return std::string(unit);
}

int DecimalsFor(std::vector<double> deviations) {
  std::erase_if(deviations, [](double value) { return !(value > 0) || !std::isfinite(value); });
  if (deviations.empty()) return 3;
  const auto middle = deviations.begin() + static_cast<ptrdiff_t>(deviations.size() / 2);
  std::ranges::nth_element(deviations, middle);
  return std::clamp(DecimalsOf(*middle, 2), 1, 6);
}

std::string PrecisionSection(const RunFigures& figures) {
  if (!figures.Precision) return {};
  const PrecisionFigures& precision = *figures.Precision;
  const char* unit = LengthUnit(figures);
  const bool isAsked = precision.nImages > 0 || !precision.vCameras.empty() || !precision.vGround.empty() ||
                       !precision.szRefusal.empty();
  return SectionOf(
      "precision", "Precision and reliability",
      Lead(precision) + Datum(precision) + Refusal(precision) +
          (isAsked ? std::string()
                   : Paragraph("There are no standard deviations: the setting Precision is none, or nothing "
                               "is unknown.")) +
          SideBySide(ImagePart(precision, unit) + CameraPrecisionPart(precision.vCameras, unit)) +
          GroundPrecisionPart(precision.vGround, unit) + SuspectPart(precision, unit) +
          VariancePart(precision.vVariances));
}

}  // namespace orvo::report
