#include "report/Asprs.h"

#include <fmt/format.h>

#include <algorithm>
#include <cmath>

namespace orvo::report {

namespace {

constexpr double kSurveyFactor = 2;                 // the survey is better than the class by this
constexpr double kMeanShare = 0.25;                 // of the class
constexpr double kBlunderFactor = 3;                // times the class
constexpr double kCentimetres = 100.0;              // a metre
constexpr double kSmallest = 1e-6, kLargest = 1e9;  // metres: what is beyond is no accuracy
constexpr const char* kOpening =
    "This data set was tested to meet ASPRS Positional Accuracy Standards for Digital Geospatial Data, "
    "Edition 2, "
    "Version 2 (2024) for a ";

// The next number of two significant digits that is not below it. What rounding alone puts above a number
// does not count.
double RoundUp(double length) {
  const double step = std::pow(10.0, std::floor(std::log10(length)) - 1);
  return std::ceil(length / step * (1 - 1e-12)) * step;
}

std::string Centimetres(double metres) {
  const double value = metres * kCentimetres;
  return fmt::format("{:.{}f}", value, value < 9.95 ? 2 : 1);
}

std::string ClassText(double metres) { return fmt::format("{:.6g}", metres * kCentimetres); }

AsprsAccuracy Judge(double fit, const std::optional<double>& survey) {
  AsprsAccuracy result;
  result.fFit = fit;
  if (!survey || !(*survey >= kSmallest) || !(*survey <= kLargest)) return result;
  result.fSurvey = survey;
  if (!(fit <= kLargest)) return result;
  const double accuracy = std::hypot(fit, *survey);
  result.fAccuracy = accuracy;
  result.fClass = RoundUp(std::max(accuracy, kSurveyFactor * *survey));
  return result;
}

void TellMeans(const GroundStatistics& check, AsprsStatement& statement) {
  const auto tell = [&](const char* name, double mean, const std::optional<double>& limit) {
    if (!limit || std::abs(mean) <= kMeanShare * *limit) return;
    statement.vRemarks.push_back(fmt::format(
        "The mean difference in {} is {}{} cm, more than a quarter of the class ({} cm): the standard asks "
        "to find out why. It points to a shift of the whole block, of its frame or of the survey.",
        name, mean < 0 ? "-" : "", Centimetres(std::abs(mean)), ClassText(*limit)));
  };
  tell("X", check.Mean.X, statement.Horizontal.fClass);
  tell("Y", check.Mean.Y, statement.Horizontal.fClass);
  tell("Z", check.Mean.Z, statement.Vertical.fClass);
}

void TellBlunders(const GroundFigures& ground, AsprsStatement& statement) {
  int64_t blunders = 0;
  for (const GroundPointFigure& point : ground.vPoints) {
    if (point.bControl || !point.bIntersected) continue;
    const Triple& d = point.Difference;
    const auto& h = statement.Horizontal.fClass;
    const auto& v = statement.Vertical.fClass;
    blunders +=
        (h && std::hypot(d.X, d.Y) > kBlunderFactor * *h) || (v && std::abs(d.Z) > kBlunderFactor * *v);
  }
  if (blunders > 0)
    statement.vRemarks.push_back(fmt::format(
        "{} check point{} off by more than three times the class: the standard takes such a difference "
        "for a possible blunder that has to be looked into.",
        blunders, blunders == 1 ? " is" : "s are"));
}

void TellSentences(AsprsStatement& statement) {
  const auto state = [&](const AsprsAccuracy& accuracy, const char* sign, const char* name,
                         const char* found) {
    if (!accuracy.fClass) return;
    statement.vSentences.push_back(
        fmt::format("{}{} (cm) {} {} Accuracy Class. The {} was found to be {} = {} (cm).", kOpening,
                    ClassText(*accuracy.fClass), sign, name, found, sign, Centimetres(*accuracy.fAccuracy)));
    if (kSurveyFactor * *accuracy.fSurvey > *accuracy.fAccuracy)
      statement.vRemarks.push_back(fmt::format(
          "The class for {} follows from the survey of the check points ({} cm), which has to be twice as "
          "good as the class: a better survey could show a better class.",
          sign, Centimetres(*accuracy.fSurvey)));
  };
  state(statement.Horizontal, "RMSE_H", "Horizontal Positional", "tested horizontal positional accuracy");
  state(statement.Vertical, "RMSE_V", "Vertical", "Non-Vegetated Vertical Accuracy (NVA)");
}

void TellNumber(const GroundFigures& ground, AsprsStatement& statement) {
  const int64_t number = ground.Check.nNum;
  const int64_t measured =
      std::ranges::count_if(ground.vPoints, [](const GroundPointFigure& point) { return !point.bControl; });
  const std::string rays = number > 0 ? "the rays of the others" : "their rays";
  std::string help = "measure more of them before an accuracy is stated by it";
  if (measured >= kAsprsCheckPoints)
    help = "find out why " + rays + " do not meet before an accuracy is stated by it";
  else if (measured > number)
    help = "find out why " + rays + " do not meet, and measure more points";
  statement.vMissing.push_back(fmt::format(
      "There {} {} check point{} with a difference{}, and the standard wants {} at least: {}.",
      number == 1 ? "is" : "are", number == 0 ? "no" : fmt::format("{}", number), number == 1 ? "" : "s",
      measured > number ? fmt::format(" of {} measured", measured) : "", kAsprsCheckPoints, help));
}

void TellSurvey(AsprsStatement& statement) {
  const bool noH = !statement.Horizontal.fSurvey, noV = !statement.Vertical.fSurvey;
  if (noH || noV)
    statement.vMissing.push_back(fmt::format(
        "The {} error of the check points' own survey is not known. The standard counts it in, so that the "
        "differences alone would promise too much: give it with --survey-sigma.",
        noH && noV ? "horizontal and vertical"
        : noH      ? "horizontal"
                   : "vertical"));
  const auto tell = [&](const AsprsAccuracy& accuracy, const char* what) {
    if (accuracy.fSurvey && !accuracy.fAccuracy)
      statement.vMissing.push_back(fmt::format("The {} differences are too large for an accuracy.", what));
  };
  tell(statement.Horizontal, "horizontal");
  tell(statement.Vertical, "vertical");
}

}  // namespace

AsprsStatement StateByAsprs(const GroundFigures& ground) {
  AsprsStatement statement;
  const GroundStatistics& check = ground.Check;
  statement.nCheckPoints = check.nNum;
  statement.Horizontal = Judge(std::hypot(check.Rmse.X, check.Rmse.Y), ground.fSurveySigmaH);
  statement.Vertical = Judge(check.Rmse.Z, ground.fSurveySigmaV);
  const bool enough = check.nNum >= kAsprsCheckPoints;
  if (!enough) TellNumber(ground, statement);
  TellSurvey(statement);
  if (!enough) return statement;
  TellSentences(statement);
  TellMeans(check, statement);
  TellBlunders(ground, statement);
  return statement;
}

}  // namespace orvo::report
