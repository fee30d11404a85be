// Conjugate gradients of the device path over small systems, without a device.
#include "gpu/PackedPcg.h"

#include <gtest/gtest.h>

#include <cmath>
#include <random>

#include "gpu/PackedPrediction.h"

namespace orvo::test {
namespace {

using Vector = std::vector<double>;

/// A positive definite matrix that is made of two products, its damping and a diagonal preconditioner.
struct SmallSystem {
  size_t n;
  Vector A, Others, damp, inverse;
  Vector xTrue;
  int nFailingProduct = -1;  ///< from 0
  std::vector<std::vector<float>> vDirections;
  int nProducts = 0;

  explicit SmallSystem(size_t order, unsigned seed = 1, double mu = 0)
      : n(order), A(n * n), Others(n * n), damp(n), inverse(n), xTrue(n) {
    std::mt19937 random(seed);
    std::normal_distribution<double> normal;
    Vector root(n * n);
    for (double& value : root) value = normal(random);
    for (size_t i = 0; i < n; ++i) {
      for (size_t j = 0; j < n; ++j) {
        for (size_t k = 0; k < n; ++k) A[i * n + j] += root[i * n + k] * root[j * n + k];
      }
      Others[i * n + i] = 2;
      xTrue[i] = normal(random);
    }
    for (size_t i = 0; i < n; ++i) {
      damp[i] = mu * Full(i, i);
      inverse[i] = 1 / (Full(i, i) + damp[i]);
    }
  }
  double Full(size_t i, size_t j) const { return A[i * n + j] + Others[i * n + j]; }
  template <typename T>
  Vector Times(const std::vector<T>& v) const {
    Vector out(n);
    for (size_t i = 0; i < n; ++i) {
      for (size_t j = 0; j < n; ++j) out[i] += Full(i, j) * static_cast<double>(v[j]);
    }
    return out;
  }
  gpu::PackedProduct Product() {
    gpu::PackedProduct product;
    product.SetDirection = [this](const std::vector<float>& d) { vDirections.push_back(d); };
    product.Multiply = [this](Vector& Ad) {
      if (nProducts++ == nFailingProduct) return false;
      Ad.assign(n, 0.0);
      AddTo(A, vDirections.back(), Ad);
      return true;
    };
    product.AddOthers = [this](const std::vector<float>& d, Vector& Ad) { AddTo(Others, d, Ad); };
    return product;
  }
  gpu::PackedInverse Inverse() const {
    return [this](const Vector& r, Vector& z) {
      for (size_t k = 0; k < n; ++k) z[k] += inverse[k] * r[k];
    };
  }
  gpu::PackedDampingProduct Damping() const {
    return [this](const Vector& v, Vector& out) {
      for (size_t k = 0; k < n; ++k) out[k] += damp[k] * v[k];
    };
  }

