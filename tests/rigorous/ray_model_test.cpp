#include "rigorous/RayModel.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include "geometry/camera/CameraModel.h"
#include "geometry/camera/ImagePointPartials.h"
#include "rigorous/RigorousBuilders.h"

namespace orvo::rigorous {
namespace {

using test::AnyRay;
using test::Random;
using test::Ray;

constexpr ResidualForm kForms[] = {ResidualForm::Measured, ResidualForm::Corrected};
constexpr double kPixel = 1e-3;

RayStatus Linearize(const Ray& ray, ResidualForm form, uint32_t parameters, RayRows& rows) {
  return LinearizeRay(ray.Pose, ray.Camera, ray.Point, ray.Measured, form, LayoutOf(parameters), rows);
}

Vector2 Residual(const Ray& ray, ResidualForm form) {
  Vector2 residual{};
  EXPECT_EQ(ResidualOfRay(ray.Pose, ray.Camera, ray.Point, ray.Measured, form, residual), RayStatus::Good);
  return residual;
}

/// The derivative of the residual by what `shift` does to the ray with a number.
template <class Shift>
Vector2 Numeric(const Ray& ray, ResidualForm form, double h, Shift shift) {
  return test::NumericDerivative(
      [&](double step) {
        Ray shifted = ray;
        shift(shifted, step);
        return Residual(shifted, form);
      },
      h);
}

/// By each parameter, in the order of Lens.
constexpr double kSteps[kLensParameterNum] = {1e-3, 1e-3, 1e-3, 2e-5, 2e-6, 1e-7, 3e-5, 3e-5, 1e-3, 1e-3};

Vector2 NumericByCamera(const Ray& ray, ResidualForm form, int parameter) {
  return Numeric(ray, form, kSteps[parameter], [&](Ray& r, double h) {
    ParameterOf(r.Camera, static_cast<LensParameter>(parameter)) += h;
  });
}

template <int N>
Vector2 Column(const double (&rows)[2][N], int k) {
  return {rows[0][k], rows[1][k]};
}

TEST(RayModel, DerivativesByImageAndPointAgreeWithDifferences) {
  Random random(1);
  for (int i = 0; i < 300; ++i) {
    const Ray ray = AnyRay(random, i % 3 == 0 ? 100 * kPixel : kPixel);
    const double h = 1e-3 * Norm(ray.Point - ray.Pose.Centre);
    for (const ResidualForm form : kForms) {
      SCOPED_TRACE(testing::Message() << "ray " << i << " form " << static_cast<int>(form));
      RayRows rows;
      ASSERT_EQ(Linearize(ray, form, 0, rows), RayStatus::Good);
      EXPECT_EQ(rows.Residual, Residual(ray, form));
      for (int k = 0; k < 3; ++k) {
        test::ExpectSameColumn(Column(rows.Image, k),
                               Numeric(ray, form, h, [k](Ray& r, double s) { r.Pose.Centre[k] += s; }));
        test::ExpectSameColumn(Column(rows.Image, 3 + k), Numeric(ray, form, 1e-3, [k](Ray& r, double s) {
                                 r.Pose.R = RotationUpdatedBy(r.Pose.R, s * test::Unit(k));
                               }));
        test::ExpectSameColumn(Column(rows.Point, k),
                               Numeric(ray, form, h, [k](Ray& r, double s) { r.Point[k] += s; }));
      }
    }
  }
}

TEST(RayModel, DerivativesByTheCameraAgreeWithDifferencesInEveryLayout) {
  Random random(2);
  for (int i = 0; i < 30; ++i) {
    const Ray ray = AnyRay(random, i % 3 == 0 ? 100 * kPixel : kPixel);
    for (const ResidualForm form : kForms) {
      Vector2 numeric[kLensParameterNum];
      for (int k = 0; k < kLensParameterNum; ++k) {
        numeric[k] = NumericByCamera(ray, form, k);
      }
      for (uint32_t parameters = 0; parameters <= kLensAll; ++parameters) {
        SCOPED_TRACE(testing::Message() << "ray " << i << " parameters " << parameters);
        const LensLayout layout = LayoutOf(parameters);
        RayRows rows;
        ASSERT_EQ(Linearize(ray, form, parameters, rows), RayStatus::Good);
        for (int k = 0; k < layout.Num; ++k) {
          const int parameter = static_cast<int>(layout.Columns[k]);
          test::ExpectSameColumn(Column(rows.Camera, k), numeric[parameter], 1e-14 / kSteps[parameter]);
        }
        for (int k = layout.Num; k < kLensParameterNum; ++k) EXPECT_EQ(Column(rows.Camera, k), Vector2{});
      }
    }
  }
}

TEST(RayModel, PinholeDerivativesAgreeWithDifferences) {
  Random random(3);
  for (int i = 0; i < 100; ++i) {
    const Ray ray = AnyRay(random, 0);
    PinholeRows rows;
    Vector2 pinhole;
    ASSERT_EQ(LinearizePinhole(ray.Pose, ray.Camera.f, ray.Point, rows), RayStatus::Good);
    ASSERT_EQ(PinholeOf(ray.Pose, ray.Camera.f, ray.Point, pinhole), RayStatus::Good);
    EXPECT_EQ(rows.Pinhole, pinhole);
    const auto byFocal = [&](double h) {
      Vector2 q{};
      EXPECT_EQ(PinholeOf(ray.Pose, ray.Camera.f + h, ray.Point, q), RayStatus::Good);
      return q;
    };
    test::ExpectSameColumn({rows.Focal[0], rows.Focal[1]}, test::NumericDerivative(byFocal, 1e-3));
  }
}

TEST(RayModel, CorrectedResidualIsThatOfTheProject) {
  Random random(4);
  for (int i = 0; i < 1000; ++i) {
    Ray ray = AnyRay(random, 5 * kPixel);
    const IopRecord iop = test::ClassicLens(ray.Camera);
    ray.Camera = LensOf(iop);
    double inCamera[3];
    const Vector3 dP = ray.Point - ray.Pose.Centre;
    ToCameraFrame(ray.Pose.R.data(), dP.data(), inCamera);
    const ImageCoordinates expected =
        ComputeImageResidual(iop.fFocal, inCamera, CorrectMeasurement(iop, ray.Measured[0], ray.Measured[1]));
    EXPECT_LE(test::Distance(Residual(ray, ResidualForm::Corrected), {expected.x, expected.y}), 1e-12);
  }
}

TEST(RayModel, RowsAreMinusThoseOfTheProjectWhereTheResidualVanishes) {
  // There the partials of the project, which are formed of the corrected measurement, are complete but for
  // x0, y0.
  Random random(5);
  for (int i = 0; i < 300; ++i) {
    Ray ray = AnyRay(random, 0);
    const Vector3 angles = {random.Within(-3, 3), random.Within(-1.4, 1.4), random.Within(-3, 3)};
    const Matrix3 R = RotationOfAngles(angles);
    ray.Point = ray.Pose.Centre + Multiply(R, MultiplyTransposed(ray.Pose.R, ray.Point - ray.Pose.Centre));
    ray.Pose.R = R;
    const IopRecord iop = test::ClassicLens(ray.Camera);
    ray.Camera = LensOf(iop);
    ASSERT_EQ(PredictMeasured(ray.Pose, ray.Camera, ray.Point, ray.Measured), RayStatus::Good);
    const Vector3& S = ray.Pose.Centre;
    PartialRows<double> expected;
    LinearizeImagePoint<double>(ray.Measured[0], ray.Measured[1], ray.Point[0], ray.Point[1], ray.Point[2],
                                MakeImageTerms({0, 0, S[0], S[1], S[2], angles[0], angles[1], angles[2]}),
                                MakeCameraTerms(iop), expected);
    RayRows rows;
    ASSERT_EQ(Linearize(ray, ResidualForm::Corrected, kLensFocal | kLensRadial, rows), RayStatus::Good);
    const Matrix3 T = VectorByAngles(angles);
    for (int row = 0; row < 2; ++row) {
      const Vector3 byVector = {rows.Image[row][3], rows.Image[row][4], rows.Image[row][5]};
      const Vector3 byAngles = MultiplyTransposed(T, byVector);
      for (int k = 0; k < 3; ++k) {
        EXPECT_NEAR(rows.Image[row][k], -expected.B[row][k], 1e-12);
        EXPECT_NEAR(byAngles[k], -expected.B[row][3 + k], 1e-12);
        EXPECT_NEAR(rows.Point[row][k], expected.B[row][k], 1e-12);
      }
      EXPECT_NEAR(rows.Residual[row], expected.L[row], 1e-12);
      EXPECT_NEAR(rows.Camera[row][0], -expected.A[row][0], 1e-12);
      EXPECT_NEAR(rows.Camera[row][1], -expected.A[row][3], 1e-11);
      EXPECT_NEAR(rows.Camera[row][2], -expected.A[row][4], 1e-10);
    }
  }
}

TEST(RayModel, BothFormsAreEqualWithoutDistortion) {
  Random random(6);
  for (int i = 0; i < 300; ++i) {
    Ray ray = AnyRay(random, 10 * kPixel);
    ray.Camera = {ray.Camera.f};
    RayRows measured, corrected;
    ASSERT_EQ(Linearize(ray, ResidualForm::Measured, kLensFocal, measured), RayStatus::Good);
    ASSERT_EQ(Linearize(ray, ResidualForm::Corrected, kLensFocal, corrected), RayStatus::Good);
    EXPECT_LE(test::Distance(measured.Residual, corrected.Residual), 4e-15);
    for (int row = 0; row < 2; ++row) {
      for (int k = 0; k < 6; ++k) EXPECT_EQ(measured.Image[row][k], corrected.Image[row][k]);
      for (int k = 0; k < 3; ++k) EXPECT_EQ(measured.Point[row][k], corrected.Point[row][k]);
      EXPECT_EQ(measured.Camera[row][0], corrected.Camera[row][0]);
    }
  }
}

TEST(RayModel, BothFormsAgreeToFirstOrder) {
  Random random(7);
  for (int i = 0; i < 300; ++i) {
    const Ray exact = AnyRay(random, 0);
    const Vector2 error = {random.Within(-1, 1), random.Within(-1, 1)};
    for (const double share : {1e-1, 1e-2, 1e-3}) {
      Ray ray = exact;
      for (int k = 0; k < 2; ++k) ray.Measured[k] += share * error[k];
      const Vector2 v = Residual(ray, ResidualForm::Measured), w = Residual(ray, ResidualForm::Corrected);
      EXPECT_LE(test::Distance(v, {share * error[0], share * error[1]}), 1e-13);
      const CorrectionRows rows = LinearizeCorrection(ray.Camera, ray.Measured);
      const auto& J = rows.ByMeasured;
      const Vector2 stretched = {J[0][0] * v[0] + J[0][1] * v[1], J[1][0] * v[0] + J[1][1] * v[1]};
      // What is left is of second order: a tenth of the error leaves a hundredth.
      EXPECT_LE(test::Distance(w, stretched), 0.4 * share * share);
    }
  }
}

TEST(RayModel, PredictionHasNoResidual) {
  Random random(8);
  for (int i = 0; i < 1000; ++i) {
    const Ray ray = AnyRay(random, 0);
    for (const ResidualForm form : kForms) EXPECT_LE(test::Distance(Residual(ray, form), {0, 0}), 1e-13);
  }
}

TEST(RayModel, TellsWhatItCantCompute) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  Lens plain, folded;
  plain.f = folded.f = 5;
  folded.k1 = 0.02;
  const Vector3 S = {100, 200, 300}, below = {110, 190, 250};
  const struct {
    const char* What;
    Vector3 Centre, Point;
    Lens Camera;
    Vector2 Measured;
    RayStatus Expected;
  } table[] = {{"in front", S, below, plain, {1, -1}, RayStatus::Good},
               {"behind", S, {110, 190, 350}, plain, {1, -1}, RayStatus::Behind},
               {"beside", S, {110, 190, 300}, plain, {1, -1}, RayStatus::Behind},
               {"almost beside", S, {1e15, 190, 299}, plain, {1, -1}, RayStatus::Behind},
               {"at the centre", S, S, plain, {1, -1}, RayStatus::Behind},
               {"no number", S, {nan, 190, 250}, plain, {1, -1}, RayStatus::NotFinite},
               {"infinite", S, {110, inf, 250}, plain, {1, -1}, RayStatus::NotFinite},
               {"infinitely deep", S, {110, 190, -inf}, plain, {1, -1}, RayStatus::NotFinite},
               {"centre no number", {100, nan, 300}, below, plain, {1, -1}, RayStatus::NotFinite},
               {"no focal length", S, below, {nan}, {1, -1}, RayStatus::NotFinite},
               {"measurement no number", S, below, plain, {nan, -1}, RayStatus::NotFinite},
               {"folded", S, {150, 200, 250}, folded, {3, 0}, RayStatus::Folded}};
  for (const auto& row : table) {
    SCOPED_TRACE(row.What);
    const ImagePose pose = {row.Centre, kIdentity3};
    RayRows rows;
    rows.Residual = {7, 7};
    Vector2 residual = {7, 7};
    const auto form = ResidualForm::Measured;
    EXPECT_EQ(LinearizeRay(pose, row.Camera, row.Point, row.Measured, form, LayoutOf(kLensAll), rows),
              row.Expected);
    EXPECT_EQ(ResidualOfRay(pose, row.Camera, row.Point, row.Measured, form, residual), row.Expected);
    EXPECT_EQ(rows.Residual == Vector2({7, 7}), row.Expected != RayStatus::Good);
    EXPECT_EQ(residual == Vector2({7, 7}), row.Expected != RayStatus::Good);
    const RayStatus corrected = row.Expected == RayStatus::Folded ? RayStatus::Good : row.Expected;
    EXPECT_EQ(ResidualOfRay(pose, row.Camera, row.Point, row.Measured, ResidualForm::Corrected, residual),
              corrected);
  }
}

}  // namespace
}  // namespace orvo::rigorous
