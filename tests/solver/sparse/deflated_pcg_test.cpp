#include "solver/sparse/DeflatedPcg.h"

#include <gtest/gtest.h>

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

namespace orvo::sparse {
namespace {

constexpr double kNan = std::numeric_limits<double>::quiet_NaN();

std::span<const double> Values(const Eigen::MatrixXd& matrix) {
  return {matrix.data(), static_cast<size_t>(matrix.size())};
}

VectorMap Times(const Eigen::MatrixXd& A) {
  return [A](std::span<const double> x, std::span<double> y) {
    Eigen::Map<Eigen::VectorXd>(y.data(), A.rows()) =
        A * Eigen::Map<const Eigen::VectorXd>(x.data(), A.cols());
  };
}

VectorMap Jacobi(const Eigen::MatrixXd& A) { return Times(A.diagonal().cwiseInverse().asDiagonal()); }

/// Symmetric with these eigenvalues.
Eigen::MatrixXd WithEigenvalues(const Eigen::VectorXd& values) {
  const Eigen::MatrixXd any = Eigen::MatrixXd::Random(values.size(), values.size());
  const Eigen::MatrixXd Q = any.householderQr().householderQ();
  return Q * values.asDiagonal() * Q.transpose();
}

struct Solved {
  PcgResult Result;
  Eigen::VectorXd x;
};

Solved Solve(const Eigen::MatrixXd& A, const Eigen::MatrixXd& Z, const Eigen::VectorXd& b,
             const PcgLimits& limits) {
  Solved solved{{}, Eigen::VectorXd::Constant(b.size(), kNan)};
  const Eigen::MatrixXd AZ = A * Z;
  solved.Result = SolvePcg(Times(A), Jacobi(A), Values(Z), Values(AZ), static_cast<int32_t>(Z.cols()),
                           Values(b), {solved.x.data(), static_cast<size_t>(b.size())}, limits);
  return solved;
}

TEST(DeflatedPcg, AgreesWithDenseSolutionsWithAndWithoutDeflation) {
  for (const int size : {1, 2, 7, 60}) {
    for (const int columns : {0, 1, 5, 60}) {
      if (columns > size) continue;
      const Eigen::MatrixXd A = WithEigenvalues(Eigen::VectorXd::LinSpaced(size, 1, 500));
      const Eigen::MatrixXd Z = Eigen::MatrixXd::Random(size, columns);
      const Eigen::VectorXd b = Eigen::VectorXd::Random(size), exact = A.llt().solve(b);
      const Solved solved = Solve(A, Z, b, {1e-12, 500});
      EXPECT_EQ(solved.Result.End, PcgEnd::Reached) << size << " " << columns;
      EXPECT_LE(solved.Result.dResidual, 1e-12) << size << " " << columns;
      EXPECT_LT((solved.x - exact).norm(), 1e-10 * exact.norm()) << size << " " << columns;
      // All of it lies in the space.
      EXPECT_TRUE(columns < size || solved.Result.nSteps <= 1) << size;
    }
  }
}

TEST(DeflatedPcg, ResidualIsOrthogonalToTheSpace) {
  const Eigen::MatrixXd A = WithEigenvalues(Eigen::VectorXd::LinSpaced(80, 0, 6).array().exp());
  const Eigen::MatrixXd Z = Eigen::MatrixXd::Random(80, 6);
  const Eigen::VectorXd b = Eigen::VectorXd::Random(80);
  for (const int32_t steps : {0, 1, 5, 20, 60}) {
    const Solved solved = Solve(A, Z, b, {0, steps});
    EXPECT_EQ(solved.Result.End, PcgEnd::Steps) << steps;
    EXPECT_EQ(solved.Result.nSteps, steps);
    EXPECT_LT((Z.transpose() * (b - A * solved.x)).norm(), 1e-12 * b.norm() * Z.norm()) << steps;
  }
}

TEST(DeflatedPcg, WeakDirectionsInTheSpaceCostNothing) {
  Eigen::VectorXd values = Eigen::VectorXd::LinSpaced(60, 1, 20);
  values.head(4) << 1e-7, 1e-6, 1e-6, 1e-5;
  const Eigen::MatrixXd A = WithEigenvalues(values);
  const Eigen::MatrixXd Z = Eigen::SelfAdjointEigenSolver<Eigen::MatrixXd>(A).eigenvectors().leftCols(4);
  const Eigen::VectorXd b = Eigen::VectorXd::Random(60), exact = A.llt().solve(b);
  const Solved plain = Solve(A, Eigen::MatrixXd(60, 0), b, {1e-8, 500}),
               deflated = Solve(A, Z, b, {1e-8, 500});
  EXPECT_EQ(deflated.Result.End, PcgEnd::Reached);
  EXPECT_LT(deflated.Result.nSteps, plain.Result.nSteps);
  EXPECT_LE(deflated.Result.nSteps, 45);
  EXPECT_LT((deflated.x - exact).norm(), 1e-7 * exact.norm());
}

TEST(DeflatedPcg, ResidualIsMeasuredAgainstTheRightHandSide) {
  const Eigen::MatrixXd A = WithEigenvalues(Eigen::VectorXd::LinSpaced(50, 1, 1000));
  const Eigen::VectorXd b = Eigen::VectorXd::Random(50), scale = A.diagonal().cwiseSqrt().cwiseInverse();
  for (const double tolerance : {0.3, 1e-2, 1e-6}) {
    for (const int columns : {0, 3}) {
      const Eigen::MatrixXd Z = Eigen::MatrixXd::Random(50, columns);
      const Solved solved = Solve(A, Z, b, {tolerance, 500});
      double whole = scale.cwiseProduct(b).squaredNorm();
      const Eigen::VectorXd inSpace = Z.transpose() * b;
      if (columns > 0) whole += inSpace.dot((Z.transpose() * A * Z).llt().solve(inSpace));
      const double residual = scale.cwiseProduct(b - A * solved.x).norm() / std::sqrt(whole);
      EXPECT_EQ(solved.Result.End, PcgEnd::Reached);
      EXPECT_NEAR(solved.Result.dResidual, residual, 1e-12) << tolerance;
      EXPECT_LE(residual, tolerance * (1 + 1e-9));
    }
  }
}

TEST(DeflatedPcg, PreconditionerThatLeavesTheBorderToTheSpace) {
  // With the exact inverse of the inner part, Z holds all that is left: one step, or none.
  const Eigen::MatrixXd A = WithEigenvalues(Eigen::VectorXd::LinSpaced(30, 1, 1000));
  const Eigen::MatrixXd inverse = A.topLeftCorner(24, 24).inverse();
  Eigen::MatrixXd Z = Eigen::MatrixXd::Identity(30, 30).rightCols(6), M = Eigen::MatrixXd::Zero(30, 30);
  Z.topRows(24) = -inverse * A.topRightCorner(24, 6);
  M.topLeftCorner(24, 24) = inverse;
  const Eigen::MatrixXd AZ = A * Z;
  for (const bool inBorder : {false, true}) {
    Eigen::VectorXd b = Eigen::VectorXd::Random(30), x(30);
    if (inBorder) b.head(24).setZero();
    const PcgResult result =
        SolvePcg(Times(A), Times(M), Values(Z), Values(AZ), 6, Values(b), {x.data(), 30}, {1e-11, 9});
    EXPECT_EQ(result.End, PcgEnd::Reached) << inBorder;
    EXPECT_EQ(result.nSteps, inBorder ? 0 : 1);
    EXPECT_LT((A * x - b).norm(), 1e-10 * b.norm()) << inBorder;
  }
}

TEST(DeflatedPcg, SingularButDamped) {
  Eigen::MatrixXd J = Eigen::MatrixXd::Random(40, 60);
  Eigen::MatrixXd A = J.transpose() * J;
  A.diagonal() *= 1 + 1e-6;
  const Eigen::VectorXd b = J.transpose() * Eigen::VectorXd::Random(40), exact = A.llt().solve(b);
  for (const int columns : {0, 4}) {
    const Solved solved = Solve(A, Eigen::MatrixXd::Random(60, columns), b, {1e-12, 2000});
    EXPECT_EQ(solved.Result.End, PcgEnd::Reached) << columns;
    EXPECT_LT((A * solved.x - b).norm(), 1e-10 * b.norm()) << columns;
    EXPECT_LT((solved.x - exact).norm(), 1e-5 * exact.norm()) << columns;
  }
}

TEST(DeflatedPcg, NothingIsSolvedByNothing) {
  const Eigen::MatrixXd A = Eigen::MatrixXd::Identity(5, 5);
  for (const int columns : {0, 2}) {
    const Solved solved = Solve(A, Eigen::MatrixXd::Random(5, columns), Eigen::VectorXd::Zero(5), {});
    EXPECT_EQ(solved.Result.End, PcgEnd::Reached);
    EXPECT_EQ(solved.Result.nSteps, 0);
    EXPECT_EQ(solved.x, Eigen::VectorXd::Zero(5));
  }
  EXPECT_EQ(Solve(Eigen::MatrixXd(0, 0), Eigen::MatrixXd(0, 0), Eigen::VectorXd(0), {}).Result.End,
            PcgEnd::Reached);
}

TEST(DeflatedPcg, BreakdownIsReported) {
  Eigen::VectorXd values = Eigen::VectorXd::LinSpaced(20, 1, 20);
  const Eigen::VectorXd b = Eigen::VectorXd::Random(20);
  const Eigen::MatrixXd none(20, 0), Z = Eigen::MatrixXd::Random(20, 2);
  values[3] = -5;
  Eigen::MatrixXd indefinite = WithEigenvalues(values);
  indefinite.diagonal() = indefinite.diagonal().cwiseMax(0.5);
  ASSERT_LT(indefinite.selfadjointView<Eigen::Upper>().eigenvalues().minCoeff(), -0.1);
  for (const Eigen::MatrixXd& space : {none, Z}) {
    const Solved solved = Solve(indefinite, space, b, {1e-12, 100});
    EXPECT_EQ(solved.Result.End, PcgEnd::Breakdown);
    EXPECT_TRUE(solved.x.allFinite());
  }
  const Eigen::MatrixXd A = WithEigenvalues(Eigen::VectorXd::LinSpaced(20, 1, 20));
  Eigen::MatrixXd dependent = Z;
  dependent.col(1) = 2 * dependent.col(0);
  const Eigen::MatrixXd unknown = Eigen::MatrixXd::Constant(20, 1, kNan);
  for (const Eigen::MatrixXd& space : {dependent, unknown, Eigen::MatrixXd(Eigen::MatrixXd::Zero(20, 1))}) {
    const Solved solved = Solve(A, space, b, {});
    EXPECT_EQ(solved.Result.End, PcgEnd::Breakdown);
    EXPECT_EQ(solved.x, Eigen::VectorXd::Zero(20));
  }
  for (const double value : {kNan, std::numeric_limits<double>::infinity(), 1e200}) {
    Eigen::VectorXd broken = b;
    broken[7] = value;
    const Solved solved = Solve(A, none, broken, {});
    EXPECT_EQ(solved.Result.End, PcgEnd::Breakdown) << value;
    EXPECT_EQ(solved.x, Eigen::VectorXd::Zero(20)) << value;
  }
}

TEST(DeflatedPcg, KeepsWhatWasReachedBeforeABreakdown) {
  const Eigen::MatrixXd A = WithEigenvalues(Eigen::VectorXd::LinSpaced(30, 1, 300));
  const Eigen::MatrixXd Z = Eigen::MatrixXd::Random(30, 2), AZ = A * Z;
  const Eigen::VectorXd b = Eigen::VectorXd::Random(30);
  const Solved reached = Solve(A, Z, b, {0, 3});
  for (const bool inProduct : {true, false}) {
    int calls = 0;
    const auto failing = [&calls](const VectorMap& map, int after) -> VectorMap {
      return [&calls, map, after](std::span<const double> x, std::span<double> y) {
        map(x, y);
        if (++calls > after) y[11] = kNan;
      };
    };
    // The preconditioner is called once for b and once for the first residual, too.
    const VectorMap multiply = inProduct ? failing(Times(A), 3) : Times(A);
    const VectorMap precondition = inProduct ? Jacobi(A) : failing(Jacobi(A), 5);
    Eigen::VectorXd x(30);
    const PcgResult result =
        SolvePcg(multiply, precondition, Values(Z), Values(AZ), 2, Values(b), {x.data(), 30}, {0, 100});
    EXPECT_EQ(result.End, PcgEnd::Breakdown) << inProduct;
    EXPECT_EQ(result.dResidual, reached.Result.dResidual) << inProduct;
    EXPECT_EQ(x, reached.x) << inProduct;
  }
}

}  // namespace
}  // namespace orvo::sparse