 private:
  void AddTo(const Vector& matrix, const std::vector<float>& v, Vector& out) const {
    for (size_t i = 0; i < n; ++i) {
      for (size_t j = 0; j < n; ++j) out[i] += matrix[i * n + j] * static_cast<double>(v[j]);
    }
  }
};

/// A solution and all that was told on the way.
struct Solution {
  Vector x, r;
  gpu::PackedPcgOutcome Outcome;
  std::vector<gpu::PackedPcgStep> vSteps;
  std::vector<Vector> vX;  ///< behind each step
};

Solution Solve(SmallSystem& system, const Vector& b, const gpu::PackedPcgLimits& limits) {
  Solution s;
  s.x.assign(system.n, 0.0);
  s.r = b;
  s.Outcome = gpu::SolvePackedPcg(system.Product(), system.Inverse(), system.Damping(), s.r, s.x, limits,
                                  [&s](const gpu::PackedPcgStep& step) {
                                    s.vSteps.push_back(step);
                                    s.vX.push_back(s.x);
                                  });
  return s;
}

/// The steps one after the other, as they are written down, each sum in its order.
Solution SlowSolve(const SmallSystem& system, const Vector& b, const gpu::PackedPcgLimits& limits) {
  const size_t n = system.n;
  Solution s;
  s.x.assign(n, 0.0);
  s.r = b;
  Vector z(n), xBest(n);
  std::vector<float> d(n);
  const auto dot = [n](const auto& a, const Vector& c) {
    double sum = 0;
    for (size_t k = 0; k < n; ++k) sum += static_cast<double>(a[k]) * c[k];
    return sum;
  };
  for (size_t k = 0; k < n; ++k) {
    z[k] = system.inverse[k] * b[k];
    d[k] = static_cast<float>(z[k]);
  }
  gpu::PackedPcgStep step;
  for (;;) {
    Vector Ad = system.Times(d);
    for (size_t k = 0; k < n; ++k) Ad[k] += system.damp[k] * z[k];
    const double rho = dot(s.r, z), curvature = dot(d, Ad);
    if (curvature != 0) step.fAlpha = rho / curvature;
    for (size_t k = 0; k < n; ++k) {
      s.x[k] += step.fAlpha * static_cast<double>(d[k]);
      s.r[k] -= step.fAlpha * Ad[k];
    }
    step.fResidualNorm = std::sqrt(dot(s.r, s.r));
    step.fEta = step.fResidualNorm / std::sqrt(dot(b, b));
    if (step.fEta < s.Outcome.fBestEta) {
      s.Outcome.fBestEta = step.fEta;
      xBest = s.x;
    }
    for (size_t k = 0; k < n; ++k) z[k] = system.inverse[k] * s.r[k];
    if (rho != 0) step.fBeta = dot(s.r, z) / rho;
    for (size_t k = 0; k < n; ++k) {
      d[k] = static_cast<float>(step.fBeta * static_cast<double>(d[k]) + z[k]);
    }
    step.fDirectionProduct = dot(d, Ad);
    s.vSteps.push_back(step);
    ++s.Outcome.nStepNum;
    if (s.Outcome.nStepNum >= limits.nMaxStepNum || !(step.fEta > limits.fForcing)) break;
  }
  s.Outcome.bExhausted = s.Outcome.nStepNum == limits.nMaxStepNum && limits.nMaxStepNum >= 2;
  if (s.Outcome.bExhausted) s.x = xBest;
  return s;
}

void ExpectNear(const Vector& a, const Vector& b, double tolerance, const std::string& what) {
  ASSERT_EQ(a.size(), b.size()) << what;
  for (size_t k = 0; k < a.size(); ++k)
    EXPECT_NEAR(a[k], b[k], tolerance * (1 + std::fabs(b[k]))) << what << k;
}

TEST(PackedPcg, KnownSolutions) {
  for (const size_t n : {1u, 6u, 11u, 30u}) {
    SmallSystem system(n);
    const Vector b = system.Times(system.xTrue);
    const Solution s = Solve(system, b, {200, 1e-9});
    const std::string what = std::to_string(n) + " ";
    EXPECT_TRUE(s.Outcome.bDone) << what;
    EXPECT_FALSE(s.Outcome.bExhausted) << what;
    EXPECT_LE(s.vSteps.back().fEta, 1e-9) << what;
    EXPECT_EQ(s.Outcome.fBestEta, s.vSteps.back().fEta) << what;
    EXPECT_EQ(s.Outcome.nStepNum, static_cast<int32_t>(s.vSteps.size())) << what;
    ExpectNear(s.x, system.xTrue, 1e-7, what);
    const Vector Ax = system.Times(s.x);
    for (size_t k = 0; k < n; ++k) EXPECT_NEAR(s.r[k], b[k] - Ax[k], 1e-9) << what << k;
  }
}

TEST(PackedPcg, OneUnknownTakesOneStepToSinglePrecision) {
  SmallSystem system(1);
  const Vector b = system.Times(system.xTrue);
  const Solution s = Solve(system, b, {50, 1e-6});
  EXPECT_EQ(s.Outcome.nStepNum, 1);
  EXPECT_NEAR(s.x[0], system.xTrue[0], 1e-6);
  SmallSystem again(1);
  EXPECT_NEAR(Solve(again, b, {50, 1e-12}).x[0], system.xTrue[0], 1e-12) << "further steps take the rest";
}

TEST(PackedPcg, EqualsTheStepsWrittenDown) {
  const struct {
    size_t n;
    double mu;
    gpu::PackedPcgLimits limits;
  } rows[] = {{1, 0.5, {4, 1e-3}},  {6, 0, {30, 0.1}},    {6, 0.01, {5, 0}},
              {11, 0.3, {12, 0.1}}, {11, 2, {10, 1e-12}}, {40, 0.002, {30, 0.001}}};
  for (const auto& row : rows) {
    SmallSystem system(row.n, 3, row.mu);
    const Vector b = system.Times(system.xTrue);
    const Solution s = Solve(system, b, row.limits), slow = SlowSolve(system, b, row.limits);
    const std::string what = std::to_string(row.n) + " " + std::to_string(row.mu) + ": ";
    ASSERT_EQ(s.vSteps.size(), slow.vSteps.size()) << what;
    for (size_t k = 0; k < s.vSteps.size(); ++k) {
      const gpu::PackedPcgStep &a = s.vSteps[k], &e = slow.vSteps[k];
      ExpectNear({a.fResidualNorm, a.fDirectionProduct, a.fAlpha, a.fBeta, a.fEta},
                 {e.fResidualNorm, e.fDirectionProduct, e.fAlpha, e.fBeta, e.fEta}, 1e-5,
                 what + std::to_string(k) + " ");
    }
    EXPECT_EQ(s.Outcome.bExhausted, slow.Outcome.bExhausted) << what;
    EXPECT_EQ(s.Outcome.nStepNum, slow.Outcome.nStepNum) << what;
    ExpectNear(s.x, slow.x, 1e-5, what);
    // The first direction, and one behind every step, also the last.
    EXPECT_EQ(system.vDirections.size(), s.vSteps.size() + 1) << what;
    EXPECT_EQ(system.nProducts, s.Outcome.nStepNum) << what;
  }
}

TEST(PackedPcg, AtTheLimitTheBestSolutionStands) {
  int earlier = 0;  // cases whose best solution is not the last
  for (const unsigned seed : {1u, 2u, 3u, 4u, 5u}) {
    for (const int32_t limit : {2, 3, 8}) {
      SmallSystem system(11, seed, 0.01);
      for (size_t k = 0; k < 11; k += 2) system.inverse[k] *= 100;
      const Solution s = Solve(system, system.Times(system.xTrue), {limit, 0});
      EXPECT_TRUE(s.Outcome.bExhausted);
      ASSERT_EQ(s.Outcome.nStepNum, limit);
      size_t best = 0;
      for (size_t k = 1; k < s.vSteps.size(); ++k) {
        if (s.vSteps[k].fEta < s.vSteps[best].fEta) best = k;
      }
      earlier += best + 1 < s.vSteps.size();
      EXPECT_EQ(s.Outcome.fBestEta, s.vSteps[best].fEta);
      EXPECT_EQ(s.x, s.vX[best]) << seed << ' ' << limit;
    }
  }
  EXPECT_GE(earlier, 3) << "or the cases show nothing";
}

TEST(PackedPcg, BelowTwoTheLastSolutionStands) {
  for (const int32_t limit : {1, 0, -3}) {
    SmallSystem system(6, 2, 1);
    const Solution s = Solve(system, system.Times(system.xTrue), {limit, 0});
    EXPECT_FALSE(s.Outcome.bExhausted) << limit;
    EXPECT_EQ(s.Outcome.nStepNum, 1) << limit;
    EXPECT_EQ(s.x, s.vX[0]) << limit;
  }
}

TEST(PackedPcg, WithoutAnEtaBelow100NothingStands) {
  // A first product nearly at right angles to its direction, then none at all, which keeps alpha.
  int products = 0;
  gpu::PackedProduct product;
  product.SetDirection = [](const std::vector<float>&) {};
  product.Multiply = [&products](Vector& Ad) {
    Ad = products++ == 0 ? Vector{1, -0.9999} : Vector{0, 0};
    return true;
  };
  product.AddOthers = [](const std::vector<float>&, Vector&) {};
  const auto copy = [](const Vector& r, Vector& z) {
    for (size_t k = 0; k < 2; ++k) z[k] += r[k];
  };
  Vector r(2, 1.0), x(2, 0.0);
  std::vector<gpu::PackedPcgStep> steps;
  const gpu::PackedPcgOutcome outcome = gpu::SolvePackedPcg(
      product, copy, [](const Vector&, Vector&) {}, r, x, {2, 0},
      [&steps](const gpu::PackedPcgStep& step) { steps.push_back(step); });
  ASSERT_EQ(steps.size(), 2u);
  EXPECT_GT(steps[0].fEta, 1e4);
  EXPECT_EQ(steps[1].fEta, steps[0].fEta);
  EXPECT_EQ(steps[1].fAlpha, steps[0].fAlpha);
  EXPECT_TRUE(outcome.bExhausted);
  EXPECT_EQ(outcome.fBestEta, 100.0);
  EXPECT_EQ(x, Vector(2, 0.0));
}

TEST(PackedPcg, AFailingProductEndsIt) {
  for (const int failing : {0, 1, 3}) {
    SmallSystem system(11);
    system.nFailingProduct = failing;
    const Solution s = Solve(system, system.Times(system.xTrue), {30, 0});
    EXPECT_FALSE(s.Outcome.bDone);
    EXPECT_EQ(s.Outcome.nStepNum, failing);
    EXPECT_EQ(s.vSteps.size(), static_cast<size_t>(failing));
    EXPECT_EQ(system.nProducts, failing + 1) << "none is asked for behind it";
  }
}

TEST(PackedPcg, ARightSideOfZerosEndsAfterOneStep) {
  SmallSystem system(6, 1, 0.1);
  const Solution s = Solve(system, Vector(6, 0.0), {30, 0.1});
  EXPECT_TRUE(s.Outcome.bDone);
  EXPECT_EQ(s.Outcome.nStepNum, 1);
  EXPECT_FALSE(s.Outcome.bExhausted);
  EXPECT_EQ(s.x, Vector(6, 0.0));
  EXPECT_EQ(s.vSteps[0].fAlpha, 0);
  EXPECT_TRUE(std::isnan(s.vSteps[0].fEta));
}

TEST(PackedPcg, AProductOfZerosMovesNothing) {
  SmallSystem system(6);
  system.A.assign(36, 0.0);
  system.Others.assign(36, 0.0);
  const Solution s = Solve(system, Vector(6, 1.0), {4, 0.1});
  EXPECT_TRUE(s.Outcome.bExhausted);
  EXPECT_EQ(s.Outcome.fBestEta, 1.0);
  EXPECT_EQ(s.x, Vector(6, 0.0));
}

/// Behind the step x a rest y is left of the equations: y' N y is what it would gain.
struct Prediction {
  SmallSystem System;
  Vector x, y, b;
  std::function<void(Vector&)> RemoveDatum = [](Vector&) {};

