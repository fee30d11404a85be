#include "solver/sparse/DeflatedPcg.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <vector>

#include "solver/sparse/PanelCholesky.h"

namespace orvo::sparse {
namespace {

using Vector = std::vector<double>;

/// In an order of its own, whatever the alignment of x and y.
double Dot(std::span<const double> x, std::span<const double> y) {
  double sums[4] = {};
  const size_t end = x.size() / 4 * 4;
  for (size_t i = 0; i < end; i += 4) {
    for (size_t k = 0; k < 4; ++k) sums[k] += x[i + k] * y[i + k];
  }
  for (size_t i = end; i < x.size(); ++i) sums[i - end] += x[i] * y[i];
  return (sums[0] + sums[1]) + (sums[2] + sums[3]);
}

/// y += a x
void Add(double a, std::span<const double> x, std::span<double> y) {
  for (size_t i = 0; i < y.size(); ++i) y[i] += a * x[i];
}

/// Z, A Z and the factor of Z'AZ.
class Deflation {
 public:
  Deflation(std::span<const double> z, std::span<const double> az, int32_t zNum, size_t size)
      : vZ(z), vAz(az), nColumns(std::max(zNum, 0)), nSize(size), E(nColumns, nColumns) {}

  /// False where Z'AZ is not positive definite.
  bool Factor() {
    const auto rows = static_cast<int64_t>(nSize);
    const Eigen::Map<const Eigen::MatrixXd> Z(vZ.data(), rows, nColumns), AZ(vAz.data(), rows, nColumns);
    E.noalias() = Z.transpose() * AZ;
    const Eigen::VectorXd diagonal = E.diagonal();
    Vector pivots(static_cast<size_t>(nColumns));
    const PivotTest test{std::span(diagonal.data(), pivots.size()), kPivotPart};
    return FactorPanel({E.data(), nColumns, nColumns}, test, pivots) < 0;
  }
  int32_t ColumnNum() const { return nColumns; }
  /// Z'v
  Eigen::VectorXd InSpace(std::span<const double> v) const { return TransposedTimes(vZ, v); }
  /// (AZ)'v
  Eigen::VectorXd InProduct(std::span<const double> v) const { return TransposedTimes(vAz, v); }
  /// (Z'AZ)^-1 c
  Eigen::VectorXd Solved(Eigen::VectorXd c) const {
    E.triangularView<Eigen::Lower>().solveInPlace(c);
    E.triangularView<Eigen::Lower>().transpose().solveInPlace(c);
    return c;
  }
  /// y += sign Z c
  void AddSpace(const Eigen::VectorXd& c, double sign, std::span<double> y) const { AddOf(vZ, c, sign, y); }
  /// y += sign A Z c
  void AddProduct(const Eigen::VectorXd& c, double sign, std::span<double> y) const {
    AddOf(vAz, c, sign, y);
  }

 private:
  // Part of its diagonal element that a pivot of Z'AZ must keep.
  static constexpr double kPivotPart = 1e-15;

  std::span<const double> Column(std::span<const double> of, int32_t column) const {
    return of.subspan(static_cast<size_t>(column) * nSize, nSize);
  }
  Eigen::VectorXd TransposedTimes(std::span<const double> of, std::span<const double> v) const {
    Eigen::VectorXd c(nColumns);
    for (int32_t k = 0; k < nColumns; ++k) c[k] = Dot(Column(of, k), v);
    return c;
  }
  void AddOf(std::span<const double> of, const Eigen::VectorXd& c, double sign, std::span<double> y) const {
    for (int32_t k = 0; k < nColumns; ++k) Add(sign * c[k], Column(of, k), y);
  }

