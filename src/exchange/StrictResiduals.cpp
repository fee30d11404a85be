#include "exchange/StrictResiduals.h"

#include <Eigen/Dense>
#include <vector>

namespace orvo::exchange {
namespace {

using Matrix3 = Eigen::Matrix<double, 3, 3, Eigen::RowMajor>;

bool IsWithin(const SurveyBlock& block, const SurveyMeasurement& measurement) {
  if (measurement.nImage < 0 || static_cast<size_t>(measurement.nImage) >= block.Images.size()) return false;
  const int32_t camera = block.Images[static_cast<size_t>(measurement.nImage)].nCamera;
  return camera >= 0 && static_cast<size_t>(camera) < block.Cameras.size();
}

/// One measurement made ready: the direction's image coordinates over f, and where it comes from.
struct StrictRay {
  Matrix3 R;
  Eigen::Vector3d S;
  double f, x, y;
};

std::vector<StrictRay> RaysOf(const SurveyBlock& block, std::span<const SurveyMeasurement> measurements) {
  std::vector<StrictRay> rays;
  rays.reserve(measurements.size());
  for (const SurveyMeasurement& measurement : measurements) {
    if (!IsWithin(block, measurement)) continue;
    const SurveyImage& image = block.Images[static_cast<size_t>(measurement.nImage)];
    const SurveyCamera& camera = block.Cameras[static_cast<size_t>(image.nCamera)];
    const ImageVector corrected = CorrectedMeasurement(camera, measurement.x, measurement.y);
    rays.push_back({Eigen::Map<const Matrix3>(image.R.data()),
                    Eigen::Map<const Eigen::Vector3d>(image.S.data()), camera.dFocal, corrected.x,
                    corrected.y});
  }
  return rays;
}

/// Half the sum of squares, and with `N` and `b` the normal equations of a step.
double Cost(std::span<const StrictRay> rays, const Eigen::Vector3d& P, Eigen::Matrix3d* N,
            Eigen::Vector3d* b) {
  double cost = 0;
  for (const StrictRay& ray : rays) {
    const Eigen::Vector3d c = ray.R.transpose() * (P - ray.S);
    const Eigen::Vector2d v(ray.x + ray.f * c.x() / c.z(), ray.y + ray.f * c.y() / c.z());
    cost += v.squaredNorm();
    if (N == nullptr) continue;
    Eigen::Matrix<double, 2, 3> inCamera;
    inCamera << 1, 0, -c.x() / c.z(), 0, 1, -c.y() / c.z();
    const Eigen::Matrix<double, 2, 3> J = ray.f / c.z() * inCamera * ray.R.transpose();
    *N += J.transpose() * J;
    *b -= J.transpose() * v;
  }
  return cost / 2;
}

/// The point nearest to the rays in space.
bool NearestPoint(std::span<const StrictRay> rays, Eigen::Vector3d& P) {
  Eigen::Matrix3d N = Eigen::Matrix3d::Zero();
  Eigen::Vector3d b = Eigen::Vector3d::Zero();
  for (const StrictRay& ray : rays) {
    const Eigen::Vector3d d = (ray.R * Eigen::Vector3d(ray.x, ray.y, -ray.f)).normalized();
    const Eigen::Matrix3d across = Eigen::Matrix3d::Identity() - d * d.transpose();
    N += across;
    b += across * ray.S;
  }
  const Eigen::LDLT<Eigen::Matrix3d> solver(N);
  if (solver.info() != Eigen::Success || !(solver.rcond() > 1e-14)) return false;
  P = solver.solve(b);
  return P.allFinite();
}

/// Levenberg steps down to where nothing changes any more.
double Descend(std::span<const StrictRay> rays, Eigen::Vector3d& P) {
  constexpr int kMostSteps = 100;
  double damping = 1e-8;
  double cost = Cost(rays, P, nullptr, nullptr);
  for (int step = 0; step < kMostSteps && std::isfinite(cost) && damping < 1e8; ++step) {
    Eigen::Matrix3d N = Eigen::Matrix3d::Zero();
    Eigen::Vector3d b = Eigen::Vector3d::Zero();
    Cost(rays, P, &N, &b);
    N.diagonal() *= 1 + damping;
    const Eigen::Vector3d change = N.ldlt().solve(b);
    if (!change.allFinite()) break;
    const double next = Cost(rays, P + change, nullptr, nullptr);
    if (next < cost) {
      const bool still = cost - next <= 1e-15 * cost;
      P += change;
      cost = next;
      damping /= 10;
      if (still) break;
    } else {
      if (change.norm() <= 1e-14 * P.norm()) break;
      damping *= 10;
    }
  }
  return cost;
}

}  // namespace

void ResidualSums::Add(std::span<const ImageVector> residuals) {
  for (const ImageVector& v : residuals) {
    dSquareX += v.x * v.x;
    dSquareY += v.y * v.y;
    dNorms += std::hypot(v.x, v.y);
  }
  nNum += static_cast<int64_t>(residuals.size());
}

ImageVector CorrectedMeasurement(const SurveyCamera& camera, double x, double y) {
  const double u = x - camera.dX0, v = y - camera.dY0;
  const double r2 = u * u + v * v;
  const double D = camera.dK1 * r2 + camera.dK2 * r2 * r2;
  const LensShift further = FurtherCorrection(camera.Further, u, v);
  return {u - u * D + further.x, v - v * D + further.y};
}

ImageVector StrictResidual(const SurveyImage& image, double focal, ImageVector corrected,
                           const std::array<double, 3>& P) {
  const double dX = P[0] - image.S[0], dY = P[1] - image.S[1], dZ = P[2] - image.S[2];
  const auto& R = image.R;
  const double Xb = R[0] * dX + R[3] * dY + R[6] * dZ;
  const double Yb = R[1] * dX + R[4] * dY + R[7] * dZ;
  const double Zb = R[2] * dX + R[5] * dY + R[8] * dZ;
  return {corrected.x + focal * Xb / Zb, corrected.y + focal * Yb / Zb};
}

bool IntersectStrictly(const SurveyBlock& block, std::span<const SurveyMeasurement> measurements,
                       std::array<double, 3>& P) {
  const std::vector<StrictRay> rays = RaysOf(block, measurements);
  if (rays.size() < 2) return false;
  Eigen::Vector3d nearest;
  if (!NearestPoint(rays, nearest)) return false;
  double best = Descend(rays, nearest);
  Eigen::Vector3d given(P[0], P[1], P[2]);
  if (given.allFinite()) {
    if (const double cost = Descend(rays, given); cost < best || !std::isfinite(best)) {
      best = cost;
      nearest = given;
    }
  }
  if (!std::isfinite(best)) return false;
  P = {nearest.x(), nearest.y(), nearest.z()};
  return true;
}

void StrictResidualsAt(const SurveyBlock& block, std::span<const SurveyMeasurement> measurements,
                       const std::array<double, 3>& P, std::vector<ImageVector>& residuals) {
  residuals.clear();
  for (const SurveyMeasurement& measurement : measurements) {
    if (!IsWithin(block, measurement)) continue;
    const SurveyImage& image = block.Images[static_cast<size_t>(measurement.nImage)];
    const SurveyCamera& camera = block.Cameras[static_cast<size_t>(image.nCamera)];
    residuals.push_back(
        StrictResidual(image, camera.dFocal, CorrectedMeasurement(camera, measurement.x, measurement.y), P));
  }
}

ResidualSums StrictResidualsOf(const SurveyBlock& block, const SurveyPoints& points) {
  ResidualSums sums;
  std::vector<ImageVector> residuals;
  for (const SurveyPoint& point : points.Points) {
    StrictResidualsAt(block, points.Of(point), point.P, residuals);
    sums.Add(residuals);
  }
  return sums;
}

}  // namespace orvo::exchange
