#include "rigorous/PointKernels.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

#include "rigorous/DensePoints.h"
#include "rigorous/PointBuilders.h"
#include "rigorous/PointElimination.h"

namespace orvo::rigorous {
namespace {

using test::Block;
using test::BlockForm;
using test::Random;

/// One point in many images of many cameras.
struct Bundle {
  Problem Of;
  Estimate At;
};

Bundle AnyBundle(Random& random, int32_t rays, double noise, ResidualForm form) {
  Bundle bundle;
  bundle.Of.Form = form;
  const Vector3 point = random.Vector(50);
  bundle.At.vPoints = {point};
  for (int32_t i = 0; i < rays; ++i) {
    test::Ray ray = test::AnyRay(random, noise);
    ray.Pose.Centre = ray.Pose.Centre + (point - ray.Point);
    bundle.At.vPoses.push_back(ray.Pose);
    bundle.At.vCameras.push_back({ray.Camera});
    bundle.Of.vCameras.emplace_back().fSigma = random.Within(0.5, 2) * test::kPixelSize;
    bundle.Of.vImages.emplace_back().nCamera = i;
    bundle.Of.vRays.push_back({i, static_cast<float>(ray.Measured[0]), static_cast<float>(ray.Measured[1])});
  }
  bundle.Of.vFirstRay.push_back(rays);
  return bundle;
}

struct Linearized {
  std::vector<PlaceRow> vRows;
  std::vector<double> vSquares;
};

Linearized Linearize(const PointKernels& kernels, const Bundle& bundle, bool isFull) {
  const std::vector<RayTerms> terms = TermsOf(bundle.Of, bundle.At);
  const auto rays = static_cast<int32_t>(bundle.Of.vRays.size());
  Linearized out;
  out.vRows.resize(static_cast<size_t>(RoundedUp(rays)));
  out.vSquares.resize(static_cast<size_t>(RoundedUp(rays)));
  kernels.Linearize({.pTerms = terms.data(),
                     .pRays = bundle.Of.vRays.data(),
                     .nRays = rays,
                     .pPoint = bundle.At.vPoints[0].data(),
                     .bCorrected = bundle.Of.Form == ResidualForm::Corrected,
                     .bFull = isFull},
                    out.vRows.data(), out.vSquares.data());
  return out;
}

RayStatus Reference(const Bundle& bundle, size_t r, RayRows& rows) {
  const Ray& ray = bundle.Of.vRays[r];
  return LinearizeRay(bundle.At.vPoses[r], bundle.At.vCameras[r].LensNow, bundle.At.vPoints[0],
                      {static_cast<double>(ray.x), static_cast<double>(ray.y)}, bundle.Of.Form,
                      LayoutOf(kLensAll), rows);
}

template <size_t N>
void ExpectSame(const double* row, const double (&expected)[N]) {
  double largest = 0;
  for (const double a : expected) largest = std::max(largest, std::fabs(a));
  for (size_t k = 0; k < N; ++k) EXPECT_NEAR(row[k], expected[k], 2e-9 * largest) << "column " << k;
}

void ExpectRow(const PlaceRow& row, const RayRows& expected) {
  for (int i = 0; i < 2; ++i) {
    EXPECT_NEAR(row.Residual[i], expected.Residual[i], 1e-13);
    ExpectSame(row.Point[i], expected.Point[i]);
    ExpectSame(row.Image[i], expected.Image[i]);
    ExpectSame(row.Camera[i], expected.Camera[i]);
    EXPECT_TRUE(row.Image[i][6] == 0 && row.Image[i][7] == 0);
  }
}

TEST(PointKernels, RowsAreThoseOfTheRayModel) {
  for (const PointKernels& kernels : UsablePointKernels()) {
    for (const ResidualForm form : {ResidualForm::Measured, ResidualForm::Corrected}) {
      Random random(1);
      for (int32_t rays = 1; rays <= 40; ++rays) {
        // Up to a hundred pixels off.
        const double noise = (rays % 3 == 0 ? 100 : 1) * test::kPixelSize;
        const Bundle bundle = AnyBundle(random, rays, noise, form);
        const Linearized full = Linearize(kernels, bundle, true), part = Linearize(kernels, bundle, false);
        for (size_t r = 0; r < static_cast<size_t>(rays); ++r) {
          SCOPED_TRACE(testing::Message()
                       << "form " << static_cast<int>(form) << ", ray " << r << " of " << rays);
          RayRows expected;
          ASSERT_EQ(Reference(bundle, r, expected), RayStatus::Good);
          ExpectRow(full.vRows[r], expected);
          const double sigma = bundle.Of.vCameras[r].fSigma;
          const double square = std::pow(Norm({expected.Residual[0], expected.Residual[1], 0}) / sigma, 2);
          EXPECT_NEAR(full.vSquares[r], square, 1e-9 * square + 1e-12);
          EXPECT_EQ(part.vSquares[r], full.vSquares[r]);
          for (int i = 0; i < 2; ++i) {
            EXPECT_EQ(part.vRows[r].Residual[i], full.vRows[r].Residual[i]);
            for (int k = 0; k < 3; ++k) EXPECT_EQ(part.vRows[r].Point[i][k], full.vRows[r].Point[i][k]);
          }
        }
      }
    }
  }
}

TEST(PointKernels, LeaveWhatIsUnseenToACloserLook) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = kNotObserved;
  const struct {
    const char* What;
    void (*Change)(Bundle&, double);
    double Value;
  } table[] = {
      {"behind",
       [](Bundle& b, double) {
         Vector3& centre = b.At.vPoses[2].Centre;
         centre = 2 * b.At.vPoints[0] - centre;
       },
       0},
      {"centre", [](Bundle& b, double v) { b.At.vPoses[2].Centre[1] = v; }, nan},
      {"far centre", [](Bundle& b, double v) { b.At.vPoses[2].Centre[1] = v; }, inf},
      {"at the centre", [](Bundle& b, double) { b.At.vPoses[2].Centre = b.At.vPoints[0]; }, 0},
      {"rotation", [](Bundle& b, double v) { b.At.vPoses[2].R[4] = v; }, nan},
      {"focal length", [](Bundle& b, double v) { b.At.vCameras[2].LensNow.f = v; }, nan},
      {"distortion", [](Bundle& b, double v) { b.At.vCameras[2].LensNow.k2 = v; }, inf},
      {"measurement", [](Bundle& b, double v) { b.Of.vRays[2].x = static_cast<float>(v); }, nan},
      {"far measurement", [](Bundle& b, double v) { b.Of.vRays[2].y = static_cast<float>(v); }, inf},
      {"folded", [](Bundle& b, double v) { b.At.vCameras[2].LensNow.k1 = v; }, 0.5},
  };
  for (const PointKernels& kernels : UsablePointKernels()) {
    for (const auto& row : table) {
      SCOPED_TRACE(row.What);
      Random random(2);
      Bundle bundle = AnyBundle(random, 5, test::kPixelSize, ResidualForm::Measured);
      const Linearized before = Linearize(kernels, bundle, true);
      row.Change(bundle, row.Value);
      RayRows rows;
      ASSERT_NE(Reference(bundle, 2, rows), RayStatus::Good);
      const Linearized after = Linearize(kernels, bundle, true);
      for (size_t r = 0; r < 5; ++r) {
        EXPECT_EQ(std::isfinite(after.vSquares[r]), r != 2);
        EXPECT_TRUE(r == 2 || after.vSquares[r] == before.vSquares[r]);
      }
    }
  }
}

/// The equations of all points where they start.
Eigen::MatrixXd EquationsBy(const PointKernels& kernels, const Block& block, const UnknownPlan& plan,
                            const sparse::NodePattern& pattern) {
  PointSurroundings around(block.Of, block.Start, &plan);
  around.Kernels = kernels;
  ChunkEquations chunk(plan);
  PointElimination elimination(around, chunk);
  PointPlace place;
  for (int64_t p = 0; p < block.Of.PointNum(); ++p) {
    const PointObservations point = ObservationsOf(block.Of.RaysOf(p), nullptr);
    LinearizePlace(around, point, block.Start.vPoints[static_cast<size_t>(p)], place);
    elimination.Add(point, place);
  }
  ReducedEquations equations(pattern);
  chunk.AddTo(equations);
  Eigen::MatrixXd all(plan.UnknownNum(), plan.UnknownNum() + 1);
  all << test::DenseOf(equations, plan),
      Eigen::Map<const Eigen::VectorXd>(equations.n.data(), std::ssize(equations.n));
  return all;
}

TEST(PointKernels, AllSetsReduceAlike) {
  for (const int32_t cameras : {1, 5, 11, 12}) {
    SCOPED_TRACE(cameras);
    BlockForm form;
    form.nCameras = cameras;
    form.nLensUnknowns = kLensAll;
    const Block block = test::MakeBlock(3, form);
    const UnknownPlan plan = test::PlanByHand(block.Of);
    const sparse::NodePattern pattern = PatternOf(block.Of, plan);
    const test::DenseEquations dense = test::SolveDense(block, plan, {});
    const Eigen::VectorXd scale = dense.N.diagonal().cwiseSqrt().cwiseInverse();
    for (const PointKernels& kernels : UsablePointKernels()) {
      const Eigen::MatrixXd all = EquationsBy(kernels, block, plan, pattern);
      const Eigen::MatrixXd N = all.leftCols(plan.UnknownNum());
      EXPECT_LE((scale.asDiagonal() * (N - dense.N) * scale.asDiagonal()).cwiseAbs().maxCoeff(), 1e-9);
      const Eigen::VectorXd n = scale.asDiagonal() * dense.n;
      EXPECT_LE((scale.asDiagonal() * all.rightCols(1) - n).cwiseAbs().maxCoeff(),
                1e-9 * (1 + n.cwiseAbs().maxCoeff()));
    }
  }
}

}  // namespace
}  // namespace orvo::rigorous
