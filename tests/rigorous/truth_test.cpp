// What the adjustment says of its own precision, against the truth of generated blocks.
#include <gtest/gtest.h>

#include <cmath>
#include <functional>
#include <string>

#include "rigorous/Adjust.h"
#include "rigorous/NodeCovariance.h"
#include "rigorous/PointPrecision.h"
#include "rigorous/RotationVector.h"
#include "rigorous/TruthBlock.h"

namespace orvo::rigorous::test {
namespace {

using O = TruthOptions;

/// Truth less estimate, over the unknowns of images and cameras (no strips, no mounting).
std::vector<double> ErrorsOf(const TruthBlock& block, const UnknownPlan& plan, const Estimate& estimate) {
  std::vector<double> errors(static_cast<size_t>(plan.UnknownNum()));
  for (size_t i = 0; i < plan.vImageNode.size(); ++i) {
    if (plan.vImageNode[i] < 0) continue;
    double* e = errors.data() + plan.vFirstUnknown[static_cast<size_t>(plan.vImageNode[i])];
    const Vector3 centre = block.Truth.vPoses[i].Centre - estimate.vPoses[i].Centre;
    const Vector3 turn =
        VectorOfRotation(Multiply(Transposed(estimate.vPoses[i].R), block.Truth.vPoses[i].R));
    for (size_t k = 0; k < 3; ++k) e[k] = centre[k], e[3 + k] = turn[k];
  }
  for (size_t c = 0; c < plan.vCameras.size(); ++c) {
    const CameraColumns& columns = plan.vCameras[c];
    Lens truth = block.Truth.vCameras[c].LensNow, now = estimate.vCameras[c].LensNow;
    for (int k = 0; k < columns.Layout.Num; ++k) {
      const LensParameter parameter = columns.Layout.Columns[static_cast<size_t>(k)];
      errors[static_cast<size_t>(plan.vFirstUnknown[static_cast<size_t>(columns.nNode)] + columns.nLens +
                                 k)] = ParameterOf(truth, parameter) - ParameterOf(now, parameter);
    }
  }
  return errors;
}

struct Scores {
  double fJoint = 0, fSquares = 0, fPoints = 0;  ///< as standard normal values; of points the ratio
  double fLargestT = 0;                          ///< of camera parameters
  int64_t nTests = 0, nRejected = 0;             ///< |w| above 3.29
};

Scores ScoresOf(const O& options) {
  const TruthBlock block = MakeTruthBlock(options);
  Estimate at = block.Start;
  Adjuster steps(block.Given, {});
  const AdjustResult result = steps.Run(at, {}, 50);
  EXPECT_EQ(AdjustEnd::Converged, result.End);
  ReducedEquations& equations = steps.EquationsAt(at);
  const std::vector<double> errors = ErrorsOf(block, steps.Plan(), at);
  const auto normal = [](double square, double freedom) {
    return (square - freedom) / std::sqrt(2 * freedom);
  };
  Scores scores;
  scores.fJoint = normal(QuadraticForm(equations.N, errors), static_cast<double>(steps.Plan().UnknownNum()));
  scores.fSquares = normal(result.fSquares, static_cast<double>(result.Redundancy()));
  const CovarianceResult covariance = CovarianceOf(steps.Plan(), {}, equations);
  if (!covariance.Covariance) {
    ADD_FAILURE() << "no covariance";
    return scores;
  }
  const CameraColumns& camera = steps.Plan().vCameras[0];
  for (int k = 0; k < camera.Layout.Num; ++k) {
    const auto place = static_cast<size_t>(steps.Plan().vFirstUnknown[static_cast<size_t>(camera.nNode)]) +
                       static_cast<size_t>(camera.nLens + k);
    const double t = errors[place] / covariance.Covariance->Deviation(camera.nNode, camera.nLens + k);
    scores.fLargestT = std::max(scores.fLargestT, std::abs(t));
  }
  double points = 0, freedom = 0;
  PointPrecisionOptions rays;
  rays.bRays = true;
  ForEachPointPrecision(
      block.Given, steps.Plan(), steps.Chunks(), at, *covariance.Covariance, rays,
      [&](const PointPrecision& point) {
        const auto p = static_cast<size_t>(point.nPoint);
        for (size_t k = 0; k < 3; ++k) {
          const double e = block.Truth.vPoints[p][k] - at.vPoints[p][k];
          points += e * e / point.Cofactor[4 * k];
          ++freedom;
        }
        for (const RayPrecision& ray : point.vRays) {
          for (size_t c = 0; c < 2; ++c) {
            const double w = ray.Residual[c] /
                             (block.Given.vCameras[0].fSigma * std::sqrt(std::max(ray.Redundancy[c], 1e-6)));
            if (ray.Redundancy[c] < 0.02) continue;
            ++scores.nTests;
            scores.nRejected += std::abs(w) > 3.29;
          }
        }
      });
  scores.fPoints = points / freedom;
  return scores;
}

struct Case {
  const char* szName;
  std::function<void(O&)> Change;
};

class Truth : public ::testing::TestWithParam<Case> {};

TEST_P(Truth, LiesWhereTheStandardDeviationsSay) {
  constexpr int kSeeds = 20;
  double joint = 0, squares = 0, points = 0;
  int64_t tests = 0, rejected = 0;
  for (int seed = 1; seed <= kSeeds; ++seed) {
    O options;
    options.nSeed = static_cast<uint64_t>(seed);
    GetParam().Change(options);
    const Scores scores = ScoresOf(options);
    EXPECT_LT(std::abs(scores.fJoint), 4) << seed;
    EXPECT_LT(std::abs(scores.fSquares), 4) << seed;
    EXPECT_LT(scores.fLargestT, 4) << seed;
    points += scores.fPoints;
    joint += scores.fJoint;
    squares += scores.fSquares;
    tests += scores.nTests;
    rejected += scores.nRejected;
  }
  EXPECT_LT(std::abs(joint / kSeeds), 3 / std::sqrt(kSeeds));
  EXPECT_LT(std::abs(squares / kSeeds), 3 / std::sqrt(kSeeds));
  // All points of a block share the errors of its datum and camera: only the mean of many blocks tells
  // something.
  EXPECT_NEAR(1, points / kSeeds, 0.35);
  const double expected = 1e-3 * static_cast<double>(tests);
  EXPECT_NEAR(expected, static_cast<double>(rejected), 4 * std::sqrt(expected));
}

INSTANTIATE_TEST_SUITE_P(
    All, Truth,
    ::testing::Values(Case{"Control", [](O& o) { o.nControl = 6; }},
                      Case{"HeldCamera", [](O& o) { o.nControl = 4, o.nLensUnknowns = 0; }},
                      Case{"UnequalControl",
                           [](O& o) {
                             o.nControl = 5, o.nHeightControl = 6;
                             o.ControlSigma = {0.02, 0.05, 0.01};
                           }},
                      Case{"Gps",
                           [](O& o) {
                             o.GpsSigma = {0.03, 0.03, 0.05};
                           }},
                      Case{"FullLens",
                           [](O& o) {
                             o.nControl = 6, o.nCrossStrips = 1;
                             o.nLensTerms = o.nLensUnknowns = kLensAll;
                           }}),
    [](const ::testing::TestParamInfo<Case>& test) { return std::string(test.param.szName); });

}  // namespace
}  // namespace orvo::rigorous::test
