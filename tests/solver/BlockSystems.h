// Random block systems in every layout, as an assembly leaves them.
#pragma once

#include <cstdint>
#include <ostream>
#include <random>
#include <string>
#include <vector>

#include "normal/SubMatrix.h"
#include "records/UnknownLayout.h"

namespace orvo::test {

/// Shape of a made-up system.
struct SystemShape {
  std::string szName;
  int32_t nLayoutMode = LayoutEop;
  int32_t nImageNum = 0, nCameraNum = 0, nGroupNum = 0, nPosSize = 0;
};

/// For the names of tests.
inline void PrintTo(const SystemShape& shape, std::ostream* stream) { *stream << shape.szName; }

/// All layouts, with and without blocks of POS groups.
std::vector<SystemShape> AllShapes();

/// Size of every block row.
std::vector<int32_t> RowSizes(const SystemShape& shape);
/// Scalar position of every block row; `order` becomes the number of unknowns.
std::vector<int32_t> RowPositions(const std::vector<int32_t>& sizes, int32_t& order);

struct BlockSystem {
  std::vector<int32_t> vRowPosition;
  int32_t nOrder = 0;
  std::vector<SubMatrixRow> vRows;
  std::vector<SubMatrix> vBlocks;
  std::vector<double> vConst;

  SubMatrix* Find(int32_t row, int32_t col);
  /// Row-major, both triangles.
  std::vector<double> Dense() const;
};

/// A positive definite system: neighbouring images overlap, a few far pairs do, every image sees one camera
/// and one group. `weight` of the overlaps against the diagonal makes it harder to solve.
BlockSystem MakeSystem(const SystemShape& shape, uint32_t seed, double weight = 1.0);

/// Puts rows x cols values into an empty block.
void FillBlock(SubMatrix& block, int32_t row, int32_t col, int32_t rows, int32_t cols,
               const std::vector<double>& values);
/// Takes the values of a block away, as if nothing had been added to it yet.
void EmptyBlock(SubMatrix& block);

/// Solution of a dense system by inversion.
std::vector<double> SolveDense(std::vector<double> matrix, const std::vector<double>& b);

}  // namespace orvo::test
