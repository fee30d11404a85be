#include "exchange/LensModels.h"

#include <Eigen/Dense>
#include <numbers>
#include <unsupported/Eigen/AutoDiff>

#include "exchange/LensFormulas.h"

namespace orvo::exchange {
namespace {

using Dual = Eigen::AutoDiffScalar<Eigen::Vector2d>;

constexpr double kLargestAngle = std::numbers::pi / 2 - 1e-6;

struct Bent {
  Eigen::Vector2d Value;
  Eigen::Matrix2d Slope;
};

Bent BendWithSlope(LensModel lens, std::span<const double> parameters, const Eigen::Vector2d& at) {
  const Dual a(at.x(), 2, 0), b(at.y(), 2, 1);
  const auto bent = BentInPlane<Dual>(lens, parameters, a, b);
  Bent result;
  result.Value << bent.u.value(), bent.v.value();
  result.Slope.row(0) = bent.u.derivatives().transpose();
  result.Slope.row(1) = bent.v.derivatives().transpose();
  return result;
}

/// Newton's method from `at`; true where it arrives with the slope of the centre's branch.
bool Solve(LensModel lens, std::span<const double> parameters, const Eigen::Vector2d& target,
           Eigen::Vector2d& at) {
  constexpr int kMostSteps = 40;
  bool still = false;
  for (int step = 0; step < kMostSteps; ++step) {
    const Bent bent = BendWithSlope(lens, parameters, at);
    const double determinant = bent.Slope.determinant();
    if (!(determinant > 1e-9) || !bent.Value.allFinite()) return false;
    // One more step than needed takes what the last digits still hold.
    const Eigen::Vector2d change = bent.Slope.inverse() * (target - bent.Value);
    at += change;
    if (still) return true;
    still = change.norm() <= 1e-14 * (1 + at.norm());
  }
  return false;
}

/// r (1 + c0 r2 + c1 r4 ...) and its slope.
struct Radius {
  double dValue, dSlope;
};
Radius BendRadius(std::span<const double> c, double r) {
  double value = 1, slope = 1, power = 1, factor = 1;
  for (const double coefficient : c) {
    power *= r * r;
    factor += 2;
    value += coefficient * power;
    slope += factor * coefficient * power;
  }
  return {r * value, slope};
}

bool IsRadial(LensModel lens) {
  return lens == LensModel::SimpleRadial || lens == LensModel::Radial || lens == LensModel::SimpleFisheye ||
         lens == LensModel::RadialFisheye || lens == LensModel::OpenCvFisheye;
}

/// The same for models that bend nothing but the radius, which most are: a tenth of the work.
std::optional<Eigen::Vector2d> SolveRadius(std::span<const double> c, const Eigen::Vector2d& target) {
  constexpr int kMostSteps = 40;
  const double rd = target.norm();
  if (rd == 0) return target;
  double r = rd;
  bool still = false;
  for (int step = 0; step < kMostSteps; ++step) {
    const Radius bent = BendRadius(c, r);
    if (!(bent.dSlope > 1e-9) || !std::isfinite(bent.dValue)) return {};
    const double change = (rd - bent.dValue) / bent.dSlope;
    r += change;
    if (still) break;
    still = std::abs(change) <= 1e-14 * (1 + r);
  }
  if (!still || !(r > 0 && r <= 2 * rd + 1)) return {};
  for (int i = 1; i < 8; ++i) {
    if (!(BendRadius(c, r * (i / 8.0)).dSlope > 1e-9)) return {};
  }
  return target * (r / rd);
}

/// Where the way outwards from the centre is gone in parts.
constexpr int kParts = 64;

/// The first radius outwards that is bent to the target's, kept between two that hold it.
std::optional<Eigen::Vector2d> SolveRadiusOutwards(std::span<const double> c, const Eigen::Vector2d& target) {
  constexpr int kMostSteps = 200;
  const double rd = target.norm(), bound = 2 * rd + 1;
  double low = 0, high = 0;
  for (int i = 1; i <= kParts && high == 0; ++i) {
    const double r = bound * i / kParts;
    const Radius bent = BendRadius(c, r);
    if (bent.dValue >= rd) {
      high = r;
    } else if (bent.dSlope > 1e-9) {
      low = r;
    } else {
      return {};
    }
  }
  if (high == 0) return {};
  double r = (low + high) / 2;
  for (int step = 0; step < kMostSteps; ++step) {
    const Radius bent = BendRadius(c, r);
    (bent.dValue < rd ? low : high) = r;
    double next = r + (rd - bent.dValue) / bent.dSlope;
    if (!(next > low && next < high)) next = (low + high) / 2;
    const double change = std::abs(next - r);
    r = next;
    if (change <= 1e-15 * r) break;
  }
  for (int i = 1; i <= 8; ++i) {
    if (!(BendRadius(c, r * (i / 8.0)).dSlope > 1e-9)) return {};
  }
  return target * (r / rd);
}

/// Straight at it, and where that fails outwards from the centre.
std::optional<Eigen::Vector2d> SolveInPlane(LensModel lens, std::span<const double> parameters,
                                            const Eigen::Vector2d& target) {
  if (IsRadial(lens)) {
    if (auto solved = SolveRadius(parameters, target)) return solved;
    return SolveRadiusOutwards(parameters, target);
  }
  const double bound = 2 * target.norm() + 1;
  Eigen::Vector2d at = target;
  if (Solve(lens, parameters, target, at) && at.norm() <= bound) {
    // A solution beyond a turning point has a fold between itself and the centre.
    bool straight = true;
    for (int i = 1; i < 8 && straight; ++i) {
      straight = BendWithSlope(lens, parameters, at * (i / 8.0)).Slope.determinant() > 1e-9;
    }
    if (straight) return at;
  }
  at.setZero();
  for (int i = 1; i <= kParts; ++i) {
    if (!Solve(lens, parameters, target * (static_cast<double>(i) / kParts), at)) return {};
  }
  return at;
}

std::optional<LensPoint> IdealOfFov(double omega, LensPoint distorted) {
  const double rd = std::hypot(distorted.u, distorted.v);
  if (rd < 1e-12 || std::abs(omega) < 1e-12) return distorted;
  double factor;
  if (omega * omega < 1e-4) {
    // The series of the way there, solved for its radius.
    double r = rd;
    for (int i = 0; i < 20; ++i) {
      const double value = r * FovFactor(omega, r * r) - rd;
      const double slope = omega * omega * r * r + 1 - omega * omega / 12;
      r -= value / slope;
    }
    factor = r / rd;
  } else {
    const double angle = rd * omega;
    if (!(std::abs(angle) < kLargestAngle)) return {};
    double r = std::tan(angle) / (2 * std::tan(omega / 2));
    if (r * r < 1e-4) {
      for (int i = 0; i < 20; ++i) r -= (r * FovFactor(omega, r * r) - rd) / FovFactor(omega, r * r);
    }
    factor = r / rd;
  }
  return LensPoint{distorted.u * factor, distorted.v * factor};
}

}  // namespace

size_t ParameterNum(LensModel lens) {
  switch (lens) {
    case LensModel::Pinhole:
      return 0;
    case LensModel::SimpleRadial:
    case LensModel::SimpleFisheye:
    case LensModel::Fov:
      return 1;
    case LensModel::Radial:
    case LensModel::RadialFisheye:
      return 2;
    case LensModel::OpenCvFisheye:
      return 4;
    case LensModel::Brown:
      return 5;
    case LensModel::FullOpenCv:
    case LensModel::ThinPrism:
      return 8;
  }
  return 0;
}

std::span<const char* const> ParameterNames(LensModel lens) {
  static constexpr const char* kRadial[] = {"K1", "K2", "K3", "K4"};
  static constexpr const char* kRational[] = {"K1", "K2", "P1", "P2", "K3", "K4", "K5", "K6"};
  static constexpr const char* kPrism[] = {"K1", "K2", "P1", "P2", "K3", "K4", "sx1", "sy1"};
  static constexpr const char* kFov[] = {"omega"};
  const std::span<const char* const> names = lens == LensModel::Fov         ? std::span(kFov)
                                             : lens == LensModel::ThinPrism ? std::span(kPrism)
                                             : lens == LensModel::Brown || lens == LensModel::FullOpenCv
                                                 ? std::span<const char* const>(kRational)
                                                 : std::span<const char* const>(kRadial);
  return names.first(ParameterNum(lens));
}

const char* NameOf(LensModel lens) {
  switch (lens) {
    case LensModel::Pinhole:
      return "pinhole";
    case LensModel::SimpleRadial:
      return "radial, 1 coefficient";
    case LensModel::Radial:
      return "radial, 2 coefficients";
    case LensModel::Brown:
      return "radial and tangential";
    case LensModel::FullOpenCv:
      return "rational and tangential";
    case LensModel::SimpleFisheye:
      return "fisheye, 1 coefficient";
    case LensModel::RadialFisheye:
      return "fisheye, 2 coefficients";
    case LensModel::OpenCvFisheye:
      return "fisheye, 4 coefficients";
    case LensModel::Fov:
      return "field of view";
    case LensModel::ThinPrism:
      return "fisheye with thin prism";
  }
  return "";
}

bool IsFisheye(LensModel lens) {
  return lens == LensModel::SimpleFisheye || lens == LensModel::RadialFisheye ||
         lens == LensModel::OpenCvFisheye || lens == LensModel::ThinPrism;
}

LensPoint Distorted(LensModel lens, std::span<const double> parameters, LensPoint ideal) {
  return DistortedOf<double>(lens, parameters, ideal.u, ideal.v);
}

std::optional<LensPoint> Ideal(LensModel lens, std::span<const double> parameters, LensPoint distorted) {
  if (!std::isfinite(distorted.u) || !std::isfinite(distorted.v)) return {};
  if (lens == LensModel::Pinhole) return distorted;
  if (lens == LensModel::Fov) return IdealOfFov(parameters[0], distorted);
  const auto plane = SolveInPlane(lens, parameters, {distorted.u, distorted.v});
  if (!plane) return {};
  if (!IsFisheye(lens)) return LensPoint{plane->x(), plane->y()};
  const double angle = plane->norm();
  if (!(angle < kLargestAngle)) return {};
  const double scale = angle > 1e-12 ? std::tan(angle) / angle : 1;
  return LensPoint{plane->x() * scale, plane->y() * scale};
}

LensPoint PixelOf(const ForeignCamera& camera, LensPoint ideal) {
  const LensPoint bent = Distorted(camera.Lens, camera.Parameters, ideal);
  return {camera.dFx * bent.u + camera.dCx, camera.dFy * bent.v + camera.dCy};
}

std::optional<LensPoint> DirectionOf(const ForeignCamera& camera, LensPoint pixel) {
  return Ideal(camera.Lens, camera.Parameters,
               {(pixel.u - camera.dCx) / camera.dFx, (pixel.v - camera.dCy) / camera.dFy});
}

const char* FaultOf(const ForeignCamera& camera) {
  if (camera.nWidth <= 0 || camera.nHeight <= 0) return "its image size is not above 0";
  if (!(camera.dFx > 0 && camera.dFy > 0)) return "its focal length is not above 0";
  if (camera.dFx > 1e6 || camera.dFy > 1e6) return "its focal length is above 1e6";
  if (!std::isfinite(camera.dCx) || !std::isfinite(camera.dCy)) return "its principal point is not finite";
  if (camera.Parameters.size() != ParameterNum(camera.Lens)) return "it has a wrong number of parameters";
  for (const double parameter : camera.Parameters) {
    if (!std::isfinite(parameter)) return "a parameter is not finite";
  }
  return "";
}

}  // namespace orvo::exchange
