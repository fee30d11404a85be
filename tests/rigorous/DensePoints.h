// The equations of all rays and control as one dense least-squares problem: slow and obvious.
#pragma once

#include <Eigen/Dense>
#include <cmath>
#include <vector>

#include "rigorous/PointBuilders.h"
#include "rigorous/PointPass.h"

namespace orvo::rigorous::test {

struct DenseEquations {
  Eigen::MatrixXd N;
  Eigen::VectorXd n;
  double fCost = 0, fPointDecrease = 0;
};

/// Rows of a residual over all unknowns: those of the plan, then three of each point.
class DenseRows {
 public:
  DenseRows(const Problem& problem, const UnknownPlan& plan)
      : nReduced(plan.UnknownNum()), nAll(nReduced + 3 * problem.PointNum()) {
    Full = Eigen::MatrixXd::Zero(nAll, nAll);
    Constants = Eigen::VectorXd::Zero(nAll);
  }
  void Add(const Eigen::VectorXd& row, double weight, double residual) {
    for (Eigen::Index i = 0; i < nAll; ++i) {
      if (row(i) != 0) Full.col(i) += weight * row(i) * row;
    }
    Constants -= weight * residual * row;
  }

  int64_t nReduced, nAll;
  Eigen::MatrixXd Full;
  Eigen::VectorXd Constants;
};

inline void AddRay(const Block& block, const UnknownPlan& plan, const RobustLoss& loss, int64_t point,
                   const rigorous::Ray& ray, DenseRows& rows, double& cost) {
  const int32_t c = block.Of.vImages[ray.nImage].nCamera;
  const CameraColumns& camera = plan.vCameras[c];
  RayRows J;
  ASSERT_EQ(LinearizeRay(block.Start.vPoses[ray.nImage], block.Start.vCameras[c].LensNow,
                         block.Start.vPoints[point], {static_cast<double>(ray.x), static_cast<double>(ray.y)},
                         block.Of.Form, camera.Layout, J),
            RayStatus::Good);
  const double weight = std::pow(block.Of.vCameras[c].fSigma, -2);
  const LossValue value =
      LossOf(loss, weight * (J.Residual[0] * J.Residual[0] + J.Residual[1] * J.Residual[1]));
  cost += value.Value;
  for (int i = 0; i < 2; ++i) {
    Eigen::VectorXd row = Eigen::VectorXd::Zero(rows.nAll);
    if (const int32_t node = plan.vImageNode[ray.nImage]; node >= 0) {
      for (int k = 0; k < 6; ++k) row(plan.vFirstUnknown[node] + k) = J.Image[i][k];
    }
    for (int k = 0; k < camera.Layout.Num; ++k) {
      row(plan.vFirstUnknown[camera.nNode] + camera.nLens + k) = J.Camera[i][k];
    }
    for (int k = 0; k < 3; ++k) row(rows.nReduced + 3 * point + k) = J.Point[i][k];
    rows.Add(row, weight * value.Weight, J.Residual[i]);
  }
}

/// What is held becomes an observation that decides all.
inline void AddControl(const Block& block, const ControlObservation& control, DenseRows& rows, double& cost) {
  for (int k = 0; k < 3; ++k) {
    const double sigma = control.Sigma[k];
    if (!std::isfinite(sigma)) continue;
    const int64_t column = rows.nReduced + 3 * control.nPoint + k;
    if (sigma == 0) {
      rows.Full.row(column).setZero();
      rows.Full.col(column).setZero();
      rows.Full(column, column) = 1;
      rows.Constants(column) = 0;
      continue;
    }
    Eigen::VectorXd row = Eigen::VectorXd::Zero(rows.nAll);
    row(column) = -1;
    const double residual = control.Observed[k] - block.Start.vPoints[control.nPoint][k];
    rows.Add(row, std::pow(sigma, -2), residual);
    cost += residual * residual / (sigma * sigma);
  }
}

/// Reduced by the points where they stand at the start.
inline DenseEquations SolveDense(const Block& block, const UnknownPlan& plan, const RobustLoss& loss) {
  DenseEquations dense;
  DenseRows rows(block.Of, plan);
  for (int64_t p = 0; p < block.Of.PointNum(); ++p) {
    for (const rigorous::Ray& ray : block.Of.RaysOf(p)) AddRay(block, plan, loss, p, ray, rows, dense.fCost);
  }
  for (const ControlObservation& control : block.Of.vControl) AddControl(block, control, rows, dense.fCost);
  const int64_t points = rows.nAll - rows.nReduced;
  const Eigen::MatrixXd G = rows.Full.topRightCorner(rows.nReduced, points);
  const Eigen::LDLT<Eigen::MatrixXd> M(rows.Full.bottomRightCorner(points, points));
  const Eigen::VectorXd step = M.solve(rows.Constants.tail(points));
  dense.N = rows.Full.topLeftCorner(rows.nReduced, rows.nReduced) - G * M.solve(G.transpose());
  dense.n = rows.Constants.head(rows.nReduced) - G * step;
  dense.fPointDecrease = rows.Constants.tail(points).dot(step);
  return dense;
}

/// All that the blocks hold, mirrored to the lower triangle.
inline Eigen::MatrixXd DenseOf(const ReducedEquations& equations, const UnknownPlan& plan) {
  const sparse::NodePattern& pattern = equations.N.Pattern();
  Eigen::MatrixXd N = Eigen::MatrixXd::Zero(plan.UnknownNum(), plan.UnknownNum());
  const auto copy = [&](int32_t i, int32_t j, std::span<const double> values) {
    for (int32_t a = 0; a < plan.vSizes[i]; ++a) {
      for (int32_t b = i == j ? a : 0; b < plan.vSizes[j]; ++b) {
        const int64_t row = plan.vFirstUnknown[i] + a, column = plan.vFirstUnknown[j] + b;
        N(row, column) = N(column, row) = values[static_cast<size_t>(a) * plan.vSizes[j] + b];
      }
    }
  };
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    copy(i, i, equations.N.Diagonal(i));
    for (int64_t place = 0; place < std::ssize(pattern.NeighboursBehind(i)); ++place) {
      copy(i, pattern.NeighboursBehind(i)[place], equations.N.Behind(i, place));
    }
  }
  return N;
}

}  // namespace orvo::rigorous::test
