#include <algorithm>
#include <cmath>
#include <cstring>
#include <limits>

#include "records/UnknownLayout.h"
#include "report/FigureParts.h"
#include "report/PassedPoint.h"
#include "verdict/RunNames.h"

namespace orvo::report {
namespace {

constexpr double kNoLimit = std::numeric_limits<double>::infinity();
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();
constexpr Triple kNoTriple = {kNone, kNone, kNone};

GroundPointFigure PointOf(const ObjectPointRecord& given, const GroundPoints& ground, const PassViews& views,
                          const FigureSources& from, PassedPoint& passed) {
  GroundPointFigure figure;
  figure.szName.assign(given.szName, ::strnlen(given.szName, sizeof given.szName));
  figure.bControl = given.nType == 1;
  figure.Given = {given.X, given.Y, given.Z};
  ObjectPointRecord tie = given;
  tie.nType = 0;
  passed.Take(tie, MeasurementsOf(given, ground.Measurements), views);
  figure.bIntersected = passed.bAll;
  const double* P = passed.All;
  if (figure.bIntersected) figure.Difference = {P[0] - given.X, P[1] - given.Y, P[2] - given.Z};
  figure.nRays = static_cast<int32_t>(passed.vRays.size());

  const double place[3] = {given.X, given.Y, given.Z};
  double squares = 0;
  for (size_t i = 0; i < passed.vRays.size(); ++i) {
    const ImageCoordinates v =
        StrictResidual(passed.vRays[i], figure.bControl || !figure.bIntersected ? place : P);
    const double length = std::hypot(v.x, v.y) / from.Settings.Image_Coor_Scale;
    squares += length * length;
    if (i > 0 && length <= figure.fWorst) continue;
    figure.fWorst = length;
    figure.szWorstImage = ImageNameOf(from.Images, passed.vMeasurements[i]->nImage);
  }
  if (figure.nRays > 0) figure.fRmse = std::sqrt(squares / figure.nRays);
  return figure;
}

GroundStatistics NoStatistics() { return {0, kNoTriple, kNoTriple, kNoTriple, kNone}; }

/// One coordinate of all differences: its mean, deviation and RMSE.
void FillCoordinate(const std::vector<GroundPointFigure>& points, bool control, double Triple::*coordinate,
                    GroundStatistics& statistics) {
  double sum = 0, squares = 0, about = 0;
  int64_t count = 0;
  const auto each = [&](const auto& take) {
    for (const GroundPointFigure& point : points) {
      if (point.bControl == control && point.bIntersected) take(point.Difference.*coordinate);
    }
  };
  each([&](double d) {
    sum += d;
    squares += d * d;
    ++count;
  });
  statistics.nNum = count;
  if (count < 1) return;
  const auto n = static_cast<double>(count);
  const double mean = sum / n;
  each([&](double d) { about += (d - mean) * (d - mean); });
  statistics.Mean.*coordinate = mean;
  statistics.Rmse.*coordinate = std::sqrt(squares / n);
  statistics.Deviation.*coordinate = count > 1 ? std::sqrt(about / (n - 1)) : kNone;
}

GroundStatistics StatisticsOf(const std::vector<GroundPointFigure>& points, bool control) {
  GroundStatistics statistics = NoStatistics();
  for (double Triple::*coordinate : {&Triple::X, &Triple::Y, &Triple::Z})
    FillCoordinate(points, control, coordinate, statistics);
  statistics.fHorizontal = std::hypot(statistics.Rmse.X, statistics.Rmse.Y);
  return statistics;
}

/// `six`: mean X, Y, Z, RMSE X, Y, Z; all 0 where no point could be intersected, whatever their number.
GroundStatistics ListedOf(const double (&six)[6], int64_t count) {
  GroundStatistics statistics = NoStatistics();
  if (std::ranges::all_of(six, [](double figure) { return figure == 0; })) return statistics;
  statistics.nNum = count;
  statistics.Mean = {six[0], six[1], six[2]};
  statistics.Rmse = {six[3], six[4], six[5]};
  statistics.fHorizontal = std::hypot(six[3], six[4]);
  return statistics;
}

}  // namespace

GroundFigures GroundFiguresOf(const FigureSources& from, const GroundPoints& ground) {
  GroundFigures figures;
  const std::vector<ImageFrame> frames = MakeImageFrames(from.Images.Kept());
  const PassViews views = {frames, from.Cameras.Usable(), kNoLimit, kNoLimit};
  PassedPoint passed;
  for (const ObjectPointRecord& given : ground.Points) {
    if (given.nType != 0) figures.vPoints.push_back(PointOf(given, ground, views, from, passed));
  }
  figures.Control = StatisticsOf(figures.vPoints, true);
  figures.Check = StatisticsOf(figures.vPoints, false);
  figures.ListedControl = ListedOf(from.Residuals.dControlResidual, from.Points.nControlPointNum);
  figures.ListedCheck = ListedOf(from.Residuals.dCheckResidual, from.Points.nCheckPointNum);
  return figures;
}

}  // namespace orvo::report
