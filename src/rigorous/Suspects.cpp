#include "rigorous/Suspects.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <span>
#include <utility>

#include "base/Threads.h"
#include "rigorous/OwnPrecision.h"
#include "rigorous/PointPlace.h"
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

constexpr int64_t kPiecePoints = 4096;

/// |w| of x or y of a ray above `least`, by the redundancy that the point alone leaves it.
bool IsDoubtful(size_t rayNum, const PointPlace& place, double sigma0, double least) {
  const Matrix3& Q = place.Factor.Q;
  for (size_t ray = 0; ray < rayNum; ++ray) {
    const double weight = place.vWeights[ray];
    if (!(weight > 0)) continue;
    const PlaceRow& row = place.vRows[ray];
    for (int c = 0; c < 2; ++c) {
      double predicted = 0;
      for (size_t k = 0; k < 3; ++k) {
        const double part = row.Point[c][0] * Q[k] + row.Point[c][1] * Q[3 + k] + row.Point[c][2] * Q[6 + k];
        predicted += part * part;
      }
      const double redundancy = 1 - weight * predicted;
      const double square = weight * row.Residual[c] * row.Residual[c];
      if (redundancy > kLeastRedundancy && square > least * least * sigma0 * sigma0 * redundancy) return true;
    }
  }
  return false;
}

}  // namespace

std::vector<uint8_t> DoubtfulPoints(const Problem& problem, const Estimate& estimate,
                                    const SuspectLimits& limits) {
  std::vector<uint8_t> doubtful(static_cast<size_t>(problem.PointNum()));
  const PointSurroundings around(problem, estimate);
  const int64_t pieceNum = (problem.PointNum() + kPiecePoints - 1) / kPiecePoints;
  ParallelFor(pieceNum, limits.nThreads, [&](int64_t piece) {
    PointPlace place;
    const int64_t first = piece * kPiecePoints, end = std::min(first + kPiecePoints, problem.PointNum());
    auto control = std::ranges::lower_bound(problem.vControl, first, {}, &ControlObservation::nPoint);
    for (int64_t p = first; p < end; ++p) {
      while (control != problem.vControl.end() && control->nPoint < p) ++control;
      const bool isControl = control != problem.vControl.end() && control->nPoint == p;
      const std::span<const Ray> rays = problem.RaysOf(p);
      const auto at = static_cast<size_t>(p);
      LinearizePlace(around, ObservationsOf(rays, isControl ? &*control : nullptr), estimate.vPoints[at],
                     place);
      doubtful[at] = IsDoubtful(rays.size(), place, limits.fSigma0, kLocalShare * limits.fCritical);
    }
  });
  return doubtful;
}

std::vector<Suspect> SuspectsOf(const Problem& problem, const UnknownPlan& plan, const PointChunks& chunks,
                                const Estimate& estimate, const NodeCovariance& covariance,
                                const SuspectLimits& limits) {
  Finder finder(problem, limits);
  PointPrecisionOptions options;
  options.bRays = true;
  options.nThreads = limits.nThreads;
  options.Wanted = limits.Wanted;
  ForEachPointPrecision(problem, plan, chunks, estimate, covariance, options,
                        [&finder](const PointPrecision& point) { finder.LookAt(point); });
  ForEachOwnPrecision(problem, plan, estimate, covariance,
                      [&finder](const OwnPrecision& own) { finder.LookAt(own); });
  std::ranges::stable_sort(finder.Found, std::ranges::greater{},
                           [](const Suspect& one) { return std::abs(one.Worth.fTest); });
  return std::move(finder.Found);
}

}  // namespace orvo::rigorous
