#include "rigorous/Suspects.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <utility>

#include "rigorous/OwnPrecision.h"
#include "rigorous/PointPrecision.h"

namespace orvo::rigorous {
namespace {

class Finder {
 public:
  Finder(const Problem& problem, const SuspectLimits& limits) : In(problem), Limits(limits) {}

  void LookAt(const PointPrecision& point) {
    Suspect largest;
    for (const RayPrecision& ray : point.vRays) {
      if (ray.bInUse) LookAt(point.nPoint, ray, largest);
    }
    Suspect control;
    control.Kind = SuspectKind::Control;
    control.nPoint = point.nPoint;
    for (int k = 0; k < 3; ++k) {
      control.nComponent = k;
      if (point.IsControlled[k])
        Compare(control, point.ControlResidual[k], point.ControlRedundancy[k], largest);
    }
    Keep(largest);
  }

  void LookAt(const OwnPrecision& own) {
    if (own.Kind != OwnKind::Gps && own.Kind != OwnKind::Imu) return;
    Suspect largest, one;
    one.Kind = own.Kind == OwnKind::Gps ? SuspectKind::Gps : SuspectKind::Imu;
    one.nImage = own.nOwner;
    for (int c = 0; c < 3; ++c) {
      one.nComponent = c;
      if (own.IsCounted[c]) Compare(one, own.Residual[c], own.Redundancy[c], largest);
    }
    Keep(largest);
  }

  std::vector<Suspect> Found;

 private:
  void LookAt(int64_t point, const RayPrecision& ray, Suspect& largest) const {
    Suspect one;
    one.nPoint = point;
    one.nRay = ray.nRay;
    one.nImage = In.vRays[ray.nRay].nImage;
    const double sigma = SigmaOf(one);
    for (int c = 0; c < 2; ++c) {
      one.nComponent = c;
      Compare(one, ray.Residual[c] / sigma, ray.Redundancy[c], largest);
    }
  }

  void Compare(Suspect one, double normalised, double redundancy, Suspect& largest) const {
    one.Worth = ReliabilityOf(normalised, redundancy, Limits.fSigma0);
    one.fRedundancy = redundancy;
    one.fResidual = normalised;
    if (std::abs(one.Worth.fTest) > std::abs(largest.Worth.fTest)) largest = one;
  }

  void Keep(Suspect& largest) {
    if (!(std::abs(largest.Worth.fTest) > Limits.fCritical)) return;
    largest.fResidual *= SigmaOf(largest);
    Found.push_back(largest);
  }

  double SigmaOf(const Suspect& one) const {
    switch (one.Kind) {
      case SuspectKind::Control:
        return std::ranges::lower_bound(In.vControl, one.nPoint, {}, &ControlObservation::nPoint)
            ->Sigma[one.nComponent];
      case SuspectKind::Gps:
        return In.vImages[one.nImage].GpsSigma[one.nComponent];
      case SuspectKind::Imu:
        return In.vImages[one.nImage].ImuSigma[one.nComponent];
      case SuspectKind::Measurement:
        break;
    }
    return In.vCameras[In.vImages[one.nImage].nCamera].fSigma;
  }

  const Problem& In;
  const SuspectLimits& Limits;
};

}  // namespace

std::vector<Suspect> SuspectsOf(const Problem& problem, const UnknownPlan& plan, const PointChunks& chunks,
                                const Estimate& estimate, const NodeCovariance& covariance,
                                const SuspectLimits& limits) {
  Finder finder(problem, limits);
  PointPrecisionOptions options;
  options.bRays = true;
  options.nThreads = limits.nThreads;
  ForEachPointPrecision(problem, plan, chunks, estimate, covariance, options,
                        [&finder](const PointPrecision& point) { finder.LookAt(point); });
  ForEachOwnPrecision(problem, plan, estimate, covariance,
                      [&finder](const OwnPrecision& own) { finder.LookAt(own); });
  std::ranges::stable_sort(finder.Found, std::ranges::greater{},
                           [](const Suspect& one) { return std::abs(one.Worth.fTest); });
  return std::move(finder.Found);
}

}  // namespace orvo::rigorous
