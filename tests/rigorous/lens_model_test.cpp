#include "rigorous/LensModel.h"

#include <gtest/gtest.h>

#include <cmath>
#include <limits>
#include <vector>

#include "geometry/camera/CameraModel.h"
#include "rigorous/RigorousBuilders.h"

namespace orvo::rigorous {
namespace {

using test::AnyLens;
using test::Random;

Lens Radial(double k1, double k2 = 0, double k3 = 0) {
  Lens lens;
  lens.f = 5;
  lens.k1 = k1;
  lens.k2 = k2;
  lens.k3 = k3;
  return lens;
}

TEST(LensModel, IsThatOfTheProjectWithoutFurtherTerms) {
  Random random(1);
  for (int i = 0; i < 1000; ++i) {
    const IopRecord iop = test::ClassicLens(AnyLens(random));
    const Vector2 m = {random.Within(-3, 3), random.Within(-3, 3)};
    const ImageCoordinates expected = CorrectMeasurement(iop, m[0], m[1]);
    EXPECT_LE(test::Distance(CorrectedBy(LensOf(iop), m), {expected.x, expected.y}), 1e-14);
  }
}

TEST(LensModel, IsThatOfAStrictCamera) {
  Random random(7);
  for (int i = 0; i < 1000; ++i) {
    const Lens lens = AnyLens(random);
    IopRecord iop = test::ClassicLens(lens);
    iop.Further = {lens.k3, lens.p1, lens.p2, lens.b1, lens.b2};
    iop.bStrict = true;
    const Vector2 m = {random.Within(-3, 3), random.Within(-3, 3)};
    const ImageCoordinates strict = CorrectMeasurement(iop, m[0], m[1]),
                           crossed = CorrectForIntersection(iop, m[0], m[1]);
    EXPECT_LE(test::Distance(CorrectedBy(LensOf(iop), m), {strict.x, strict.y}), 1e-14);
    EXPECT_EQ(strict.x, crossed.x);
    EXPECT_EQ(strict.y, crossed.y);
    iop.bStrict = false;
    const ImageCoordinates without = CorrectMeasurement(iop, m[0], m[1]);
    EXPECT_GT(std::hypot(strict.x - without.x, strict.y - without.y), 1e-9);
  }
}

TEST(LensModel, TermsAreAsWritten) {
  // At u = 1, v = 2: r2 = 5.
  const struct {
    LensParameter Parameter;
    double x, y;
  } table[] = {{LensParameter::F, 0, 0},    {LensParameter::X0, 0, 0},     {LensParameter::K1, 5, 10},
               {LensParameter::K2, 25, 50}, {LensParameter::K3, 125, 250}, {LensParameter::P1, 7, 4},
               {LensParameter::P2, 4, 13},  {LensParameter::B1, 1, 0},     {LensParameter::B2, 2, 0}};
  for (const auto& row : table) {
    Lens lens;
    ParameterOf(lens, row.Parameter) = 0.125;
    const Vector2 m = {1 + lens.x0, 2};
    const Vector2 q = CorrectedBy(lens, m);
    EXPECT_EQ(q[0], 1 - 0.125 * row.x) << static_cast<int>(row.Parameter);
    EXPECT_EQ(q[1], 2 - 0.125 * row.y) << static_cast<int>(row.Parameter);
  }
}

TEST(LensModel, DerivativesAgreeWithDifferences) {
  Random random(2);
  const double steps[kLensParameterNum] = {1e-3, 1e-3, 1e-3, 1e-4, 1e-5, 1e-6, 1e-4, 1e-4, 1e-4, 1e-4};
  for (int i = 0; i < 300; ++i) {
    const Lens lens = AnyLens(random);
    const Vector2 m = {random.Within(-3, 3), random.Within(-3, 3)};
    const CorrectionRows rows = LinearizeCorrection(lens, m);
    EXPECT_EQ(rows.Pinhole, CorrectedBy(lens, m));
    for (int k = 0; k < 2; ++k) {
      const auto shifted = [&](double h) {
        return CorrectedBy(lens, k == 0 ? Vector2{m[0] + h, m[1]} : Vector2{m[0], m[1] + h});
      };
      const Vector2 column = {rows.ByMeasured[0][k], rows.ByMeasured[1][k]};
      test::ExpectSameColumn(column, test::NumericDerivative(shifted, 1e-3));
    }
    for (int k = 0; k < kLensParameterNum; ++k) {
      SCOPED_TRACE(k);
      const auto shifted = [&](double h) {
        Lens other = lens;
        ParameterOf(other, static_cast<LensParameter>(k)) += h;
        return CorrectedBy(other, m);
      };
      const Vector2 column = {rows.ByParameter[0][k], rows.ByParameter[1][k]};
      test::ExpectSameColumn(column, test::NumericDerivative(shifted, steps[k]), 1e-14 / steps[k]);
    }
  }
}

TEST(LensModel, InverseComesBackToTheMeasurement) {
  Random random(3);
  for (int i = 0; i < 3000; ++i) {
    const Lens lens = AnyLens(random);
    const Vector2 m = {random.Within(-3, 3), random.Within(-3, 3)};
    const Vector2 q = CorrectedBy(lens, m);
    const LensInverse far = MeasuredOf(lens, q);
    const LensInverse near = MeasuredNear(lens, q, {m[0] + random.Within(-0.1, 0.1), m[1]});
    ASSERT_EQ(far.Status, InverseStatus::Found);
    ASSERT_EQ(near.Status, InverseStatus::Found);
    // A pixel is 1e-3 of the unit.
    EXPECT_LE(test::Distance(far.Measured, m), 1e-13);
    EXPECT_LE(test::Distance(near.Measured, m), 1e-13);
  }
}

TEST(LensModel, InverseOfNoDistortionIsExact) {
  EXPECT_EQ(MeasuredOf(Radial(0), {1.5, -2.25}).Measured, (Vector2{1.5, -2.25}));
  EXPECT_EQ(MeasuredOf(Radial(0.01), {0, 0}).Measured, (Vector2{0, 0}));
}

TEST(LensModel, InverseTellsWhereTheImageIsFolded) {
  // The corrected radius r - k1 r^3 - k2 r^5 has its largest value at the fold.
  const struct {
    const char* What;
    double k1, k2, Fold, Most;
  } table[] = {
      {"cushion", 0.02, 0, std::sqrt(1 / 0.06), std::sqrt(1 / 0.06) * 2 / 3},
      {"cushion that opens again behind its fold", 0.05, -0.0005, std::sqrt(30 - std::sqrt(500)),
       std::sqrt(30 - std::sqrt(500)) *
           (1 - 0.05 * (30 - std::sqrt(500)) + 0.0005 * std::pow(30 - std::sqrt(500), 2))},
      {"barrel whose corrected image passes its own fold", -0.05, 0.002, std::sqrt(20), std::sqrt(20) * 1.2}};
  for (const auto& row : table) {
    SCOPED_TRACE(row.What);
    const Lens lens = Radial(row.k1, row.k2);
    for (const double direction : {0.0, 0.7, 2.1, -1.3}) {
      const Vector2 d = {std::cos(direction), std::sin(direction)};
      for (const double share : {0.1, 0.5, 0.9, 0.99, 0.9999}) {
        const double radius = share * row.Most;
        const LensInverse inside = MeasuredOf(lens, {radius * d[0], radius * d[1]});
        ASSERT_EQ(inside.Status, InverseStatus::Found) << share;
        EXPECT_LE(test::Distance(CorrectedBy(lens, inside.Measured), {radius * d[0], radius * d[1]}), 1e-13);
        EXPECT_LT(std::hypot(inside.Measured[0], inside.Measured[1]), row.Fold);
      }
      for (const double share : {1.0001, 1.01, 1.5, 10.0}) {
        const double radius = share * row.Most;
        EXPECT_EQ(MeasuredOf(lens, {radius * d[0], radius * d[1]}).Status, InverseStatus::Folded) << share;
      }
    }
  }
}

TEST(LensModel, InverseNearAFoldedStartIsFolded) {
  EXPECT_EQ(MeasuredNear(Radial(0.02), {1, 0}, {4.2, 0}).Status, InverseStatus::Folded);
  EXPECT_EQ(MeasuredNear(Radial(0.02), {1, 0}, {8, 8}).Status, InverseStatus::Folded);
  EXPECT_EQ(MeasuredNear(Radial(0.02), {2.8, 0}, {2.8, 0}).Status, InverseStatus::Folded);
}

TEST(LensModel, InverseOfWhatIsNoNumberIsTold) {
  const double nan = std::numeric_limits<double>::quiet_NaN(), inf = std::numeric_limits<double>::infinity();
  EXPECT_EQ(MeasuredOf(Radial(0.01), {nan, 0}).Status, InverseStatus::NotFinite);
  EXPECT_EQ(MeasuredOf(Radial(0.01), {0, inf}).Status, InverseStatus::NotFinite);
  EXPECT_EQ(MeasuredOf(Radial(nan), {1, 1}).Status, InverseStatus::NotFinite);
  EXPECT_EQ(MeasuredNear(Radial(0.01), {1, 1}, {inf, 1}).Status, InverseStatus::NotFinite);
}

TEST(LensModel, LayoutHoldsItsParametersInOrder) {
  const struct {
    uint32_t Parameters;
    std::vector<LensParameter> Columns;
  } table[] = {{0, {}},
               {kLensFocal | kLensPrincipalPoint, {LensParameter::F, LensParameter::X0, LensParameter::Y0}},
               {kLensRadial | kLensThirdRadial, {LensParameter::K1, LensParameter::K2, LensParameter::K3}},
               {kLensTangential | kLensAffine,
                {LensParameter::P1, LensParameter::P2, LensParameter::B1, LensParameter::B2}},
               {0xFFFFFC01, {LensParameter::F}}};
  for (const auto& row : table) {
    const LensLayout layout = LayoutOf(row.Parameters);
    ASSERT_EQ(layout.Num, static_cast<int>(row.Columns.size()));
    for (int i = 0; i < layout.Num; ++i) EXPECT_EQ(layout.Columns[i], row.Columns[i]);
  }
  EXPECT_EQ(LayoutOf(kLensAll).Num, kLensParameterNum);
}

}  // namespace
}  // namespace orvo::rigorous