  std::span<const double> vZ, vAz;
  int32_t nColumns;
  size_t nSize;
  Eigen::MatrixXd E;
};

/// Where the iteration is.
struct Iterate {
  Vector r, s, p, ap;     ///< residual, preconditioned residual, direction, its product
  Eigen::VectorXd Share;  ///< what Z has in the solution besides x; added in the end
  double dSquare = 0;     ///< r's
};

bool IsAllowed(double square) { return square >= 0 && std::isfinite(square); }

/// Sets out from the part of the solution that lies in Z. The square of the right-hand side as the limits
/// count it, or what is not allowed.
double SetOut(const VectorMap& precondition, const Deflation& deflation, std::span<const double> b,
              Iterate& at) {
  at.r.assign(b.begin(), b.end());
  for (Vector* vector : {&at.s, &at.p, &at.ap}) vector->assign(b.size(), 0.0);
  at.Share = Eigen::VectorXd::Zero(deflation.ColumnNum());
  precondition(at.r, at.s);
  at.dSquare = Dot(at.r, at.s);
  double whole = at.dSquare;
  if (!IsAllowed(whole) || deflation.ColumnNum() == 0) return whole;
  // The second time for what rounding left.
  for (int time = 0; time < 2; ++time) {
    const Eigen::VectorXd of = deflation.InSpace(at.r), share = deflation.Solved(of);
    deflation.AddProduct(share, -1, at.r);
    at.Share += share;
    whole += of.dot(share);
  }
  precondition(at.r, at.s);
  at.dSquare = Dot(at.r, at.s);
  return IsAllowed(at.dSquare) ? whole : at.dSquare;
}

/// p = s + beta p - Z (Z'AZ)^-1 (AZ)'s
void Turn(const Deflation& deflation, double beta, Iterate& at) {
  for (size_t i = 0; i < at.p.size(); ++i) at.p[i] = at.s[i] + beta * at.p[i];
  deflation.AddSpace(deflation.Solved(deflation.InProduct(at.s)), -1, at.p);
}

/// Takes the step `alpha` along p; false, with the solution as it was, where r's is not allowed behind it.
bool Step(const VectorMap& precondition, const Deflation& deflation, double alpha, Iterate& at,
          std::span<double> x) {
  Add(-alpha, at.ap, at.r);
  // Rounding brings back some of Z, which would grow.
  const Eigen::VectorXd share = deflation.Solved(deflation.InSpace(at.r));
  deflation.AddProduct(share, -1, at.r);
  precondition(at.r, at.s);
  const double square = Dot(at.r, at.s);
  if (!IsAllowed(square)) return false;
  at.dSquare = square;
  at.Share += share;
  Add(alpha, at.p, x);
  return true;
}

/// From the start that `at` is, with `whole` for the right-hand side.
PcgResult Run(const VectorMap& multiply, const VectorMap& precondition, const Deflation& deflation,
              double whole, const PcgLimits& limits, Iterate& at, std::span<double> x) {
  PcgResult result;
  for (double beta = 0;; ++result.nSteps) {
    result.dResidual = std::sqrt(at.dSquare / whole);
    result.End = PcgEnd::Reached;
    if (at.dSquare == 0 || result.dResidual <= limits.dTolerance) return result;
    result.End = PcgEnd::Steps;
    if (result.nSteps >= limits.nMaxSteps) return result;
    result.End = PcgEnd::Breakdown;
    Turn(deflation, beta, at);
    multiply(at.p, at.ap);
    const double curvature = Dot(at.p, at.ap), before = at.dSquare;
    if (!(curvature > 0 && std::isfinite(curvature))) return result;
    if (!Step(precondition, deflation, before / curvature, at, x)) return result;
    beta = at.dSquare / before;
  }
}

}  // namespace

PcgResult SolvePcg(const VectorMap& multiply, const VectorMap& precondition, std::span<const double> z,
                   std::span<const double> az, int32_t zNum, std::span<const double> b, std::span<double> x,
                   const PcgLimits& limits) {
  std::fill(x.begin(), x.end(), 0.0);
  if (std::all_of(b.begin(), b.end(), [](double value) { return value == 0; })) return {};
  const PcgResult none{PcgEnd::Breakdown, 0, 1};
  Deflation deflation(z, az, zNum, b.size());
  if (!deflation.Factor()) return none;
  Iterate at;
  const double whole = SetOut(precondition, deflation, b, at);
  if (!IsAllowed(whole) || whole == 0) return none;
  const PcgResult result = Run(multiply, precondition, deflation, whole + limits.dTakenOff, limits, at, x);
  deflation.AddSpace(at.Share, 1, x);
  return result;
}

}  // namespace orvo::sparse
