#include "geometry/PositionSpread.h"

#include <Eigen/Eigenvalues>
#include <algorithm>
#include <cmath>

namespace orvo {

double SpreadAcross(std::span<const Position3> points) {
  if (points.size() < 3) return 0;
  Eigen::Vector3d mean = Eigen::Vector3d::Zero();
  for (const Position3& p : points)
    mean += Eigen::Vector3d(p[0], p[1], p[2]) / static_cast<double>(points.size());
  Eigen::Matrix3d squares = Eigen::Matrix3d::Zero();
  for (const Position3& p : points) {
    const Eigen::Vector3d d = Eigen::Vector3d(p[0], p[1], p[2]) - mean;
    squares += d * d.transpose();
  }
  const Eigen::SelfAdjointEigenSolver<Eigen::Matrix3d> axes(squares, Eigen::EigenvaluesOnly);
  const double along = axes.eigenvalues()(2), across = std::max(axes.eigenvalues()(1), 0.0);
  return along > 0 ? std::sqrt(across / along) : 0;
}

}  // namespace orvo
