#include "rigorous/TruthScores.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>

#include "rigorous/Adjust.h"
#include "rigorous/NodeCovariance.h"
#include "rigorous/OwnObservations.h"
#include "rigorous/OwnPrecision.h"
#include "rigorous/PointPrecision.h"
#include "rigorous/RotationVector.h"

namespace orvo::rigorous::test {
namespace {

constexpr double kCritical = 3.29;      ///< one of a thousand
constexpr double kUncontrolled = 0.02;  ///< measurements of less redundancy are not tested

/// `columns` below 0: not unknown.
void Put(const Vector3& error, int32_t columns, double* node) {
  if (columns >= 0) std::ranges::copy(error, node + columns);
}

Vector3 TurnBetween(const Matrix3& from, const Matrix3& to) {
  return VectorOfRotation(Multiply(Transposed(from), to));
}

void PutCamera(const CameraEstimate& truth, const CameraEstimate& now, const CameraColumns& columns,
               double* node) {
  Lens trueLens = truth.LensNow, lens = now.LensNow;
  for (int k = 0; k < columns.Layout.Num; ++k) {
    const LensParameter parameter = columns.Layout.Columns[static_cast<size_t>(k)];
    node[columns.nLens + k] = ParameterOf(trueLens, parameter) - ParameterOf(lens, parameter);
  }
  Put(truth.LeverArm - now.LeverArm, columns.nLeverArm, node);
  Put(TurnBetween(now.Boresight, truth.Boresight), columns.nBoresight, node);
}

void PutStrip(const StripEstimate& truth, const StripEstimate& now, const StripColumns& columns,
              double* node) {
  Put(truth.Gps.Constant - now.Gps.Constant, columns.nGpsConstant, node);
  Put(truth.Gps.Linear - now.Gps.Linear, columns.nGpsLinear, node);
  Put(truth.Imu.Constant - now.Imu.Constant, columns.nImuConstant, node);
  Put(truth.Imu.Linear - now.Imu.Linear, columns.nImuLinear, node);
}

/// The adjusted block, and what is counted over it.
struct Scorer {
  Scorer(const TruthBlock& block, int32_t threads)
      : Block(block), At(block.Start), nThreads(threads), Steps(block.Given, OptionsOf(threads)) {}

  static AdjustOptions OptionsOf(int32_t threads) {
    AdjustOptions options;
    options.nThreads = threads;
    return options;
  }

  TruthScores Score();
  double LargestT(const NodeCovariance& covariance, int32_t node, int32_t first) const;
  void ScoreParameters(const NodeCovariance& covariance);
  void ScorePoints(const NodeCovariance& covariance);
  void AddPoint(const PointPrecision& point);
  void AddRay(const RayPrecision& ray);

