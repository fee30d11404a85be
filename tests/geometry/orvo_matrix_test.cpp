#include "geometry/OrvoMatrix.h"

#include <gtest/gtest.h>

#include <cmath>
#include <initializer_list>
#include <new>
#include <random>
#include <type_traits>
#include <vector>

namespace orvo {
namespace {

COrvoMatrix Make(int32_t rows, int32_t cols, std::initializer_list<double> elements) {
  COrvoMatrix matrix;
  matrix.Resize(rows, cols);
  std::copy(elements.begin(), elements.end(), matrix.data);
  return matrix;
}

std::vector<double> Elements(const COrvoMatrix& matrix) {
  return {matrix.data, matrix.data + matrix.rows * matrix.cols};
}

using Values = std::vector<double>;

void ExpectShape(const COrvoMatrix& matrix, int32_t rows, int32_t cols) {
  EXPECT_EQ(matrix.rows, rows);
  EXPECT_EQ(matrix.cols, cols);
}

void ExpectEmptyResult(const COrvoMatrix& matrix) {
  ExpectShape(matrix, 0, 0);
  EXPECT_NE(matrix.data, nullptr);
}

void ExpectDefaultConstructed(const COrvoMatrix& matrix) {
  ExpectShape(matrix, 0, 0);
  EXPECT_EQ(matrix.data, nullptr);
}

static_assert(std::has_virtual_destructor_v<COrvoMatrix>);
static_assert(!std::is_reference_v<decltype(std::declval<COrvoMatrix&>() = std::declval<COrvoMatrix>())>);

TEST(OrvoMatrix, StartsWithoutElements) { ExpectDefaultConstructed(COrvoMatrix()); }

TEST(OrvoMatrix, CopiesDeeply) {
  COrvoMatrix source = Make(1, 2, {3, 4});
  const COrvoMatrix copy(source);
  source.data[0] = 99;
  ExpectShape(copy, 1, 2);
  EXPECT_EQ(Elements(copy), (Values{3, 4}));
}

TEST(OrvoMatrix, AssignmentTakesTheShapeAndHandsBackAFurtherCopy) {
  COrvoMatrix destination = Make(3, 1, {1, 2, 3});
  COrvoMatrix further = destination = Make(1, 2, {3, 4});
  further.data[0] = 99;
  ExpectShape(destination, 1, 2);
  EXPECT_EQ(Elements(destination), (Values{3, 4}));
  EXPECT_EQ(Elements(further), (Values{99, 4}));
}

TEST(OrvoMatrix, AssignmentFromItselfKeepsTheElements) {
  COrvoMatrix matrix = Make(1, 2, {3, 4});
  const COrvoMatrix& itself = matrix;
  matrix = itself;
  EXPECT_EQ(Elements(matrix), (Values{3, 4}));
}

TEST(OrvoMatrix, AssignmentFromTheElementlessStatesKeepsThemApart) {
  COrvoMatrix matrix = Make(1, 2, {3, 4});
  matrix = COrvoMatrix();
  ExpectDefaultConstructed(matrix);
  matrix = COrvoMatrix::Multiply(Make(1, 2, {1, 2}), Make(1, 2, {1, 2}));
  ExpectEmptyResult(matrix);
}

TEST(OrvoMatrix, ResizeZeroesAndTestsColumnsOnly) {
  COrvoMatrix matrix = Make(1, 2, {3, 4});
  EXPECT_EQ(matrix.Resize(2, 0), -1);
  EXPECT_EQ(matrix.Resize(2, -1), -1);
  EXPECT_EQ(Elements(matrix), (Values{3, 4}));
  EXPECT_EQ(matrix.Resize(2, 2), 1);
  EXPECT_EQ(Elements(matrix), (Values{0, 0, 0, 0}));
  EXPECT_EQ(matrix.Resize(0, 3), 1);
  ExpectShape(matrix, 0, 3);
  EXPECT_NE(matrix.data, nullptr);
}

TEST(OrvoMatrix, ResizeToACountThatDoesNotFitFailsAsTheAllocatorDoes) {
  COrvoMatrix matrix = Make(1, 1, {3});
  EXPECT_THROW(matrix.Resize(-1, 3), std::bad_alloc);
  EXPECT_THROW(matrix.Resize(65537, 65537), std::bad_alloc);
  ExpectDefaultConstructed(matrix);
}

TEST(OrvoMatrix, SetIdentityFillsTheLeadingDiagonal) {
  COrvoMatrix matrix;
  EXPECT_EQ(matrix.SetIdentity(2, 0), -1);
  EXPECT_EQ(matrix.SetIdentity(2, 3), 1);
  EXPECT_EQ(Elements(matrix), (Values{1, 0, 0, 0, 1, 0}));
  EXPECT_EQ(matrix.SetIdentity(3, 2), 1);
  EXPECT_EQ(Elements(matrix), (Values{1, 0, 0, 1, 0, 0}));
}

TEST(OrvoMatrix, Transposes) {
  COrvoMatrix matrix = Make(2, 3, {1, 2, 3, 4, 5, 6});
  const COrvoMatrix transposed = matrix.Transposed();
  ExpectShape(transposed, 3, 2);
  EXPECT_EQ(Elements(transposed), (Values{1, 4, 2, 5, 3, 6}));
  EXPECT_EQ(Elements(matrix), (Values{1, 2, 3, 4, 5, 6}));
  EXPECT_EQ(matrix.TransposeInPlace(), 1);
  EXPECT_EQ(Elements(matrix), Elements(transposed));
  EXPECT_EQ(COrvoMatrix().TransposeInPlace(), 0);
  ExpectDefaultConstructed(COrvoMatrix().Transposed());
}

TEST(OrvoMatrix, Multiplies) {
  const COrvoMatrix left = Make(2, 3, {1, 2, 3, 4, 5, 6}), right = Make(3, 1, {1, 0, -1});
  const COrvoMatrix product = COrvoMatrix::Multiply(left, right);
  ExpectShape(product, 2, 1);
  EXPECT_EQ(Elements(product), (Values{-2, -2}));
}

TEST(OrvoMatrix, MultiplySumsInRisingOrder) {
  // 1e16 swallows the 1 only when it comes first.
  const COrvoMatrix right = Make(3, 1, {1, 1, 1});
  EXPECT_EQ(COrvoMatrix::Multiply(Make(1, 3, {1e16, 1, -1e16}), right).data[0], 0.0);
  EXPECT_EQ(COrvoMatrix::Multiply(Make(1, 3, {1e16, -1e16, 1}), right).data[0], 1.0);
}

TEST(OrvoMatrix, ScalesAddsAndSubtracts) {
  const COrvoMatrix a = Make(1, 2, {1, -2}), b = Make(1, 2, {10, 20});
  EXPECT_EQ(Elements(COrvoMatrix::Scaled(a, 3.0)), (Values{3, -6}));
  EXPECT_EQ(Elements(COrvoMatrix::Add(a, b)), (Values{11, 18}));
  EXPECT_EQ(Elements(COrvoMatrix::Subtract(a, b)), (Values{-9, -22}));
}

TEST(OrvoMatrix, MismatchGivesAnEmptyResultThatPassesThroughProducts) {
  const COrvoMatrix wide = Make(3, 2, {1, 2, 3, 4, 5, 6}), column = Make(3, 1, {1, 2, 3});
  const COrvoMatrix empty = COrvoMatrix::Multiply(wide, column);
  ExpectEmptyResult(empty);
  ExpectEmptyResult(COrvoMatrix::Multiply(empty, column));
  ExpectEmptyResult(COrvoMatrix::Multiply(wide, empty));
  ExpectEmptyResult(COrvoMatrix::Multiply(COrvoMatrix(), column));
  ExpectEmptyResult(COrvoMatrix::Add(wide, column));
  ExpectEmptyResult(COrvoMatrix::Add(Make(2, 3, {}), wide));
  ExpectEmptyResult(COrvoMatrix::Subtract(wide, column));
  ExpectEmptyResult(COrvoMatrix::Subtract(wide, COrvoMatrix()));
  ExpectEmptyResult(COrvoMatrix::Scaled(COrvoMatrix(), 2.0));
  ExpectEmptyResult(COrvoMatrix::Add(COrvoMatrix(), COrvoMatrix()));
}

TEST(OrvoMatrix, Inverts) {
  const COrvoMatrix inverse = COrvoMatrix::Inverse(Make(2, 2, {4, 7, 2, 6}));
  const Values expected = {0.6, -0.7, -0.2, 0.4};
  for (size_t i = 0; i < 4; ++i) EXPECT_NEAR(inverse.data[i], expected[i], 1e-15);
}

TEST(OrvoMatrix, InverseRefusesBelowTheAbsoluteTolerance) {
  ExpectDefaultConstructed(COrvoMatrix::Inverse(Make(2, 2, {1, 2, 2, 4})));
  ExpectDefaultConstructed(COrvoMatrix::Inverse(Make(2, 2, {1e-28, 1e-28, 1e-28, 1e-28})));
  ExpectDefaultConstructed(COrvoMatrix::Inverse(COrvoMatrix()));
  ExpectDefaultConstructed(COrvoMatrix::Inverse(Make(2, 2, {NAN, NAN, NAN, NAN})));
  const COrvoMatrix inverse = COrvoMatrix::Inverse(Make(2, 2, {1e-26, 0, 0, 1e-26}));
  EXPECT_DOUBLE_EQ(inverse.data[0], 1e26);
  EXPECT_DOUBLE_EQ(inverse.data[3], 1e26);
  EXPECT_EQ(inverse.data[1], 0);
  EXPECT_EQ(inverse.data[2], 0);
}

TEST(OrvoMatrix, InverseTakesTheRowCountAsOrderOverTheRawStorage) {
  // Stored elements 2, 0, 0, 4 form the leading square, whatever the width of the matrix.
  const COrvoMatrix inverse = COrvoMatrix::Inverse(Make(2, 3, {2, 0, 0, 4, 8, 9}));
  EXPECT_EQ(Elements(inverse), (Values{0.5, 0, 0, 0.25, 8, 9}));
  ExpectDefaultConstructed(COrvoMatrix::Inverse(Make(3, 2, {2, 0, 0, 4, 8, 9})));
}

TEST(InvertGaussJordan, UndoesItsExchanges) {
  double a[] = {0, 1, 1, 0};
  EXPECT_EQ(InvertGaussJordan(a, 2), 1);
  EXPECT_EQ(Values(a, a + 4), (Values{0, 1, 1, 0}));
  // A cycle of three: its inverse is its transpose.
  double cycle[] = {0, 2, 0, 0, 0, 4, 8, 0, 0};
  EXPECT_EQ(InvertGaussJordan(cycle, 3), 1);
  EXPECT_EQ(Values(cycle, cycle + 9), (Values{0, 0, 0.125, 0.5, 0, 0, 0, 0.25, 0}));
}

TEST(InvertGaussJordan, RefusesBadArguments) {
  double a[] = {2};
  EXPECT_EQ(InvertGaussJordan(nullptr, 1), -1);
  EXPECT_EQ(InvertGaussJordan(a, 0), -1);
  EXPECT_EQ(InvertGaussJordan(a, -3), -1);
  EXPECT_EQ(a[0], 2);
}

TEST(InvertGaussJordan, TakesATolerance) {
  double a[] = {1e-25};
  EXPECT_EQ(InvertGaussJordan(a, 1, 1e-24), -1);
  EXPECT_EQ(InvertGaussJordan(a, 1), 1);
  EXPECT_DOUBLE_EQ(a[0], 1e25);
  double atTolerance[] = {1e-27};
  EXPECT_EQ(InvertGaussJordan(atTolerance, 1), 1);
}

TEST(InvertGaussJordan, SkipsRowsWithANegligibleMultiplier) {
  // Deliberate short cut: 9e-28 is not eliminated, so the last pivot is 2e-27 and not 1.1e-27.
  double a[] = {1, 1, 9e-28, 2e-27};
  EXPECT_EQ(InvertGaussJordan(a, 2), 1);
  EXPECT_DOUBLE_EQ(a[3], 1 / 2e-27);
  double eliminated[] = {1, 1, 9e-28, 2e-27};
  EXPECT_EQ(InvertGaussJordan(eliminated, 2, 8e-28), 1);
  EXPECT_DOUBLE_EQ(eliminated[3], 1 / 1.1e-27);
}

TEST(InvertGaussJordan, TimesTheMatrixIsTheIdentity) {
  std::mt19937 random(7);
  std::uniform_real_distribution<double> element(-1, 1);
  for (const int32_t n : {1, 2, 3, 5, 6, 7, 11, 40}) {
    COrvoMatrix matrix;
    matrix.Resize(n, n);
    for (int32_t i = 0; i < n * n; ++i) matrix.data[i] = element(random);
    const COrvoMatrix product = COrvoMatrix::Multiply(COrvoMatrix::Inverse(matrix), matrix);
    COrvoMatrix identity;
    identity.SetIdentity(n, n);
    const COrvoMatrix difference = COrvoMatrix::Subtract(product, identity);
    EXPECT_LT(std::fabs(MaxMagnitude(difference.data, n, n)), 1e-11) << "order " << n;
  }
}

TEST(VectorNorm, IsEuclidean) {
  const double vector[] = {3, -4};
  double norm = -7;
  EXPECT_EQ(VectorNorm(nullptr, 2, &norm), -1);
  EXPECT_EQ(norm, -7);
  EXPECT_EQ(VectorNorm(vector, 2, &norm), 1);
  EXPECT_EQ(norm, 5);
  EXPECT_EQ(VectorNorm(vector, 0, &norm), 1);
  EXPECT_EQ(norm, 0);
}

TEST(MaxMagnitude, KeepsTheSignAndTheFirstOfEquals) {
  const double a[] = {1, -3, 3}, b[] = {-3, 3, 1};
  EXPECT_EQ(MaxMagnitude(a, 3, 1), -3);
  EXPECT_EQ(MaxMagnitude(b, 1, 3), -3);
  EXPECT_EQ(MaxMagnitude(a, 0, 3), 0.0);
  EXPECT_EQ(MaxMagnitude(nullptr, 0, 0), 0.0);
}

}  // namespace
}  // namespace orvo
