#include "rigorous/RotationVector.h"

#include <gtest/gtest.h>

#include <cmath>
#include <vector>

#include "geometry/camera/Rotation.h"
#include "rigorous/RigorousBuilders.h"

namespace orvo::rigorous {
namespace {

using test::kPi;
using test::Random;

/// Lengths of vectors from the smallest to just below half a turn.
const std::vector<double> kLengths = {1e-300, 1e-200,     1e-160,     1e-100,     1e-20,      1e-12, 1e-8,
                                      1e-5,   1e-3,       0.05,       0.0999,     0.1001,     1,     2,
                                      3,      kPi - 1e-3, kPi - 1e-6, kPi - 1e-9, kPi - 1e-12};

TEST(RotationVector, ComesBackFromItsMatrixNearZeroAndNearHalfATurn) {
  Random random(1);
  for (const double length : kLengths) {
    for (int i = 0; i < 50; ++i) {
      const Vector3 w = length * random.Direction();
      SCOPED_TRACE(testing::Message() << "length " << length);
      EXPECT_LE(test::Distance(VectorOfRotation(RotationOfVector(w)), w), 4e-15 * length + 1e-310);
    }
  }
}

TEST(RotationVector, OfHalfATurnIsOneOfTwo) {
  const double root = std::sqrt(0.5);
  for (const Vector3& axis :
       std::vector<Vector3>{{1, 0, 0}, {0, 1, 0}, {0, 0, 1}, {root, -root, 0}, {0.6, 0, 0.8}}) {
    const Vector3 w = VectorOfRotation(RotationOfVector(kPi * axis));
    EXPECT_NEAR(Norm(w), kPi, 1e-15);
    EXPECT_LE(std::min(test::Distance(w, kPi * axis), test::Distance(w, -kPi * axis)), 2e-15);
  }
}

TEST(RotationVector, OfZeroIsTheIdentityAndBack) {
  EXPECT_EQ(RotationOfVector({0, 0, 0}), kIdentity3);
  EXPECT_EQ(VectorOfRotation(kIdentity3), (Vector3{0, 0, 0}));
  EXPECT_EQ(RightJacobian({0, 0, 0}), kIdentity3);
  EXPECT_EQ(InverseRightJacobian({0, 0, 0}), kIdentity3);
}

TEST(RotationVector, TurnsAboutItsAxisByItsLength) {
  const double s = std::sin(0.3), c = std::cos(0.3);
  EXPECT_LE(test::Distance(RotationOfVector({0, 0, 0.3}), {c, -s, 0, s, c, 0, 0, 0, 1}), 1e-16);
  EXPECT_LE(test::Distance(RotationOfVector({0.3, 0, 0}), {1, 0, 0, 0, c, -s, 0, s, c}), 1e-16);
  EXPECT_LE(test::Distance(RotationOfVector({0, 0.3, 0}), {c, 0, s, 0, 1, 0, -s, 0, c}), 1e-16);
}

TEST(RotationVector, ComposesAsTheMatricesDo) {
  Random random(2);
  for (int i = 0; i < 1000; ++i) {
    const Vector3 a = random.Vector(kPi), b = random.Vector(kPi);
    const Matrix3 product = Multiply(RotationOfVector(a), RotationOfVector(b));
    EXPECT_LE(test::Distance(RotationOfVector(ComposedVector(a, b)), product), 4e-15);
    EXPECT_LE(Norm(ComposedVector(a, b)), kPi + 1e-15);
  }
  const Vector3 tiny = {1e-30, -2e-30, 3e-31};
  EXPECT_LE(test::Distance(ComposedVector(tiny, tiny), 2 * tiny), 1e-45);
  EXPECT_LE(test::Distance(ComposedVector(tiny, -1 * tiny), {0, 0, 0}), 1e-45);
}

TEST(RotationVector, UpdatesStayOrthonormal) {
  Random random(3);
  Matrix3 R = random.Rotation();
  const Vector3 w = {0.02, -0.5, 0.1};
  EXPECT_LE(test::Distance(RotationUpdatedBy(R, w), Multiply(R, RotationOfVector(w))), 1e-15);
  for (int i = 0; i < 100000; ++i) R = RotationUpdatedBy(R, random.Vector(0.1));
  EXPECT_LE(test::Distance(Multiply(Transposed(R), R), kIdentity3), 1e-15);
}

TEST(RotationVector, JacobiansAgreeWithDifferencesAndAreInverse) {
  Random random(4);
  for (const double length : {1e-9, 1e-3, 0.09, 0.0999999, 0.1000001, 0.7, 2.0, 3.1, 3.14159, 5.0}) {
    SCOPED_TRACE(testing::Message() << "length " << length);
    const Vector3 w = length * random.Direction();
    const Matrix3 J = RightJacobian(w), back = Transposed(RotationOfVector(w));
    for (int k = 0; k < 3; ++k) {
      const auto turn = [&](double h) {
        return VectorOfRotation(Multiply(back, RotationOfVector(w + h * test::Unit(k))));
      };
      test::ExpectSameColumn(test::ColumnOf(J, k), test::NumericDerivative(turn, 1e-3));
    }
    EXPECT_LE(test::Distance(Multiply(J, InverseRightJacobian(w)), kIdentity3), 1e-13);
  }
}

TEST(RotationVector, JacobiansAreContinuousWhereTheirFormChanges) {
  const Vector3 axis = {0.6, -0.64, 0.48};
  const double below = std::nextafter(0.1, 0), above = std::nextafter(0.1, 1);
  EXPECT_LE(test::Distance(RightJacobian(below * axis), RightJacobian(above * axis)), 1e-15);
  EXPECT_LE(test::Distance(InverseRightJacobian(below * axis), InverseRightJacobian(above * axis)), 1e-15);
}

TEST(RotationVector, OfAnglesIsTheRotationOfTheProject) {
  Random random(5);
  for (int i = 0; i < 1000; ++i) {
    const Vector3 angles = {random.Within(-kPi, kPi), random.Within(-1.5, 1.5), random.Within(-kPi, kPi)};
    Matrix3 R;
    ComputeRotationMatrix(angles[0], angles[1], angles[2], R.data());
    EXPECT_EQ(RotationOfAngles(angles), R);
    const Matrix3 back = RotationOfVector(VectorOfRotation(R));
    EXPECT_LE(test::Distance(back, R), 4e-15);
    EXPECT_LE(test::Distance(AnglesOfRotation(back), angles), 1e-13);
  }
}

TEST(RotationVector, ByAnglesAgreesWithDifferences) {
  Random random(6);
  for (int i = 0; i < 200; ++i) {
    const Vector3 angles = {random.Within(-kPi, kPi), random.Within(-kPi, kPi), random.Within(-kPi, kPi)};
    const Matrix3 back = Transposed(RotationOfAngles(angles)), T = VectorByAngles(angles);
    for (int k = 0; k < 3; ++k) {
      const auto turn = [&](double h) {
        return VectorOfRotation(Multiply(back, RotationOfAngles(angles + h * test::Unit(k))));
      };
      test::ExpectSameColumn(test::ColumnOf(T, k), test::NumericDerivative(turn, 1e-3));
    }
  }
}

}  // namespace
}  // namespace orvo::rigorous
