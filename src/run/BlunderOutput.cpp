#include "run/BlunderOutput.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <string>
#include <utility>
#include <vector>

#include "base/PrintableName.h"
#include "block/MeasurementLines.h"
#include "report/tables/PrecisionTables.h"
#include "run/BundleAdjustment.h"
#include "run/CsvOutput.h"
#include "verdict/RunNames.h"
#include "verdict/RunTrack.h"

namespace orvo {

using report::BlunderRow;
using rigorous::operator+;
using rigorous::BlockProblem;
using rigorous::OutControl;
using rigorous::OutRay;
using rigorous::RobustResult;

namespace {

/// One line of the table, with what its views refer to.
struct Blunder {
  BlunderRow Row;
  std::string szImage, szPoint;
  bool bFromGcp = false;
  int64_t nPoint = 0;  ///< in memory, where points are in the order of their files
  MeasurementLine Place;
};

std::string NameOf(const ObjectPointRecord& point) {
  return {point.szName, strnlen(point.szName, sizeof point.szName)};
}

int64_t PlaceOf(const BlockProblem& problem, int64_t point) {
  return problem.vPoint[static_cast<size_t>(point)];
}

const ObjectPointRecord& RecordOf(const BlockProblem& problem, int64_t point, const PointStore& points) {
  return points.pObjectPoints[static_cast<size_t>(PlaceOf(problem, point))];
}

/// Largest first; what is infinite could not be tested, and is last.
bool IsWorse(const Blunder& a, const Blunder& b) {
  const auto rank = [](double test) { return std::isfinite(test) ? test : -1; };
  return rank(a.Row.fTest) > rank(b.Row.fTest);
}

Blunder ControlBlunder(const BlockProblem& problem, const OutControl& control, const PointStore& points) {
  Blunder made;
  made.szPoint = NameOf(RecordOf(problem, control.nPoint, points));
  made.bFromGcp = true;
  made.nPoint = PlaceOf(problem, control.nPoint);
  made.Row.szKind = "control";
  made.Row.szUnit = "object units";
  made.Row.fTest = control.fW;
  const rigorous::Vector3 given = problem.Task.vControl[control.nControl].Observed + problem.Origin;
  for (size_t k = 0; k < 3; ++k) {
    if (!(control.Sigma[k] >= 0) || !std::isfinite(control.Sigma[k])) continue;
    made.Row.Given[k] = given[k];
    made.Row.Size[k] = control.Difference[k];
  }
  made.Place.szPoint = made.szPoint;
  return made;
}

Blunder MeasurementBlunder(const BlockProblem& problem, const OutRay& ray, const CBundleAdjustment& run) {
  Blunder made;
  const auto measurement = static_cast<size_t>(problem.vMeasurement[static_cast<size_t>(ray.nRay)]);
  const ImagePointRecord& record = run.Points.pImagePoints[measurement];
  const ObjectPointRecord& point = RecordOf(problem, ray.nPoint, run.Points);
  const double scale = run.Settings.Image_Coor_Scale;
  made.szImage = ImageNameOf(run.Images, ray.nImage);
  made.szPoint = NameOf(point);
  made.Row.szKind = "measurement";
  made.Row.szUnit = "px";
  made.Row.fTest = ray.fW;
  made.Row.Given[0] = record.x / scale;
  made.Row.Given[1] = record.y / scale;
  for (size_t k = 0; k < 2 && std::isfinite(ray.fW); ++k) made.Row.Size[k] = ray.Residual[k] / scale;
  made.nPoint = PlaceOf(problem, ray.nPoint);
  made.bFromGcp = made.nPoint >= run.Points.nTiePointNum;
  made.Place = {made.szPoint,
                static_cast<int32_t>(static_cast<int64_t>(measurement) - point.nFirstImagePoint),
                made.Row.Given[0], made.Row.Given[1], 0};
  return made;
}

std::vector<Blunder> BlundersOf(const BlockProblem& problem, const RobustResult& result,
                                const CBundleAdjustment& run) {
  std::vector<Blunder> blunders;
  for (const OutControl& control : result.vControlOut)
    blunders.push_back(ControlBlunder(problem, control, run.Points));
  const auto controlNum = std::ssize(blunders);
  for (const OutRay& ray : result.vOut) blunders.push_back(MeasurementBlunder(problem, ray, run));
  std::stable_sort(blunders.begin(), blunders.begin() + controlNum, IsWorse);
  std::stable_sort(blunders.begin() + controlNum, blunders.end(), IsWorse);
  return blunders;
}

/// In the GCP file, or in the project; an .ovt file has no lines.
void FindLines(std::vector<Blunder>& blunders, CBundleAdjustment& run) {
  const std::string& gcp = run.Paths.szGcpPath;
  const bool isText = run.Paths.szOvtPath.empty();
  const std::string& tie = isText ? run.Paths.szProjectPath : run.Paths.szOvtPath;
  for (const bool fromGcp : {true, false}) {
    std::vector<Blunder*> of;
    for (Blunder& blunder : blunders) {
      if (blunder.bFromGcp != fromGcp) continue;
      blunder.Row.File = fromGcp ? gcp : tie;
      of.push_back(&blunder);
    }
    std::ranges::sort(of, {}, [](const Blunder* a) { return std::pair(a->nPoint, a->Place.nMeasurement); });
    std::vector<MeasurementLine> wanted;
    wanted.reserve(of.size());
    for (const Blunder* blunder : of) wanted.push_back(blunder->Place);
    if (wanted.empty() || (!fromGcp && (!isText || run.Points.vTextPlaces.empty()))) continue;
    const int64_t begin = fromGcp ? FirstPointOfGcp(gcp, run.Inputs) : run.Points.vTextPlaces.front();
    FindMeasurementLines(fromGcp ? gcp : tie, begin, run.Inputs, wanted);
    for (size_t i = 0; i < of.size(); ++i) of[i]->Row.nLine = wanted[i].nLine;
  }
}

}  // namespace

void TellBlunders(const BlockProblem& problem, const RobustResult& result, CBundleAdjustment& run) {
  for (const OutControl& control : result.vControlOut) {
    const std::string name = NameOf(RecordOf(problem, control.nPoint, run.Points));
    const rigorous::Vector3& d = control.Difference;
    run.LogPrintf(">>Control point left out:%s, off by %.4lf %.4lf %.4lf\n", PrintableName(name).c_str(),
                  d[0], d[1], d[2]);
    if (run.pTrack) run.pTrack->vControlOut.push_back({name, std::hypot(d[0], d[1], d[2])});
  }
  if (result.bControlContradictory) run.LogPrintf(">>The control points contradict each other\n");
  if (run.pTrack) run.pTrack->bControlContradictory = result.bControlContradictory;
  run.LogPrintf(">>Measurements left out:%lld\n", static_cast<long long>(std::ssize(result.vOut)));
}

void WriteBlunderTable(const BlockProblem& problem, const RobustResult& result, CBundleAdjustment& run) {
  std::vector<Blunder> blunders = BlundersOf(problem, result, run);
  FindLines(blunders, run);
  CsvOutput<BlunderRow, report::AppendBlunderRow> file(report::kBlundersName, report::kBlundersHeading, run);
  for (Blunder& blunder : blunders) {
    blunder.Row.Image = blunder.szImage;
    blunder.Row.Point = blunder.szPoint;
    file.Add(blunder.Row);
  }
}

}  // namespace orvo