  const TruthBlock& Block;
  Estimate At;
  int32_t nThreads;
  Adjuster Steps;
  std::vector<double> vErrors;
  double fPointSquares = 0, fRedundancy = 0;
  int64_t nPointValues = 0;
  TruthScores Scores;
};

/// The largest |t| of these unknowns of a node.
double Scorer::LargestT(const NodeCovariance& covariance, int32_t node, int32_t first) const {
  const auto place = static_cast<size_t>(node);
  double largest = 0;
  for (int32_t k = first; k < Steps.Plan().vSizes[place]; ++k) {
    const double error = vErrors[static_cast<size_t>(Steps.Plan().vFirstUnknown[place] + k)];
    largest = std::max(largest, std::abs(error) / covariance.Deviation(node, k));
  }
  return largest;
}

void Scorer::ScoreParameters(const NodeCovariance& covariance) {
  const UnknownPlan& plan = Steps.Plan();
  for (const CameraColumns& camera : plan.vCameras) {
    if (camera.nNode < 0) continue;
    // A camera of one image stands behind the six of this image.
    const int32_t first = std::ranges::count(plan.vImageNode, camera.nNode) > 0 ? 6 : 0;
    Scores.fLargestT = std::max(Scores.fLargestT, LargestT(covariance, camera.nNode, first));
  }
  for (const StripColumns& strip : plan.vStrips) {
    if (strip.nNode < 0) continue;
    Scores.fLargestDriftT = std::max(Scores.fLargestDriftT, LargestT(covariance, strip.nNode, 0));
  }
}

void Scorer::AddRay(const RayPrecision& ray) {
  const int32_t image = Block.Given.vRays[static_cast<size_t>(ray.nRay)].nImage;
  const CameraModel& camera =
      Block.Given.vCameras[static_cast<size_t>(Block.Given.vImages[static_cast<size_t>(image)].nCamera)];
  for (size_t c = 0; c < 2; ++c) {
    fRedundancy += ray.Redundancy[c];
    if (ray.Redundancy[c] < kUncontrolled) continue;
    ++Scores.nTests;
    const double w = ray.Residual[c] / (camera.fSigma * std::sqrt(ray.Redundancy[c]));
    Scores.nRejected += std::abs(w) > kCritical;
  }
}

void Scorer::AddPoint(const PointPrecision& point) {
  const auto p = static_cast<size_t>(point.nPoint);
  EXPECT_TRUE(point.bDetermined) << point.nPoint;
  for (size_t k = 0; k < 3; ++k) {
    fRedundancy += point.ControlRedundancy[k];
    const double e = Block.Truth.vPoints[p][k] - At.vPoints[p][k];
    if (!point.bDetermined || point.Cofactor[4 * k] <= 0) continue;
    fPointSquares += e * e / point.Cofactor[4 * k];
    ++nPointValues;
  }
  for (const RayPrecision& ray : point.vRays) AddRay(ray);
}

void Scorer::ScorePoints(const NodeCovariance& covariance) {
  PointPrecisionOptions options;
  options.bRays = true;
  options.nThreads = nThreads;
  ForEachPointPrecision(Block.Given, Steps.Plan(), Steps.Chunks(), At, covariance, options,
                        [this](const PointPrecision& point) { AddPoint(point); });
  ForEachOwnPrecision(Block.Given, Steps.Plan(), At, covariance, [this](const OwnPrecision& own) {
    fRedundancy += own.Redundancy[0] + own.Redundancy[1] + own.Redundancy[2];
  });
}

TruthScores Scorer::Score() {
  const AdjustResult result = Steps.Run(At, {}, 50);
  EXPECT_EQ(AdjustEnd::Converged, result.End);
  ReducedEquations& equations = Steps.EquationsAt(At);
  vErrors = ErrorsOf(Block, Steps.Plan(), At);
  const double joint = QuadraticForm(equations.N, vErrors),
               all = SquaresAt(Block.Given, Block.Truth) - result.fSquares;
  const int64_t unknowns = Steps.Plan().UnknownNum() - result.nDatumDefect;
  const int64_t pointUnknowns = result.nUnknowns - Steps.Plan().UnknownNum();
  Scores.fJoint = NormalOf(joint, static_cast<double>(unknowns));
  Scores.fSquares = NormalOf(result.fSquares, static_cast<double>(result.Redundancy()));
  Scores.fIntersection = NormalOf(all - joint, static_cast<double>(pointUnknowns));
  const FreeDatum datum = FreeDatumOf(Block.Given, Steps.Plan(), At, equations);
  const CovarianceResult covariance = CovarianceOf(Steps.Plan(), datum, equations);
  if (!covariance.Covariance) {
    ADD_FAILURE() << "no covariance";
    return Scores;
  }
  ScorePoints(*covariance.Covariance);
  if (datum.nDefect == 0) {
    ScoreParameters(*covariance.Covariance);
    Scores.fPoints = fPointSquares / static_cast<double>(nPointValues);
  }
  Scores.fRedundancies = fRedundancy / static_cast<double>(result.Redundancy());
  return Scores;
}

}  // namespace

std::vector<double> ErrorsOf(const TruthBlock& block, const UnknownPlan& plan, const Estimate& estimate) {
  std::vector<double> errors(static_cast<size_t>(plan.UnknownNum()));
  const auto at = [&](int32_t node) { return errors.data() + plan.vFirstUnknown[static_cast<size_t>(node)]; };
  const Estimate& truth = block.Truth;
  for (size_t i = 0; i < plan.vImageNode.size(); ++i) {
    if (plan.vImageNode[i] < 0) continue;
    Put(truth.vPoses[i].Centre - estimate.vPoses[i].Centre, 0, at(plan.vImageNode[i]));
    Put(TurnBetween(estimate.vPoses[i].R, truth.vPoses[i].R), 3, at(plan.vImageNode[i]));
  }
  for (size_t c = 0; c < plan.vCameras.size(); ++c) {
    const CameraColumns& columns = plan.vCameras[c];
    if (columns.nNode >= 0) PutCamera(truth.vCameras[c], estimate.vCameras[c], columns, at(columns.nNode));
  }
  for (size_t s = 0; s < plan.vStrips.size(); ++s) {
    const StripColumns& columns = plan.vStrips[s];
    if (columns.nNode >= 0) PutStrip(truth.vStrips[s], estimate.vStrips[s], columns, at(columns.nNode));
  }
  return errors;
}

double SquaresAt(const Problem& problem, const Estimate& estimate) {
  double squares = SumOwnObservations(problem, estimate).fSquares;
  for (int64_t p = 0; p < problem.PointNum(); ++p) {
    for (const Ray& ray : problem.RaysOf(p)) {
      if (ray.nImage < 0) continue;
      const auto image = static_cast<size_t>(ray.nImage);
      const auto camera = static_cast<size_t>(problem.vImages[image].nCamera);
      Vector2 v{};
      EXPECT_EQ(RayStatus::Good,
                ResidualOfRay(estimate.vPoses[image], estimate.vCameras[camera].LensNow,
                              estimate.vPoints[static_cast<size_t>(p)], {ray.x, ray.y}, problem.Form, v));
      squares += (v[0] * v[0] + v[1] * v[1]) / std::pow(problem.vCameras[camera].fSigma, 2);
    }
  }
  for (const ControlObservation& control : problem.vControl) {
    for (size_t k = 0; k < 3; ++k) {
      const double r = control.Observed[k] - estimate.vPoints[static_cast<size_t>(control.nPoint)][k];
      if (std::isfinite(control.Sigma[k]) && control.Sigma[k] > 0)
        squares += std::pow(r / control.Sigma[k], 2);
    }
  }
  return squares;
}

double NormalOf(double square, double freedom) { return (square - freedom) / std::sqrt(2 * freedom); }

TruthScores ScoresOf(const TruthBlock& block, int32_t threads) { return Scorer(block, threads).Score(); }

}  // namespace orvo::rigorous::test
