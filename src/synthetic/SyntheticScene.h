// The true block: ground, flight, cameras, and the measurements that they give.
#pragma once

#include <span>
#include <vector>

#include "synthetic/CounterRandom.h"
#include "synthetic/FlightPlan.h"
#include "synthetic/SyntheticCamera.h"
#include "synthetic/SyntheticOptions.h"
#include "synthetic/Terrain.h"

namespace orvo {

struct SyntheticMeasurement {
  int32_t nImage = 0;  ///< ordinal
  double x = 0, y = 0;
  bool bOutlier = false;
};

class SyntheticScene {
 public:
  explicit SyntheticScene(const SyntheticOptions& options);

  const SyntheticOptions& Options() const { return Given; }
  const FlightPlan& Flight() const { return Plan; }
  const std::vector<SyntheticImage>& Images() const { return Plan.Images(); }
  const std::vector<SyntheticCamera>& Cameras() const { return pCameras; }
  double GroundHeight(double X, double Y) const { return Ground.Height(X, Y); }

  /// Number of images on which the point lies.
  int32_t CountRays(double X, double Y, double Z) const;
  /// The measurements of a point by image ordinal, with noise, and with outliers where they are asked for.
  /// One that noise carries out of its image is left out. `index` tells the points of a stream apart.
  void Measure(double X, double Y, double Z, RandomStream stream, int64_t index, bool outliers,
               std::vector<SyntheticMeasurement>& measurements) const;

 private:
  void Displace(CounterRandom& random, SyntheticMeasurement& measurement) const;

  SyntheticOptions Given;
  Terrain Ground;
  FlightPlan Plan;
  std::vector<SyntheticCamera> pCameras;
  std::vector<SyntheticProjector> pProjectors;  ///< by camera
};

}  // namespace orvo
