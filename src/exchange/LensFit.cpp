#include "exchange/LensFit.h"

#include <Eigen/Dense>
#include <algorithm>
#include <unsupported/Eigen/AutoDiff>
#include <vector>

#include "exchange/LensFormulas.h"
#include "exchange/StrictResiduals.h"

namespace orvo::exchange {
namespace {

constexpr int kGrid = 61;
constexpr int kMostUnknowns = 12;
constexpr double kAsGoodAsExact = 1e-6;  // pixels

struct GridPoint {
  LensPoint Pixel, Direction;
};

std::optional<std::vector<GridPoint>> GridOf(const DirectionOfPixel& way, int32_t width, int32_t height) {
  std::vector<GridPoint> grid;
  grid.reserve(kGrid * kGrid);
  for (int j = 0; j < kGrid; ++j) {
    for (int i = 0; i < kGrid; ++i) {
      const LensPoint pixel{width * (i / (kGrid - 1.0)), height * (j / (kGrid - 1.0))};
      const auto direction = way(pixel);
      if (!direction || !std::isfinite(direction->u) || !std::isfinite(direction->v)) return {};
      grid.push_back({pixel, *direction});
    }
  }
  return grid;
}

FitError ErrorOf(const std::vector<double>& squares) {
  FitError error;
  double sum = 0, most = 0;
  for (const double square : squares) {
    sum += square;
    most = std::max(most, square);
  }
  error.dRms = std::sqrt(sum / static_cast<double>(squares.size()));
  error.dMax = std::sqrt(most);
  return error;
}

/// Unknowns of a foreign camera: focal lengths, principal point, parameters of the lens.
struct Unknowns {
  FitForm Form;
  double dCx = 0, dCy = 0;  ///< where they are no unknowns

  int FocalNum() const { return Form.bOneFocal ? 1 : 2; }
  int CentreNum() const { return Form.bCentred ? 0 : 2; }
  int Num() const { return FocalNum() + CentreNum() + static_cast<int>(ParameterNum(Form.Lens)); }

