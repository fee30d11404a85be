#include "geometry/OrvoMatrix.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <functional>
#include <limits>
#include <new>
#include <vector>

namespace orvo {
namespace {

size_t ElementCount(const COrvoMatrix& matrix) {
  return static_cast<size_t>(matrix.rows) * static_cast<size_t>(matrix.cols);
}

struct Pivot {
  size_t row, col;
};

/// The largest element of the square from (k, k) on, the first among equals.
double FindPivot(const double* a, size_t n, size_t k, Pivot& pivot) {
  double largest = 0.0;
  pivot = {k, k};
  for (size_t i = k; i < n; ++i) {
    for (size_t j = k; j < n; ++j) {
      const double magnitude = std::fabs(a[i * n + j]);
      if (magnitude > largest) {
        largest = magnitude;
        pivot = {i, j};
      }
    }
  }
  return largest;
}

void SwapRows(double* a, size_t n, size_t i, size_t k) {
  if (i != k) std::swap_ranges(a + i * n, a + (i + 1) * n, a + k * n);
}

void SwapColumns(double* a, size_t n, size_t j, size_t k) {
  if (j == k) return;
  for (size_t i = 0; i < n; ++i) std::swap(a[i * n + j], a[i * n + k]);
}

void Eliminate(double* a, size_t n, size_t k, double tolerance) {
  double* pivotRow = a + k * n;
  const double p = pivotRow[k] = 1.0 / pivotRow[k];
  for (size_t j = 0; j < n; ++j) {
    if (j != k) pivotRow[j] *= p;
  }
  for (size_t i = 0; i < n; ++i) {
    if (i == k) continue;
    double* row = a + i * n;
    const double m = row[k];
    if (tolerance > std::fabs(m)) continue;
    for (size_t j = 0; j < k; ++j) row[j] -= m * pivotRow[j];
    for (size_t j = k + 1; j < n; ++j) row[j] -= m * pivotRow[j];
  }
  for (size_t i = 0; i < n; ++i) {
    if (i != k) a[i * n + k] *= -p;
  }
}

}  // namespace

COrvoMatrix::COrvoMatrix(const COrvoMatrix& source) { CopyFrom(source); }

COrvoMatrix::~COrvoMatrix() { delete[] data; }

COrvoMatrix COrvoMatrix::operator=(const COrvoMatrix& source) {
  if (this != &source) CopyFrom(source);
  return *this;
}

void COrvoMatrix::Allocate(int32_t newRows, int32_t newCols) {
  delete[] data;
  data = nullptr;
  rows = cols = 0;
  const int64_t count = static_cast<int64_t>(newRows) * newCols;
  if (count < 0 || count > std::numeric_limits<int32_t>::max()) throw std::bad_array_new_length();
  data = new double[static_cast<size_t>(count)]();
  rows = newRows;
  cols = newCols;
}

void COrvoMatrix::CopyFrom(const COrvoMatrix& source) {
  if (source.data == nullptr) {
    delete[] data;
    data = nullptr;
    rows = source.rows;
    cols = source.cols;
    return;
  }
  Allocate(source.rows, source.cols);
  std::copy_n(source.data, ElementCount(source), data);
}

int COrvoMatrix::Resize(int32_t newRows, int32_t newCols) {
  if (newCols < 1) return -1;
  Allocate(newRows, newCols);
  return 1;
}

int COrvoMatrix::SetIdentity(int32_t newRows, int32_t newCols) {
  if (Resize(newRows, newCols) != 1) return -1;
  for (int32_t i = 0; i < std::min(rows, cols); ++i) {
    data[static_cast<size_t>(i) * static_cast<size_t>(cols) + static_cast<size_t>(i)] = 1.0;
  }
  return 1;
}

int COrvoMatrix::TransposeInPlace() {
  if (data == nullptr) return 0;
  const std::vector<double> copy(data, data + ElementCount(*this));
  const auto oldRows = static_cast<size_t>(rows), oldCols = static_cast<size_t>(cols);
  for (size_t i = 0; i < oldRows; ++i) {
    for (size_t j = 0; j < oldCols; ++j) data[j * oldRows + i] = copy[i * oldCols + j];
  }
  std::swap(rows, cols);
  return 1;
}

COrvoMatrix COrvoMatrix::Transposed() const {
  COrvoMatrix result(*this);
  result.TransposeInPlace();
  return result;
}

COrvoMatrix COrvoMatrix::Multiply(const COrvoMatrix& left, const COrvoMatrix& right) {
  COrvoMatrix result;
  if (left.cols != right.rows) {
    result.Allocate(0, 0);
    return result;
  }
  result.Allocate(left.rows, right.cols);
  const auto m = static_cast<size_t>(left.rows), inner = static_cast<size_t>(left.cols),
             n = static_cast<size_t>(right.cols);
  for (size_t i = 0; i < m; ++i) {
    for (size_t j = 0; j < n; ++j) {
      double sum = 0.0;
      for (size_t k = 0; k < inner; ++k) sum += left.data[i * inner + k] * right.data[k * n + j];
      result.data[i * n + j] = sum;
    }
  }
  return result;
}

COrvoMatrix COrvoMatrix::Scaled(const COrvoMatrix& matrix, const double& scalar) {
  COrvoMatrix result;
  if (matrix.data == nullptr) {
    result.Allocate(0, 0);
    return result;
  }
  result.Allocate(matrix.rows, matrix.cols);
  const double factor = scalar;
  std::transform(matrix.data, matrix.data + ElementCount(matrix), result.data,
                 [factor](double value) { return value * factor; });
  return result;
}

template <typename Operation>
COrvoMatrix COrvoMatrix::Combine(const COrvoMatrix& left, const COrvoMatrix& right, Operation operation) {
  COrvoMatrix result;
  const bool fits = left.rows == right.rows && left.cols == right.cols;
  result.Allocate(fits ? left.rows : 0, fits ? left.cols : 0);
  std::transform(left.data, left.data + ElementCount(result), right.data, result.data, operation);
  return result;
}

COrvoMatrix COrvoMatrix::Add(const COrvoMatrix& left, const COrvoMatrix& right) {
  return Combine(left, right, std::plus<>());
}

COrvoMatrix COrvoMatrix::Subtract(const COrvoMatrix& left, const COrvoMatrix& right) {
  return Combine(left, right, std::minus<>());
}

COrvoMatrix COrvoMatrix::Inverse(const COrvoMatrix& matrix) {
  COrvoMatrix result;
  if (matrix.rows > matrix.cols) return result;
  result.CopyFrom(matrix);
  if (InvertGaussJordan(result.data, result.rows) == 1) return result;
  return COrvoMatrix();
}

int InvertGaussJordan(double* a, int32_t order, double tolerance) {
  if (a == nullptr || order < 1) return -1;
  const auto n = static_cast<size_t>(order);
  std::array<Pivot, 16> few;
  std::vector<Pivot> many(n > few.size() ? n : 0);
  Pivot* const pivots = many.empty() ? few.data() : many.data();
  for (size_t k = 0; k < n; ++k) {
    if (tolerance > FindPivot(a, n, k, pivots[k])) return -1;
    SwapRows(a, n, pivots[k].row, k);
    SwapColumns(a, n, pivots[k].col, k);
    Eliminate(a, n, k, tolerance);
  }
  // An exchange of columns of the matrix is one of rows of its inverse, and the other way round.
  for (size_t k = n; k-- > 0;) {
    SwapRows(a, n, pivots[k].col, k);
    SwapColumns(a, n, pivots[k].row, k);
  }
  return 1;
}

int VectorNorm(const double* array, int32_t length, double* result) {
  if (array == nullptr) return -1;
  double sum = 0.0;
  for (int32_t i = 0; i < length; ++i) sum += array[i] * array[i];
  *result = std::sqrt(sum);
  return 1;
}

double MaxMagnitude(const double* array, int32_t rows, int32_t cols) {
  double largest = 0.0;
  if (rows < 1 || cols < 1) return largest;
  const size_t count = static_cast<size_t>(rows) * static_cast<size_t>(cols);
  for (size_t i = 0; i < count; ++i) {
    if (std::fabs(array[i]) > std::fabs(largest)) largest = array[i];
  }
  return largest;
}

}  // namespace orvo
