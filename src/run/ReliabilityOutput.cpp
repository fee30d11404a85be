#include "run/ReliabilityOutput.h"

#include <algorithm>
#include <cmath>
#include <cstring>
#include <functional>
#include <iterator>
#include <limits>
#include <numbers>
#include <string>

#include "base/PrintableName.h"
#include "rigorous/NormalTest.h"
#include "run/BundleAdjustment.h"
#include "run/RunVerdict.h"
#include "run/RunWatch.h"
#include "verdict/RunNames.h"

namespace orvo {

using report::GroundPrecisionFigure;
using report::SuspectFigure;
using report::Triple;
using report::VarianceFigure;
using rigorous::operator-;
using rigorous::BlockProblem;
using rigorous::GroundPrecision;
using rigorous::OwnKind;
using rigorous::PointKind;
using rigorous::PrecisionFigures;
using rigorous::RobustResult;
using rigorous::VarianceGroup;
using rigorous::Vector3;

namespace {

constexpr size_t kTold = 100, kLogged = 10;
constexpr double kDegrees = 180 / std::numbers::pi;
constexpr const char* kMeasured[] = {"x", "y"};
constexpr const char* kAxes[] = {"X", "Y", "Z"};
constexpr const char* kAngles[] = {"about x", "about y", "about z"};
constexpr double kNone = std::numeric_limits<double>::quiet_NaN();

std::string NameOf(const ObjectPointRecord& point) {
  return {point.szName, ::strnlen(point.szName, sizeof point.szName)};
}

std::string PointNameOf(const BlockProblem& problem, int64_t point, const CBundleAdjustment& run) {
  return NameOf(run.Points.pObjectPoints[static_cast<size_t>(problem.vPoint[static_cast<size_t>(point)])]);
}

Triple TripleOf(const Vector3& v) { return {v[0], v[1], v[2]}; }

/// Of what is not determined nothing is known.
Triple DeviationOf(const GroundPrecision& point) {
  return point.bDetermined ? TripleOf(point.Deviation) : Triple{kNone, kNone, kNone};
}

std::vector<GroundPrecisionFigure> GroundOf(const BlockProblem& problem, const PrecisionFigures& figures,
                                            const CBundleAdjustment& run) {
  std::vector<GroundPrecisionFigure> ground;
  for (const PointKind kind : {PointKind::Control, PointKind::Check}) {
    for (const GroundPrecision& point : figures.vPoints) {
      if (point.Kind != kind) continue;
      ground.push_back({PointNameOf(problem, point.nPoint, run), kind == PointKind::Control, point.nRays,
                        DeviationOf(point), TripleOf(point.Test), TripleOf(point.Redundancy),
                        TripleOf(point.Smallest), TripleOf(point.Effect)});
    }
  }
  return ground;
}

/// Largest first; what could not be tested is last.
bool IsWorse(const SuspectFigure& a, const SuspectFigure& b) {
  const auto rank = [](double test) { return std::isfinite(test) ? std::abs(test) : -1; };
  return rank(a.fTest) > rank(b.fTest);
}

void AddLeftOut(const BlockProblem& problem, const RobustResult& result, const CBundleAdjustment& run,
                std::vector<SuspectFigure>& suspects) {
  for (const rigorous::OutControl& out : result.vControlOut) {
    suspects.push_back({"control", true, "", PointNameOf(problem, out.nPoint, run), "X Y Z",
                        rigorous::Norm(out.Difference), "object units", out.fW});
  }
  for (const rigorous::OutRay& out : result.vOut) {
    const double size = std::hypot(out.Residual[0], out.Residual[1]) / run.Settings.Image_Coor_Scale;
    suspects.push_back({"measurement", true, ImageNameOf(run.Images, out.nImage),
                        PointNameOf(problem, out.nPoint, run), "x y",
                        std::isfinite(out.fW) ? std::abs(size) : kNone, "px", out.fW});
  }
}

void AddInUse(const BlockProblem& problem, const PrecisionFigures& figures, const CBundleAdjustment& run,
              std::vector<SuspectFigure>& suspects) {
  for (const GroundPrecision& point : figures.vPoints) {
    if (point.Kind != PointKind::Control) continue;
    size_t worst = 0;
    const auto test = [&point](size_t k) {
      return std::isfinite(point.Test[k]) ? std::abs(point.Test[k]) : 0;
    };
    for (size_t k = 1; k < 3; ++k) worst = test(k) > test(worst) ? k : worst;
    if (!(test(worst) > run.Chosen.Settings.Snooping_Critical)) continue;
    suspects.push_back({"control", false, "", PointNameOf(problem, point.nPoint, run), kAxes[worst],
                        point.Error[worst], "object units", point.Test[worst], point.Redundancy[worst],
                        point.Smallest[worst], point.Effect[worst]});
  }
  for (const rigorous::RayTest& ray : figures.vRayTests) {
    const double scale = std::abs(run.Settings.Image_Coor_Scale);
    suspects.push_back({"measurement", false, ImageNameOf(run.Images, ray.nImage),
                        PointNameOf(problem, ray.nPoint, run), kMeasured[ray.nComponent], ray.fError / scale,
                        "px", ray.fW, ray.fRedundancy, ray.fSmallest / scale, ray.fEffect});
  }
  for (const rigorous::OwnTest& own : figures.vOwnTests) {
    const bool isGps = own.Kind == OwnKind::Gps;
    suspects.push_back({isGps ? "gps" : "imu", false, ImageNameOf(run.Images, own.nImage), "",
                        isGps ? kAxes[own.nComponent] : kAngles[own.nComponent],
                        isGps ? own.fError : kDegrees * own.fError, isGps ? "object units" : "degrees",
                        own.fW, own.fRedundancy, isGps ? own.fSmallest : kDegrees * own.fSmallest,
                        own.fEffect});
  }
}

/// What the largest |w| of all GPS positions and attitudes exceeds in 5 of 100 sound blocks.
double BlockCritical(const BlockProblem& problem) {
  int64_t count = 0;
  for (const rigorous::ImageModel& image : problem.Task.vImages)
    count += rigorous::ObservedNum(image.GpsSigma) + rigorous::ObservedNum(image.ImuSigma);
  return rigorous::TwoSidedCritical(rigorous::kFalseAlarm / static_cast<double>(std::max<int64_t>(count, 1)));
}

/// The largest first.
void TellContradicted(const BlockProblem& problem, const PrecisionFigures& figures, CBundleAdjustment& run) {
  const double critical = std::max(BlockCritical(problem), run.Chosen.Settings.Snooping_Critical);
  std::vector<rigorous::OwnTest> told;
  std::ranges::copy_if(figures.vOwnTests, std::back_inserter(told),
                       [&](const rigorous::OwnTest& own) { return std::abs(own.fW) > critical; });
  std::ranges::stable_sort(told, std::ranges::greater{},
                           [](const rigorous::OwnTest& own) { return std::abs(own.fW); });
  for (size_t i = 0; i < std::min(told.size(), kLogged); ++i) {
    const rigorous::OwnTest& own = told[i];
    const bool isGps = own.Kind == OwnKind::Gps;
    run.LogPrintf(">>%s of image %s contradicts the others: %s, w %.2lf, off by %.4lg %s\n",
                  isGps ? "GPS position" : "Attitude",
                  PrintableName(ImageNameOf(run.Images, own.nImage)).c_str(),
                  isGps ? kAxes[own.nComponent] : kAngles[own.nComponent], own.fW,
                  isGps ? own.fError : kDegrees * own.fError, isGps ? "object units" : "degrees");
  }
  if (told.size() > kLogged)
    run.LogPrintf(">>GPS positions and attitudes that contradict the others:%lld\n",
                  static_cast<long long>(told.size()));
}

/// The largest first; those that are in the adjustment.
void TellMeasurements(const BlockProblem& problem, const PrecisionFigures& figures, CBundleAdjustment& run) {
  const double scale = std::abs(run.Settings.Image_Coor_Scale);
  for (size_t i = 0; i < std::min(figures.vRayTests.size(), kLogged); ++i) {
    const rigorous::RayTest& ray = figures.vRayTests[i];
    run.LogPrintf(
        ">>Measurement of point %s in image %s contradicts the others: %s, w %.2lf, off by %.4lg px\n",
        PrintableName(PointNameOf(problem, ray.nPoint, run)).c_str(),
        PrintableName(ImageNameOf(run.Images, ray.nImage)).c_str(), kMeasured[ray.nComponent], ray.fW,
        ray.fError / scale);
  }
  if (figures.vRayTests.size() > kLogged)
    run.LogPrintf(">>Measurements in use that contradict the others:%lld\n",
                  static_cast<long long>(figures.vRayTests.size()));
}

const char* TextOf(VarianceGroup group) {
  switch (group) {
    case VarianceGroup::Measurements:
      return "measurements";
    case VarianceGroup::ControlXY:
      return "control X Y";
    case VarianceGroup::ControlZ:
      return "control Z";
    case VarianceGroup::GpsXY:
      return "GPS X Y";
    case VarianceGroup::GpsZ:
      return "GPS Z";
    case VarianceGroup::Imu:
      return "IMU";
    case VarianceGroup::Priors:
      return "priors";
  }
  return "";
}

std::vector<VarianceFigure> VariancesOf(const rigorous::VarianceEstimation& made,
                                        const CBundleAdjustment& run) {
  std::vector<VarianceFigure> variances;
  for (size_t k = 0; k < std::min(made.vComponents.size(), made.vScales.size()); ++k) {
    const rigorous::VarianceComponent& component = made.vComponents[k];
    if (component.nObservations == 0 || component.Group == VarianceGroup::Priors) continue;
    const bool isKnown = component.IsKnown();
    VarianceFigure figure;
    figure.szGroup = TextOf(component.Group);
    if (component.nCamera >= 0)
      figure.szCamera = CameraNameOf(run.Cameras, static_cast<size_t>(component.nCamera));
    figure.nObservations = component.nObservations;
    figure.fRedundancy = component.fRedundancy;
    figure.fFactor = isKnown ? made.vScales[k] : 1;
    // Of a root, relatively half of that of the variance.
    figure.fDeviation = isKnown ? made.vScales[k] * component.Deviation() / (2 * component.Factor()) : kNone;
    figure.bApplied = isKnown;
    variances.push_back(std::move(figure));
  }
  return variances;
}

}  // namespace

std::vector<rigorous::CheckPoint> CheckPointsOfRun(const BlockProblem& problem,
                                                   const std::vector<GcpSigma>& sigmas,
                                                   CBundleAdjustment& run) {
  std::vector<rigorous::CheckPoint> checks;
  const ObjectPointArray ground = RunVerdict(run).ReadGroundPoints().Points;
  const int64_t first = std::ssize(run.Points.pObjectPoints) - std::ssize(ground);
  const RigorousSettings& settings = run.Chosen.Settings;
  for (int64_t p = 0; p < problem.Task.PointNum(); ++p) {
    const int64_t in = problem.vPoint[static_cast<size_t>(p)];
    const ObjectPointRecord& record = run.Points.pObjectPoints[static_cast<size_t>(in)];
    if (record.nType != 2) continue;
    rigorous::CheckPoint check;
    check.nPoint = p;
    check.Given = {kNone, kNone, kNone};
    check.Sigma = {settings.Sigma_GCP_XY, settings.Sigma_GCP_XY, settings.Sigma_GCP_Z};
    const auto place = static_cast<size_t>(in - first);
    if (first >= 0 && in >= first && NameOf(ground[place]) == NameOf(record)) {
      const ObjectPointRecord& given = ground[place];
      check.Given = Vector3{given.X, given.Y, given.Z} - problem.Origin;
      for (size_t k = 0; k < 3 && place < sigmas.size(); ++k) {
        if (!std::isnan(sigmas[place].Sigma[k])) check.Sigma[k] = sigmas[place].Sigma[k];
      }
    }
    checks.push_back(check);
  }
  return checks;
}

void NoteReliability(const BlockProblem& problem, const RobustResult& result, const PrecisionFigures& figures,
                     const std::optional<rigorous::VarianceEstimation>& variances, CBundleAdjustment& run) {
  TellMeasurements(problem, figures, run);
  TellContradicted(problem, figures, run);
  if (!run.pWatch || !run.pWatch->Figures.Precision) return;
  report::PrecisionFigures& told = *run.pWatch->Figures.Precision;
  told.vGround = GroundOf(problem, figures, run);
  AddLeftOut(problem, result, run, told.vSuspects);
  AddInUse(problem, figures, run, told.vSuspects);
  told.nSuspects = std::ssize(told.vSuspects);
  std::ranges::stable_sort(told.vSuspects, IsWorse);
  if (told.vSuspects.size() > kTold) told.vSuspects.resize(kTold);
  if (variances) told.vVariances = VariancesOf(*variances, run);
}

}  // namespace orvo