  template <class T>
  LensPointOf<T> Pixel(const T* x, const GridPoint& point) const {
    const T* lens = x + FocalNum() + CentreNum();
    const LensPointOf<T> bent = DistortedOf<T>(Form.Lens, lens, point.Direction.u, point.Direction.v);
    const T cx = Form.bCentred ? T(dCx) : x[FocalNum()], cy = Form.bCentred ? T(dCy) : x[FocalNum() + 1];
    return {x[0] * bent.u + cx, x[FocalNum() - 1] * bent.v + cy};
  }
};

double CostOf(const Unknowns& unknowns, const std::vector<GridPoint>& grid, const Eigen::VectorXd& x) {
  double cost = 0;
  for (const GridPoint& point : grid) {
    const LensPoint pixel = unknowns.Pixel(x.data(), point);
    const double du = pixel.u - point.Pixel.u, dv = pixel.v - point.Pixel.v;
    cost += du * du + dv * dv;
  }
  return cost;
}

/// Rows of derivatives and differences.
void Linearize(const Unknowns& unknowns, const std::vector<GridPoint>& grid, const Eigen::VectorXd& x,
               Eigen::MatrixXd& J, Eigen::VectorXd& d) {
  using Row = Eigen::Matrix<double, kMostUnknowns, 1>;
  using Dual = Eigen::AutoDiffScalar<Row>;
  const int n = unknowns.Num();
  std::vector<Dual> dual;
  dual.reserve(static_cast<size_t>(n));
  for (int k = 0; k < n; ++k) dual.emplace_back(x[k], kMostUnknowns, k);
  const auto slope = [n](const Dual& value) -> Eigen::RowVectorXd {
    return value.derivatives().head(n).transpose();
  };
  for (size_t i = 0; i < grid.size(); ++i) {
    const auto pixel = unknowns.Pixel<Dual>(dual.data(), grid[i]);
    const auto row = static_cast<Eigen::Index>(2 * i);
    J.row(row) = slope(pixel.u);
    J.row(row + 1) = slope(pixel.v);
    d[row] = grid[i].Pixel.u - pixel.u.value();
    d[row + 1] = grid[i].Pixel.v - pixel.v.value();
  }
}

/// Gauss and Newton's steps, damped where one leads astray. The columns are scaled, as coefficients of high
/// powers are hardly told apart.
Eigen::VectorXd Refine(const Unknowns& unknowns, const std::vector<GridPoint>& grid, Eigen::VectorXd x) {
  const int n = unknowns.Num();
  const auto rows = static_cast<Eigen::Index>(2 * grid.size());
  Eigen::MatrixXd J(rows + n, n);
  Eigen::VectorXd d(rows + n);
  double cost = CostOf(unknowns, grid, x), damping = 0;
  for (int step = 0; step < 200 && damping < 1e6; ++step) {
    J.bottomRows(n).setZero();
    d.tail(n).setZero();
    Linearize(unknowns, grid, x, J, d);
    const Eigen::VectorXd scale = J.colwise().norm().transpose().cwiseMax(1e-300).cwiseInverse();
    Eigen::MatrixXd A = J * scale.asDiagonal();
    A.bottomRows(n).diagonal().setConstant(damping < 1e-12 ? 0 : damping);
    const Eigen::VectorXd change = scale.asDiagonal() * A.colPivHouseholderQr().solve(d);
    const double next = CostOf(unknowns, grid, x + change);
    if (next < cost) {
      const bool still = cost - next <= 1e-9 * cost && damping < 1e-10;
      x += change;
      cost = next;
      damping /= 100;
      if (still) break;
    } else {
      damping = std::max(damping, 1e-14) * 100;
      if (damping > 1e-2 && change.norm() <= 1e-12 * x.norm()) break;
    }
  }
  return x;
}

/// Focal length and principal point as they are in the middle: where the direction is straight ahead, and how
/// fast it changes there.
struct Middle {
  double fx, fy, cx, cy;
};
std::optional<Middle> MiddleOf(const DirectionOfPixel& way, int32_t width, int32_t height) {
  Eigen::Vector2d at(width / 2.0, height / 2.0);
  double fx = 0, fy = 0;
  for (int step = 0; step < 8; ++step) {
    constexpr double h = 0.5;
    const auto middle = way({at.x(), at.y()});
    const auto right = way({at.x() + h, at.y()}), left = way({at.x() - h, at.y()});
    const auto below = way({at.x(), at.y() + h}), above = way({at.x(), at.y() - h});
    if (!middle || !right || !left || !below || !above) return {};
    Eigen::Matrix2d slope;
    slope << right->u - left->u, below->u - above->u, right->v - left->v, below->v - above->v;
    slope /= 2 * h;
    fx = 1 / slope(0, 0);
    fy = 1 / slope(1, 1);
    at -= slope.inverse() * Eigen::Vector2d(middle->u, middle->v);
    if (!at.allFinite() || !(fx > 0 && fy > 0)) return {};
  }
  return Middle{fx, fy, at.x(), at.y()};
}

/// For the rational model its coefficients at the middle's focal length, too: both sides times the
/// denominator are linear in them.
Eigen::VectorXd StartOf(const Unknowns& unknowns, const std::vector<GridPoint>& grid, const Middle& middle) {
  Eigen::VectorXd x = Eigen::VectorXd::Zero(unknowns.Num());
  const auto [fx, fy, cx, cy] = middle;
  x[unknowns.FocalNum() - 1] = fy;
  x[0] = unknowns.Form.bOneFocal ? std::sqrt(fx * fy) : fx;
  if (!unknowns.Form.bCentred) {
    x[unknowns.FocalNum()] = cx;
    x[unknowns.FocalNum() + 1] = cy;
  }
  if (unknowns.Form.Lens == LensModel::Fov) x[unknowns.Num() - 1] = 0.1;
  if (unknowns.Form.Lens != LensModel::FullOpenCv) return x;
  Eigen::MatrixXd A(static_cast<Eigen::Index>(2 * grid.size()), 8);
  Eigen::VectorXd b(A.rows());
  for (size_t i = 0; i < grid.size(); ++i) {
    const double u = grid[i].Direction.u, v = grid[i].Direction.v, r2 = u * u + v * v;
    const double ud = (grid[i].Pixel.u - cx) / fx, vd = (grid[i].Pixel.v - cy) / fy;
    const auto row = static_cast<Eigen::Index>(2 * i);
    A.row(row) << u * r2, u * r2 * r2, 2 * u * v, r2 + 2 * u * u, u * r2 * r2 * r2, -ud * r2, -ud * r2 * r2,
        -ud * r2 * r2 * r2;
    A.row(row + 1) << v * r2, v * r2 * r2, r2 + 2 * v * v, 2 * u * v, v * r2 * r2 * r2, -vd * r2,
        -vd * r2 * r2, -vd * r2 * r2 * r2;
    b[row] = ud - u;
    b[row + 1] = vd - v;
  }
  const Eigen::VectorXd scale = A.colwise().norm().transpose().cwiseMax(1e-300).cwiseInverse();
  const Eigen::VectorXd linear = scale.asDiagonal() * (A * scale.asDiagonal()).colPivHouseholderQr().solve(b);
  if (linear.allFinite()) x.tail(8) = linear;
  return x;
}

/// Nothing where the numbers are those of no camera.
std::optional<FittedForeignCamera> CameraOf(const Unknowns& unknowns, const std::vector<GridPoint>& grid,
                                            int32_t width, int32_t height, const Eigen::VectorXd& x) {
  if (!x.allFinite() || !(x[0] > 0 && x[unknowns.FocalNum() - 1] > 0)) return {};
  FittedForeignCamera fitted;
  ForeignCamera& camera = fitted.Camera;
  camera.Lens = unknowns.Form.Lens;
  camera.nWidth = width;
  camera.nHeight = height;
  camera.dFx = x[0];
  camera.dFy = x[unknowns.FocalNum() - 1];
  camera.dCx = unknowns.Form.bCentred ? unknowns.dCx : x[unknowns.FocalNum()];
  camera.dCy = unknowns.Form.bCentred ? unknowns.dCy : x[unknowns.FocalNum() + 1];
  for (int k = unknowns.FocalNum() + unknowns.CentreNum(); k < unknowns.Num(); ++k) {
    camera.Parameters.push_back(x[k]);
  }
  std::vector<double> squares;
  for (const GridPoint& point : grid) {
    const LensPoint pixel = PixelOf(camera, point.Direction);
    const double du = pixel.u - point.Pixel.u, dv = pixel.v - point.Pixel.v;
    squares.push_back(du * du + dv * dv);
  }
  fitted.Error = ErrorOf(squares);
  return fitted;
}

/// The denominator of the rational model falls below a tenth somewhere from the middle to a little beyond the
/// corners.
bool HasPole(const ForeignCamera& camera, const std::vector<GridPoint>& grid) {
  constexpr double kLeast = 0.1, kBeyond = 1.2;  // of the squared radius
  double most = 0;
  for (const GridPoint& point : grid)
    most = std::max(most, point.Direction.u * point.Direction.u + point.Direction.v * point.Direction.v);
  most *= kBeyond;
  const double a = camera.Parameters[5], b = camera.Parameters[6], c = camera.Parameters[7];
  const auto below = [&](double s) { return 1 + s * (a + s * (b + s * c)); };
  double least = below(most);
  // Where a + 2 b s + 3 c s^2 = 0; both ways of writing it, for c or the root may vanish.
  const double root = b * b - 3 * a * c;
  if (root >= 0) {
    const double q = -(b + std::copysign(std::sqrt(root), b));
    for (const double s : {q / (3 * c), a / q}) {
      if (s > 0 && s < most) least = std::min(least, below(s));
    }
  }
  return !(least >= kLeast);
}

/// f and a principal point say everything.
bool IsPlain(const ForeignCamera& camera) {
  return !IsFisheye(camera.Lens) && camera.Lens != LensModel::Fov && camera.dFx == camera.dFy &&
         std::ranges::all_of(camera.Parameters, [](double parameter) { return parameter == 0; });
}

}  // namespace

LensPoint DirectionOf(const SurveyCamera& camera, LensPoint pixel) {
  const ImageVector corrected =
      CorrectedMeasurement(camera, pixel.u - camera.nWidth / 2.0, camera.nHeight / 2.0 - pixel.v);
  return {corrected.x / camera.dFocal, -corrected.y / camera.dFocal};
}

std::optional<FittedSurveyCamera> FitSurveyCamera(const ForeignCamera& camera) {
  const auto grid =
      GridOf([&](LensPoint pixel) { return DirectionOf(camera, pixel); }, camera.nWidth, camera.nHeight);
  if (!grid) return {};
  FittedSurveyCamera fitted;
  SurveyCamera& ours = fitted.Camera;
  ours.nWidth = camera.nWidth;
  ours.nHeight = camera.nHeight;
  ours.dX0 = camera.dCx - camera.nWidth / 2.0;
  ours.dY0 = camera.nHeight / 2.0 - camera.dCy;
  if (IsPlain(camera)) {
    ours.dFocal = camera.dFx;
    return fitted;
  }
  // (x, y) = f (u, v) + k1 r2 (x, y) + k2 r4 (x, y), linear in f, k1, k2; lengths over f, so that the columns
  // are alike.
  const double unit = (camera.dFx + camera.dFy) / 2;
  Eigen::MatrixXd A(static_cast<Eigen::Index>(2 * grid->size()), 3);
  Eigen::VectorXd b(A.rows());
  for (size_t i = 0; i < grid->size(); ++i) {
    const GridPoint& point = (*grid)[i];
    const double x = (point.Pixel.u - camera.dCx) / unit, y = (camera.dCy - point.Pixel.v) / unit;
    const double r2 = x * x + y * y;
    const auto row = static_cast<Eigen::Index>(2 * i);
    A.row(row) << point.Direction.u, r2 * x, r2 * r2 * x;
    A.row(row + 1) << -point.Direction.v, r2 * y, r2 * r2 * y;
    b[row] = x;
    b[row + 1] = y;
  }
  const Eigen::Vector3d solution = A.colPivHouseholderQr().solve(b);
  if (!solution.allFinite() || !(solution[0] > 0)) return {};
  ours.dFocal = solution[0] * unit;
  ours.dK1 = solution[1] / (unit * unit);
  ours.dK2 = solution[2] / (unit * unit * unit * unit);
  std::vector<double> squares;
  for (const GridPoint& point : *grid) {
    const LensPoint direction = DirectionOf(ours, point.Pixel);
    const double du = (direction.u - point.Direction.u) * ours.dFocal;
    const double dv = (direction.v - point.Direction.v) * ours.dFocal;
    squares.push_back(du * du + dv * dv);
  }
  fitted.Error = ErrorOf(squares);
  return fitted;
}

std::optional<FittedForeignCamera> FitForeignCamera(const DirectionOfPixel& way, int32_t width,
                                                    int32_t height, const FitForm& form) {
  const auto grid = GridOf(way, width, height);
  if (!grid) return {};
  const auto middle = MiddleOf(way, width, height);
  if (!middle) return {};
  const Unknowns unknowns{form, width / 2.0, height / 2.0};
  const auto fit = [&](const Unknowns& of, const Eigen::VectorXd& start) {
    return CameraOf(of, *grid, width, height, Refine(of, *grid, start));
  };
  if (form.Lens != LensModel::FullOpenCv) return fit(unknowns, StartOf(unknowns, *grid, *middle));
  // A quotient of two polynomials that are nearly the same may have a pole between the points of the grid.
  // Where the one above alone will do as well, it is the safer one, and it is a start for both.
  Unknowns above = unknowns;
  above.Form.Lens = LensModel::Brown;
  Eigen::VectorXd start = Eigen::VectorXd::Zero(unknowns.Num());
  start.head(above.Num()) = Refine(above, *grid, StartOf(above, *grid, *middle));
  auto polynomial = CameraOf(unknowns, *grid, width, height, start);
  if (polynomial && polynomial->Error.dMax < kAsGoodAsExact) return polynomial;
  auto rational = fit(unknowns, StartOf(unknowns, *grid, *middle));
  if (!rational || HasPole(rational->Camera, *grid)) rational = fit(unknowns, start);
  const bool better = rational && !HasPole(rational->Camera, *grid) &&
                      !(polynomial && polynomial->Error.dMax <= rational->Error.dMax);
  return better ? rational : polynomial;
}

double LargestAngle(const ForeignCamera& camera) {
  double most = 0;
  for (int j = 0; j < kGrid; ++j) {
    for (int i = 0; i < kGrid; ++i) {
      const auto direction =
          DirectionOf(camera, {camera.nWidth * (i / (kGrid - 1.0)), camera.nHeight * (j / (kGrid - 1.0))});
      if (direction) most = std::max(most, std::atan(std::hypot(direction->u, direction->v)));
    }
  }
  return most;
}

double LargestDistortion(const ForeignCamera& camera) {
  double most = 0;
  const double f = (camera.dFx + camera.dFy) / 2;
  for (int j = 0; j < kGrid; ++j) {
    for (int i = 0; i < kGrid; ++i) {
      const LensPoint pixel{camera.nWidth * (i / (kGrid - 1.0)), camera.nHeight * (j / (kGrid - 1.0))};
      const auto direction = DirectionOf(camera, pixel);
      if (!direction) continue;
      most = std::max(most, std::hypot(f * direction->u - (pixel.u - camera.dCx),
                                       f * direction->v - (pixel.v - camera.dCy)));
    }
  }
  return most;
}

}  // namespace orvo::exchange
