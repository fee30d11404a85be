#include <fmt/format.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include "report/html/HtmlParts.h"
#include "report/html/Numbers.h"
#include "report/html/PrecisionParts.h"

namespace orvo::report {
namespace {

constexpr size_t kInFull = 20;
constexpr double kSignificant = 3, kPlain = 1e-3;

bool IsDeviation(double value) { return std::isfinite(value) && value > 0; }

// Up to the second digit of the standard deviation.
std::string ValueText(double value, double deviation) {
  if (!std::isfinite(value) || !IsDeviation(deviation)) return Significant(value, 6);
  const double size = std::max(std::fabs(value), deviation);
  if (size >= kPlain) return Fixed(value, DecimalsOf(deviation, 2));
  if (value == 0) return "0";
  const double digits = std::floor(std::log10(std::fabs(value))) - std::floor(std::log10(deviation)) + 1;
  return fmt::format("{:.{}e}", value, static_cast<int>(std::clamp(digits, 0.0, 9.0)));
}

std::string DeviationText(double value, double deviation) {
  const bool plain = std::isfinite(value) && std::max(std::fabs(value), deviation) >= kPlain;
  if (!IsDeviation(deviation) || deviation == 0) return Fixed(deviation, 0);
  return plain && deviation >= 1e-9 ? Fixed(deviation, DecimalsOf(deviation, 2))
                                    : fmt::format("{:.1e}", deviation);
}

struct Worth {
  double fTimes = std::numeric_limits<double>::quiet_NaN();  // value over standard deviation

  explicit Worth(const CameraQuantityFigure& quantity) {
    if (IsDeviation(quantity.fDeviation)) fTimes = std::fabs(quantity.fValue) / quantity.fDeviation;
  }
  std::string Text() const { return Thousands(fTimes, fTimes < 99.95 ? 1 : 0); }
  bool IsWeak() const { return fTimes < kSignificant; }
};

// The others that this quantity is correlated with.
std::string PartnersOf(const std::string& name, const std::vector<CorrelationFigure>& pairs) {
  std::string text;
  for (const CorrelationFigure& pair : pairs) {
    if (pair.szFirst != name && pair.szSecond != name) continue;
    const std::string& other = pair.szFirst == name ? pair.szSecond : pair.szFirst;
    text += fmt::format("{}{} ({})", text.empty() ? "" : ", ", other, Signed(pair.fCorrelation, 3));
  }
  return text;
}

void AddCamera(const CameraPrecisionFigure& camera, bool named, const char* unit, HtmlTable& table) {
  for (const CameraQuantityFigure& quantity : camera.vQuantities) {
    const Worth worth(quantity);
    const bool weak = quantity.szName != "f" && worth.IsWeak();
    const std::string shown = UnitText(quantity.szUnit, unit);
    std::vector<std::string> cells;
    if (named) cells.push_back("camera " + camera.szCamera);
    cells.push_back(shown.empty() ? quantity.szName : quantity.szName + ", " + shown);
    cells.push_back(ValueText(quantity.fValue, quantity.fDeviation));
    cells.push_back(DeviationText(quantity.fValue, quantity.fDeviation));
    cells.push_back(worth.Text());
    cells.push_back(weak ? "not significant" : "");
    cells.push_back(PartnersOf(quantity.szName, camera.vCorrelations));
    table.Row(cells);
  }
}

using Deviations = std::map<std::string, std::vector<double>>;

// Standard deviations of each quantity over all cameras, ascending.
Deviations DeviationsOf(const std::vector<CameraPrecisionFigure>& cameras) {
  Deviations all;
  for (const CameraPrecisionFigure& camera : cameras)
    for (const CameraQuantityFigure& quantity : camera.vQuantities)
      if (IsDeviation(quantity.fDeviation)) all[quantity.szName].push_back(quantity.fDeviation);
  for (auto& [name, values] : all) std::ranges::sort(values);
  return all;
}

// How many times less well a camera is known than the median one, by the worst of its quantities.
double WeaknessOf(const CameraPrecisionFigure& camera, const Deviations& all) {
  double most = 0;
  for (const CameraQuantityFigure& quantity : camera.vQuantities) {
    if (!IsDeviation(quantity.fDeviation)) {
      if (quantity.fDeviation != 0) return std::numeric_limits<double>::infinity();
      continue;
    }
    const std::vector<double>& values = all.at(quantity.szName);
    most = std::max(most, quantity.fDeviation / values[values.size() / 2]);
  }
  return most;
}

std::vector<const CameraPrecisionFigure*> WeakestOf(const std::vector<CameraPrecisionFigure>& cameras) {
  const Deviations all = DeviationsOf(cameras);
  std::vector<std::pair<double, const CameraPrecisionFigure*>> sorted;
  sorted.reserve(cameras.size());
  for (const CameraPrecisionFigure& camera : cameras) sorted.emplace_back(WeaknessOf(camera, all), &camera);
  if (sorted.size() > kInFull) {
    std::ranges::stable_sort(sorted, [](const auto& a, const auto& b) { return a.first > b.first; });
    sorted.resize(kInFull);
  }
  std::vector<const CameraPrecisionFigure*> weakest;
  weakest.reserve(sorted.size());
  for (const auto& [weakness, camera] : sorted) weakest.push_back(camera);
  return weakest;
}

std::string CaptionOf(const std::vector<CameraPrecisionFigure>& cameras) {
  if (cameras.size() == 1) return "Camera " + cameras.front().szCamera;
  if (cameras.size() <= kInFull) return Counted(static_cast<int64_t>(cameras.size()), "camera");
  return fmt::format("The {} least known of {}", kInFull,
                     Counted(static_cast<int64_t>(cameras.size()), "camera"));
}

std::string Hint(const std::vector<CameraPrecisionFigure>& cameras) {
  std::string text = fmt::format(
      "A quantity below {} of its standard deviations can't be told from 0: not significant.", kSignificant);
  if (cameras.size() > kInFull)
    text +=
        " Least known are those with the largest standard deviation against that of the same quantity in the "
        "median camera.";
  if (std::ranges::any_of(cameras, [](const auto& camera) { return !camera.vCorrelations.empty(); }))
    text +=
        " Correlated beyond 0.95 means that the block hardly tells one from the other: together they can "
        "be good where each is poor. Control in different heights or crossing strips part them.";
  return Paragraph(text, "hint");
}

}  // namespace

std::string CameraPrecisionPart(const std::vector<CameraPrecisionFigure>& cameras, const char* unit) {
  const bool named = cameras.size() > 1;
  std::vector<TableColumn> columns;
  if (named) columns.push_back({"Camera"});
  columns.insert(columns.end(), {{"Quantity"},
                                 {"value", true},
                                 {"standard deviation", true},
                                 {"value / deviation", true},
                                 {"significance"},
                                 {"correlated with"}});
  HtmlTable table(columns, CaptionOf(cameras));
  for (const CameraPrecisionFigure* camera : WeakestOf(cameras)) AddCamera(*camera, named, unit, table);
  if (table.IsEmpty()) return {};
  return "<div>" + SubHeading("Unknowns of cameras") + std::move(table).Finish() + Hint(cameras) + "</div>\n";
}

}  // namespace orvo::report
