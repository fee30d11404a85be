// Dense matrices of any size, for small orders and for clarity. Hot loops use fixed sizes instead.
#pragma once

#include <cstdint>

namespace orvo {

/// A pivot or multiplier below this counts as zero. Absolute: no matrix is scaled before it is inverted.
inline constexpr double kPivotTolerance = 1e-27;

/// A row-major matrix that owns its elements.
///
/// Two states have no elements: a default-constructed object (`data` null, what a singular inverse gives) and
/// an empty result (`data` not null, of length zero, what a mismatch of dimensions gives). Both pass silently
/// through further products as empty results; callers who can't know the shape look at `rows`.
///
/// An element count above 2^31 - 1, or a negative one, ends in std::bad_alloc.
class COrvoMatrix {
 public:
  COrvoMatrix() = default;
  COrvoMatrix(const COrvoMatrix& source);
  virtual ~COrvoMatrix();
  /// Takes a deep copy of `source` and hands back a further one.
  COrvoMatrix operator=(const COrvoMatrix& source);

  /// rows x cols zeros. Returns 1, or -1 with nothing changed when cols is below 1; rows may be 0.
  int Resize(int32_t newRows, int32_t newCols);
  /// Zeros with ones on the first min(rows, cols) diagonal places. Returns as Resize does.
  int SetIdentity(int32_t newRows, int32_t newCols);
  /// Returns 1, or 0 when `data` is null.
  int TransposeInPlace();
  COrvoMatrix Transposed() const;

  /// left x right, each element summed in rising order of the inner index; empty unless the dimensions fit.
  static COrvoMatrix Multiply(const COrvoMatrix& left, const COrvoMatrix& right);
  /// Every element times `scalar`; empty when `data` is null.
  static COrvoMatrix Scaled(const COrvoMatrix& matrix, const double& scalar);
  /// left + right, empty unless the dimensions agree.
  static COrvoMatrix Add(const COrvoMatrix& left, const COrvoMatrix& right);
  /// left - right, empty unless the dimensions agree.
  static COrvoMatrix Subtract(const COrvoMatrix& left, const COrvoMatrix& right);
  /// The inverse by InvertGaussJordan, default-constructed when that refuses. Only `rows` counts as the
  /// order: of a wide matrix the first rows x rows stored elements are inverted in place and the rest is
  /// carried along; a tall one stores too few and is refused.
  static COrvoMatrix Inverse(const COrvoMatrix& matrix);

  int32_t rows = 0;
  int32_t cols = 0;
  double* data = nullptr;  ///< element (i, j) at i * cols + j

 private:
  void Allocate(int32_t newRows, int32_t newCols);
  void CopyFrom(const COrvoMatrix& source);
  template <typename Operation>
  static COrvoMatrix Combine(const COrvoMatrix& left, const COrvoMatrix& right, Operation operation);
};

/// Inverts the row-major order x order array `a` in place by Gauss-Jordan elimination with full pivoting.
/// Returns 1, or -1 for a null array, an order below 1, or a largest remaining element below `tolerance`; `a`
/// is then partly overwritten. A row whose multiplier is below `tolerance` is not eliminated.
int InvertGaussJordan(double* a, int32_t order, double tolerance = kPivotTolerance);

/// Euclidean norm of `length` elements. Returns 1, or -1 with `result` untouched for a null array.
int VectorNorm(const double* array, int32_t length, double* result);

/// The element of largest magnitude with its sign, the first in row-major order among equals; 0.0 without
/// rows.
double MaxMagnitude(const double* array, int32_t rows, int32_t cols);

}  // namespace orvo
