#include "rigorous/VarianceComponents.h"

#include <cmath>
#include <utility>

#include "rigorous/OwnPrecision.h"
#include "rigorous/PointPrecision.h"

namespace orvo::rigorous {
namespace {

constexpr VarianceGroup kGroups[] = {VarianceGroup::ControlXY, VarianceGroup::ControlZ,
                                     VarianceGroup::GpsXY,     VarianceGroup::GpsZ,
                                     VarianceGroup::Imu,       VarianceGroup::Priors};

/// Of all but measurements.
size_t PlaceOf(const Problem& problem, VarianceGroup group) {
  return problem.vCameras.size() + static_cast<size_t>(group) - 1;
}

class Summation {
 public:
  explicit Summation(const Problem& problem) : In(problem) {
    for (size_t c = 0; c < problem.vCameras.size(); ++c) {
      Sums.push_back({VarianceGroup::Measurements, static_cast<int32_t>(c)});
    }
    for (const VarianceGroup group : kGroups) Sums.push_back({group});
  }

  void Add(const PointPrecision& point) {
    for (const RayPrecision& ray : point.vRays) {
      if (ray.bInUse) Add(ray);
    }
    for (int k = 0; k < 3; ++k) {
      if (!point.IsControlled[k]) continue;
      Count(SumOf(k < 2 ? VarianceGroup::ControlXY : VarianceGroup::ControlZ), point.ControlResidual[k],
            point.ControlRedundancy[k]);
    }
  }

  void Add(const OwnPrecision& own) {
    for (int c = 0; c < 3; ++c) {
      if (own.IsCounted[c]) Count(SumOf(GroupOf(own.Kind, c)), own.Residual[c], own.Redundancy[c]);
    }
  }

  std::vector<VarianceComponent> Sums;

 private:
  static VarianceGroup GroupOf(OwnKind kind, int c) {
    if (kind == OwnKind::Gps) return c < 2 ? VarianceGroup::GpsXY : VarianceGroup::GpsZ;
    return kind == OwnKind::Imu ? VarianceGroup::Imu : VarianceGroup::Priors;
  }

  void Add(const RayPrecision& ray) {
    const auto camera = static_cast<size_t>(In.vImages[In.vRays[ray.nRay].nImage].nCamera);
    for (int c = 0; c < 2; ++c)
      Count(Sums[camera], ray.Residual[c] / In.vCameras[camera].fSigma, ray.Redundancy[c]);
  }

  VarianceComponent& SumOf(VarianceGroup group) { return Sums[PlaceOf(In, group)]; }

  static void Count(VarianceComponent& component, double normalised, double redundancy) {
    ++component.nObservations;
    component.fSquares += normalised * normalised;
    component.fRedundancy += redundancy;
  }

  const Problem& In;
};

}  // namespace

double VarianceComponent::Deviation() const {
  return IsKnown() ? Factor() * std::sqrt(2 / fRedundancy) : kNotObserved;
}

std::vector<VarianceComponent> VarianceComponentsOf(const Problem& problem, const UnknownPlan& plan,
                                                    const PointChunks& chunks, const Estimate& estimate,
                                                    const NodeCovariance& covariance, int32_t threads) {
  Summation sums(problem);
  PointPrecisionOptions options;
  options.bRays = true;
  options.nThreads = threads;
  ForEachPointPrecision(problem, plan, chunks, estimate, covariance, options,
                        [&sums](const PointPrecision& point) { sums.Add(point); });
  ForEachOwnPrecision(problem, plan, estimate, covariance,
                      [&sums](const OwnPrecision& own) { sums.Add(own); });
  return std::move(sums.Sums);
}

void ScaleDeviations(const std::vector<double>& scales, Problem& problem) {
  for (size_t c = 0; c < problem.vCameras.size(); ++c) problem.vCameras[c].fSigma *= scales[c];
  const auto scaleOf = [&](VarianceGroup group) { return scales[PlaceOf(problem, group)]; };
  for (ControlObservation& control : problem.vControl) {
    for (int k = 0; k < 3; ++k)
      control.Sigma[k] *= scaleOf(k < 2 ? VarianceGroup::ControlXY : VarianceGroup::ControlZ);
  }
  for (ImageModel& image : problem.vImages) {
    for (int k = 0; k < 3; ++k) {
      image.GpsSigma[k] *= scaleOf(k < 2 ? VarianceGroup::GpsXY : VarianceGroup::GpsZ);
      image.ImuSigma[k] *= scaleOf(VarianceGroup::Imu);
    }
  }
}

}  // namespace orvo::rigorous
