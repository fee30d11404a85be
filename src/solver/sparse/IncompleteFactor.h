// An incomplete Cholesky factor without fill: the preconditioner of the iterative solver.
#pragma once

#include <cstdint>
#include <span>
#include <vector>

#include "base/ZeroedArray.h"
#include "solver/sparse/NodeMatrix.h"

namespace orvo::sparse {

/// Block factor K of the nodes below `firstBorder`, with entries where the matrix has blocks and nowhere else
/// (Meijerink & van der Vorst 1977, An iterative solution method for linear systems of which the coefficient
/// matrix is a symmetric M-matrix; by blocks as in Axelsson 1994, Iterative solution methods, 7.5). Nodes of
/// the border are preconditioned by their diagonal blocks. A pivot block that is not positive definite is met
/// by a shift: the factor is made again with the diagonal raised by a growing part of itself (Manteuffel
/// 1980, An incomplete factorization technique for positive definite linear systems).
class IncompleteFactor {
 public:
  /// `order` is the order of elimination of the nodes below `firstBorder`, a permutation of these. `pattern`,
  /// which has no fault, has to outlive this.
  /// `parts` are positions where parts of the order begin that are not coupled with each other, ascending
  /// from 0, and last the position of the rest, which may be coupled with all (PartOrder); without them it is
  /// one part. Threads share the parts; bits don't depend on the number of threads.
  IncompleteFactor(const NodePattern& pattern, int32_t firstBorder, std::span<const int32_t> order,
                   std::span<const int32_t> parts = {});

  /// The shift that was needed: 0 as a rule; below 0 where no shift up to 1 helps, and there is no factor
  /// then. `matrix` is one of the pattern.
  double Factor(const NodeMatrix& matrix, int32_t threads = 1);
  /// x = (K K')^-1 x for `columnNum` vectors one behind the other; each as if it stood alone. There must be a
  /// factor.
  void Solve(std::span<double> x, int32_t columnNum = 1, int32_t threads = 1) const;

 private:
  struct Left {
    int32_t nColumn;  ///< position of a column before that has a block in the row
    int64_t nBlock;
  };
  enum class Outcome : uint8_t { Done, NotPositive, Hopeless };

  void PlaceColumns(std::span<const int32_t> positions);
  void ListRows();
  double* Block(int64_t block) const { return Values.get() + vFirstValue[block]; }
  double* Pivot(int32_t column) const { return Pivots.get() + vFirstPivot[column]; }
  int32_t SizeAt(int32_t position) const { return pPattern->vSizes[vOrder[position]]; }
  Outcome Try(const NodeMatrix& matrix, double shift, int32_t threads);
  Outcome FactorColumns(const NodeMatrix& matrix, double shift, int32_t begin, int32_t end);
  int32_t PartNum() const { return static_cast<int32_t>(vParts.size()) - 1; }
  int ThreadNum(int32_t columnNum, int32_t threads) const;
  void SolveForwards(int32_t begin, int32_t end, int32_t endRow, double* x, int32_t columnNum) const;
  void GatherFromParts(int32_t row, double* x, int32_t columnNum) const;
  void SolveBackwards(int32_t begin, int32_t end, double* x, int32_t columnNum) const;
  void TakeColumn(const NodeMatrix& matrix, int32_t column);
  void Update(int32_t column, const Left& left, std::span<const int64_t> blockOf);
  void Divide(int32_t column);
  void TimesPivot(int32_t position, bool transposed, double* x, int32_t columnNum) const;
  Outcome FactorPivot(int32_t column, std::span<const double> diagonal);

  const NodePattern* pPattern;
  int32_t nInner = 0;                  ///< positions below it are in the factor; the rest is the border
  std::vector<int32_t> vOrder;         ///< node at each position
  std::vector<int32_t> vParts;         ///< first position of each part, and of what is in none
  std::vector<int64_t> vFirstUnknown;  ///< by node
  std::vector<int64_t> vFirstRow;      ///< by position into vRows, and their number at the end
  std::vector<int32_t> vRows;          ///< of each block of K its row, a position; ascending in a column
  std::vector<int64_t> vPlaces;        ///< of each block its place among the neighbours of the first node
  std::vector<int64_t> vFirstLeft;     ///< by position into vLeft
  std::vector<Left> vLeft;             ///< the blocks of each row, ascending
  std::vector<int64_t> vFirstValue, vFirstPivot;
  ZeroedArray Values;  ///< blocks of -K below the diagonal, column-major
  ZeroedArray Pivots;  ///< inverses of the diagonal blocks of K, column-major, lower
};

}  // namespace orvo::sparse
