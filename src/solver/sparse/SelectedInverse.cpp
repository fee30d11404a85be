#include "solver/sparse/SelectedInverse.h"

#include <Eigen/Dense>
#include <algorithm>
#include <vector>

#include "solver/sparse/RowRuns.h"

namespace orvo::sparse {

using Panel = Eigen::Map<Eigen::MatrixXd>;
using ConstPanel = Eigen::Map<const Eigen::MatrixXd>;

SelectedInverse::SelectedInverse(const SymbolicFactor& symbolic)
    : pSymbolic(&symbolic), Values(static_cast<size_t>(symbolic.nValueNum)) {}

/// The lower triangle of the inverse for the rows below `supernode`.
void SelectedInverse::GatherBehind(const Supernode& supernode, double* square) const {
  const int64_t order = supernode.nHeight - supernode.nWidth;
  std::vector<RowRun> runs;
  for (int64_t row = supernode.nFirstRow; row < supernode.nEndRow;) {
    const int64_t end = EndOfSegment(*pSymbolic, supernode, row);
    const Supernode& s = pSymbolic->vSupernodes[pSymbolic->vOf[pSymbolic->vRows[row]]];
    FindRuns(*pSymbolic, supernode, row, s, runs);
    const int64_t top = pSymbolic->vRowPlaces[row] - supernode.nWidth;
    const double* const panel = Values.get() + s.nFirstValue;
    for (const RowRun& columns : runs) {
      const int32_t width = std::min(columns.nLength, s.nWidth - columns.nTo);
      for (int32_t c = 0; c < width; ++c) {
        const double* const from = panel + int64_t{columns.nTo + c} * s.nHeight;
        double* const to = square + (top + columns.nFrom + c) * order + top;
        for (const RowRun& rows : runs) std::copy_n(from + rows.nTo, rows.nLength, to + rows.nFrom);
      }
    }
    row = end;
  }
}

void SelectedInverse::Invert(const Supernode& supernode, const double* panel, double* square) {
  const int32_t width = supernode.nWidth, below = supernode.nHeight - width;
  const ConstPanel L(panel, supernode.nHeight, width);
  const auto triangle = L.topRows(width).triangularView<Eigen::Lower>();
  Panel Z(Values.get() + supernode.nFirstValue, supernode.nHeight, width);
  Eigen::MatrixXd inverse = Eigen::MatrixXd::Identity(width, width);
  triangle.solveInPlace(inverse);
  auto own = Z.topRows(width);
  own.noalias() = inverse.transpose() * inverse;
  if (below > 0) {
    const ConstPanel behind(square, below, below);
    Eigen::MatrixXd Y = L.bottomRows(below);
    triangle.solveInPlace<Eigen::OnTheRight>(Y);
    auto rest = Z.bottomRows(below);
    rest.noalias() = behind.selfadjointView<Eigen::Lower>() * Y;
    rest = -rest;
    own.noalias() -= Y.transpose() * rest;
  }
  own.triangularView<Eigen::StrictlyUpper>() = own.transpose();
}

std::optional<SelectedInverse> InvertSelected(const SupernodalFactor& factor) {
  if (!factor.IsThere()) return std::nullopt;
  const SymbolicFactor& symbolic = factor.Symbolic();
  size_t most = 0;
  for (const Supernode& s : symbolic.vSupernodes) most = std::max<size_t>(most, s.nHeight - s.nWidth);
  ZeroedArray square(most * most);
  SelectedInverse inverse(symbolic);
  for (size_t k = symbolic.vSupernodes.size(); k-- > 0;) {
    const Supernode& s = symbolic.vSupernodes[k];
    inverse.GatherBehind(s, square.get());
    inverse.Invert(s, factor.Panel(s), square.get());
  }
  return inverse;
}

std::optional<InverseBlock> SelectedInverse::Block(int32_t i, int32_t j) const {
  const int32_t nodeNum = pSymbolic->NodeNum();
  if (i < 0 || j < 0 || i >= nodeNum || j >= nodeNum) return std::nullopt;
  const int32_t a = pSymbolic->vPositions[i], b = pSymbolic->vPositions[j];
  const Supernode& s = pSymbolic->vSupernodes[pSymbolic->vOf[std::min(a, b)]];
  const int32_t row = pSymbolic->PlaceIn(s, std::max(a, b)), col = pSymbolic->PlaceIn(s, std::min(a, b));
  if (row < 0) return std::nullopt;
  const double* const values = Values.get() + s.nFirstValue + int64_t{col} * s.nHeight + row;
  const int32_t sizeA = pSymbolic->vSizes[a], sizeB = pSymbolic->vSizes[b];
  if (a >= b) return InverseBlock{values, sizeA, sizeB, 1, s.nHeight};
  return InverseBlock{values, sizeA, sizeB, s.nHeight, 1};
}

}  // namespace orvo::sparse