  explicit Prediction(size_t n) : System(n, 7), x(n, 0.25), y(n) {
    Vector sum(n);
    for (size_t k = 0; k < n; ++k) {
      y[k] = 0.01 * System.xTrue[k];
      sum[k] = x[k] + y[k];
    }
    b = System.Times(sum);
  }
  double Gain() const {
    const Vector Ny = System.Times(y);
    double gain = 0;
    for (size_t k = 0; k < y.size(); ++k) gain += y[k] * Ny[k];
    return gain;
  }
  std::optional<double> Predict(int32_t steps, double enough = 1) {
    const gpu::PackedProduct product = System.Product();
    const gpu::PackedInverse inverse = System.Inverse();
    return gpu::PredictPackedDecrease({product, inverse, b, RemoveDatum}, x, {enough, steps});
  }
};

TEST(PackedPrediction, TheGainOfTheRestIsFoundFromBelow) {
  for (const size_t n : {1u, 6u, 11u}) {
    Prediction p(n);
    const std::optional<double> decrease = p.Predict(40, 1.01 * p.Gain());
    ASSERT_TRUE(decrease.has_value()) << n;
    EXPECT_GT(*decrease, 0.95 * p.Gain()) << n;
    EXPECT_LT(*decrease, 1.001 * p.Gain()) << n;
  }
}

TEST(PackedPrediction, EndsWithEnoughOrAtItsLimit) {
  Prediction whole(11), limited(11), enough(11);
  const double gain = whole.Predict(40, 1.01 * whole.Gain()).value();
  EXPECT_LT(limited.Predict(2, 1.01 * whole.Gain()).value(), gain);
  EXPECT_EQ(limited.System.nProducts, 3) << "that with x, and one a step";
  EXPECT_GT(enough.Predict(40, 0.1 * gain).value(), 0.1 * gain);
  EXPECT_LT(enough.System.nProducts, whole.System.nProducts);
}

TEST(PackedPrediction, TheDatumIsTakenOutOfTheRest) {
  Prediction p(6);
  Vector seen;
  p.RemoveDatum = [&seen](Vector& r) {
    seen = r;
    r.assign(r.size(), 0.0);
  };
  EXPECT_EQ(p.Predict(40).value(), 0);
  ExpectNear(seen, p.System.Times(p.y), 1e-6, "rest ");
}

TEST(PackedPrediction, NothingWhereAProductFails) {
  for (const int failing : {0, 1}) {
    Prediction p(6);
    p.System.nFailingProduct = failing;
    EXPECT_FALSE(p.Predict(40).has_value()) << failing;
  }
}

}  // namespace
}  // namespace orvo::test
