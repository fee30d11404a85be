#include "solver/sparse/SupernodalFactor.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numeric>

#include "solver/sparse/PanelCholesky.h"
#include "solver/sparse/RowRuns.h"

namespace orvo::sparse {
namespace {

using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;
using ConstPanel = Eigen::Map<const Eigen::MatrixXd>;

// Columns of a product that are formed at once: what lies above its diagonal is work for nothing.
constexpr int32_t kColumnsAtOnce = 96;

ConstPanel PanelOf(const SupernodalFactor& factor, const Supernode& s) {
  return {factor.Panel(s), s.nHeight, s.nWidth};
}

/// Node and unknown in it of the first value that is not finite.
std::optional<FactorRefusal> FindNotFinite(const NodeMatrix& matrix) {
  const NodePattern& pattern = matrix.Pattern();
  const auto look = [](int32_t node, std::span<const double> block, int32_t cols,
                       bool upper) -> std::optional<FactorRefusal> {
    for (size_t k = 0; k < block.size(); ++k) {
      const auto row = static_cast<int32_t>(k / cols), col = static_cast<int32_t>(k % cols);
      if ((upper && col < row) || std::isfinite(block[k])) continue;
      return FactorRefusal{FactorFault::NotFinite, {node, row, block[k], block[k]}};
    }
    return std::nullopt;
  };
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    if (auto refusal = look(i, matrix.Diagonal(i), pattern.vSizes[i], true)) return refusal;
    int64_t place = 0;
    for (const int32_t j : pattern.NeighboursBehind(i)) {
      if (auto refusal = look(i, matrix.Behind(i, place++), pattern.vSizes[j], false)) return refusal;
    }
  }
  return std::nullopt;
}

FactorFault FaultOf(const Pivot& pivot) {
  if (!std::isfinite(pivot.dPivot)) return FactorFault::NotFinite;
  // Rounding leaves either sign of nothing.
  const bool isNothing = pivot.dDiagonal >= 0 && std::abs(pivot.dPivot) <= kPivotTolerance * pivot.dDiagonal;
  return pivot.dPivot > 0 || isNothing ? FactorFault::Dependent : FactorFault::NotPositive;
}

/// Supernodes whose next rows are columns of the same supernode, as lists.
class Waiting {
 public:
  explicit Waiting(const SymbolicFactor& symbolic)
      : pSymbolic(&symbolic),
        vFirst(symbolic.vSupernodes.size(), -1),
        vNext(symbolic.vSupernodes.size(), -1),
        vRow(symbolic.vSupernodes.size(), 0) {}

  void Start(int32_t s) { Wait(s, pSymbolic->vSupernodes[s].nFirstRow); }
  int64_t Row(int32_t s) const { return vRow[s]; }
  int32_t First(int32_t target) const { return vFirst[target]; }
  /// Lets `s` wait for its next rows; the one behind it in its list.
  int32_t MoveOn(int32_t s) {
    const int32_t next = vNext[s];
    Wait(s, EndOfSegment(*pSymbolic, pSymbolic->vSupernodes[s], vRow[s]));
    return next;
  }

 private:
  void Wait(int32_t s, int64_t row) {
    vRow[s] = row;
    if (row == pSymbolic->vSupernodes[s].nEndRow) return;
    int32_t& first = vFirst[pSymbolic->vOf[pSymbolic->vRows[row]]];
    vNext[s] = first;
    first = s;
  }

  const SymbolicFactor* pSymbolic;
  std::vector<int32_t> vFirst, vNext;
  std::vector<int64_t> vRow;
};

}  // namespace

SupernodalFactor::SupernodalFactor(const SymbolicFactor& symbolic)
    : pSymbolic(&symbolic),
      Values(static_cast<size_t>(symbolic.nValueNum)),
      vDiagonal(static_cast<size_t>(symbolic.UnknownNum())),
      vPivots(static_cast<size_t>(symbolic.UnknownNum())) {}

/// `block` is (row, col) of the upper triangle, in numbers of nodes.
void SupernodalFactor::PutBlock(int32_t row, int32_t col, std::span<const double> block) {
  const int32_t a = pSymbolic->vPositions[row], b = pSymbolic->vPositions[col];
  const Eigen::Map<const RowMajor> values(block.data(), pSymbolic->vSizes[a], pSymbolic->vSizes[b]);
  const Supernode& s = pSymbolic->vSupernodes[pSymbolic->vOf[std::min(a, b)]];
  Eigen::Map<Eigen::MatrixXd> panel(Values.get() + s.nFirstValue, s.nHeight, s.nWidth);
  const int32_t placeA = pSymbolic->PlaceIn(s, a), placeB = pSymbolic->PlaceIn(s, b);
  if (a < b) {
    panel.block(placeB, placeA, values.cols(), values.rows()) = values.transpose();
  } else if (b < a) {
    panel.block(placeA, placeB, values.rows(), values.cols()) = values;
  } else {
    panel.block(placeA, placeA, values.rows(), values.rows()).triangularView<Eigen::Lower>() =
        values.transpose();
    const int64_t first = pSymbolic->vFirstUnknown[a];
    for (int32_t k = 0; k < values.rows(); ++k) vDiagonal[first + k] = values(k, k);
  }
}

std::optional<FactorRefusal> SupernodalFactor::Scatter(const NodeMatrix& matrix) {
  const NodePattern& pattern = matrix.Pattern();
  const FactorRefusal other{FactorFault::OtherMatrix, {}};
  if (pattern.NodeNum() != pSymbolic->NodeNum()) return other;
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    const int32_t a = pSymbolic->vPositions[i];
    if (pattern.vSizes[i] != pSymbolic->vSizes[a]) return other;
    for (const int32_t j : pattern.NeighboursBehind(i)) {
      const int32_t b = pSymbolic->vPositions[j];
      const Supernode& s = pSymbolic->vSupernodes[pSymbolic->vOf[std::min(a, b)]];
      if (pSymbolic->PlaceIn(s, std::max(a, b)) < 0) return other;
    }
  }
  if (auto refusal = FindNotFinite(matrix)) return refusal;
  std::fill(Values.get(), Values.get() + Values.size(), 0.0);
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    PutBlock(i, i, matrix.Diagonal(i));
    int64_t place = 0;
    for (const int32_t j : pattern.NeighboursBehind(i)) PutBlock(i, j, matrix.Behind(i, place++));
  }
  return std::nullopt;
}

/// Takes off `target` the products of the rows of `source` from `firstRow` on with those that are its
/// columns.
void SupernodalFactor::Update(const Supernode& target, const Supernode& source, int64_t firstRow) {
  const ConstPanel from = PanelOf(*this, source);
  std::vector<RowRun> runs;
  FindRuns(*pSymbolic, source, firstRow, target, runs);
  const int32_t top = pSymbolic->vRowPlaces[firstRow], height = source.nHeight - top;
  Eigen::MatrixXd product;
  // A run may begin in the square of the panel and go on below it.
  for (const RowRun& columns : runs) {
    if (columns.nTo >= target.nWidth) break;
    const int32_t end = std::min(columns.nLength, target.nWidth - columns.nTo);
    for (int32_t first = 0; first < end; first += kColumnsAtOnce) {
      const int32_t width = std::min(kColumnsAtOnce, end - first), begin = columns.nFrom + first;
      product.noalias() = from.block(top + begin, 0, height - begin, source.nWidth) *
                          from.block(top + begin, 0, width, source.nWidth).transpose();
      for (const RowRun& rows : runs) {
        const int32_t cut = std::max(0, begin - rows.nFrom), length = rows.nLength - cut;
        if (length <= 0) continue;
        const int64_t column = columns.nTo + first;
        double* const to = Values.get() + target.nFirstValue + column * target.nHeight + rows.nTo + cut;
        Eigen::Map<Eigen::MatrixXd, 0, Eigen::OuterStride<>> part(to, length, width,
                                                                  Eigen::OuterStride<>(target.nHeight));
        part -= product.block(rows.nFrom + cut - begin, 0, length, width);
      }
    }
  }
}

std::optional<FactorRefusal> SupernodalFactor::Factor(const NodeMatrix& matrix, double tolerance) {
  bIsThere = false;
  if (auto refusal = Scatter(matrix)) return refusal;
  Waiting waiting(*pSymbolic);
  const auto count = static_cast<int32_t>(pSymbolic->vSupernodes.size());
  for (int32_t t = 0; t < count; ++t) {
    const Supernode& target = pSymbolic->vSupernodes[t];
    for (int32_t s = waiting.First(t); s != -1; s = waiting.MoveOn(s)) {
      Update(target, pSymbolic->vSupernodes[s], waiting.Row(s));
    }
    const int64_t first = pSymbolic->vFirstUnknown[target.nFirst];
    const auto width = static_cast<size_t>(target.nWidth);
    const PivotTest test{std::span(vDiagonal).subspan(first, width), std::max(tolerance, 0.0)};
    const int32_t failed = FactorPanel({Values.get() + target.nFirstValue, target.nHeight, target.nWidth},
                                       test, std::span(vPivots).subspan(first, width));
    if (failed >= 0) {
      const Pivot pivot = PivotAt(first + failed);
      return FactorRefusal{FaultOf(pivot), pivot};
    }
    waiting.Start(t);
  }
  bIsThere = true;
  return std::nullopt;
}

Pivot SupernodalFactor::PivotAt(int64_t unknown) const {
  const auto& first = pSymbolic->vFirstUnknown;
  const auto position = std::upper_bound(first.begin(), first.end(), unknown) - first.begin() - 1;
  return {pSymbolic->vOrder[position], static_cast<int32_t>(unknown - first[position]), vDiagonal[unknown],
          vPivots[unknown]};
}

bool SupernodalFactor::Solve(std::span<double> x, int32_t columnNum) const {
  const int64_t unknownNum = pSymbolic->UnknownNum();
  if (!bIsThere || columnNum < 0 || static_cast<int64_t>(x.size()) != unknownNum * columnNum) return false;
  if (x.empty()) return true;
  Eigen::Map<Eigen::MatrixXd> given(x.data(), unknownNum, columnNum);
  Eigen::MatrixXd y(unknownNum, columnNum), rest;
  const auto forEachNode = [&](const auto& take) {
    int64_t at = 0;
    for (int32_t node = 0; node < pSymbolic->NodeNum(); ++node) {
      const int32_t position = pSymbolic->vPositions[node], size = pSymbolic->vSizes[position];
      take(given.middleRows(at, size), y.middleRows(pSymbolic->vFirstUnknown[position], size));
      at += size;
    }
  };
  const auto forEachRow = [&](const Supernode& s, const auto& take) {
    for (int64_t r = s.nFirstRow; r < s.nEndRow; ++r) {
      const int32_t row = pSymbolic->vRows[r], size = pSymbolic->vSizes[row];
      take(y.middleRows(pSymbolic->vFirstUnknown[row], size),
           rest.middleRows(pSymbolic->vRowPlaces[r] - s.nWidth, size));
    }
  };
  forEachNode([](const auto& from, auto to) { to = from; });
  for (const Supernode& s : pSymbolic->vSupernodes) {
    const ConstPanel L = PanelOf(*this, s);
    auto own = y.middleRows(pSymbolic->vFirstUnknown[s.nFirst], s.nWidth);
    L.topRows(s.nWidth).triangularView<Eigen::Lower>().solveInPlace(own);
    rest.noalias() = L.bottomRows(s.nHeight - s.nWidth) * own;
    forEachRow(s, [](auto to, const auto& from) { to -= from; });
  }
  for (size_t k = pSymbolic->vSupernodes.size(); k-- > 0;) {
    const Supernode& s = pSymbolic->vSupernodes[k];
    const ConstPanel L = PanelOf(*this, s);
    auto own = y.middleRows(pSymbolic->vFirstUnknown[s.nFirst], s.nWidth);
    rest.resize(s.nHeight - s.nWidth, columnNum);
    forEachRow(s, [](const auto& from, auto to) { to = from; });
    own.noalias() -= L.bottomRows(s.nHeight - s.nWidth).transpose() * rest;
    L.topRows(s.nWidth).triangularView<Eigen::Lower>().transpose().solveInPlace(own);
  }
  forEachNode([](auto to, const auto& from) { to = from; });
  return true;
}

std::optional<double> SupernodalFactor::LogDeterminant() const {
  if (!bIsThere) return std::nullopt;
  double sum = 0;
  for (const double pivot : vPivots) sum += std::log(pivot);
  return sum;
}

std::vector<Pivot> SupernodalFactor::SmallestPivots(int32_t count) const {
  if (!bIsThere) return {};
  std::vector<int64_t> unknowns(vPivots.size());
  std::iota(unknowns.begin(), unknowns.end(), int64_t{0});
  const auto end = unknowns.begin() + std::clamp<int64_t>(count, 0, static_cast<int64_t>(unknowns.size()));
  std::partial_sort(unknowns.begin(), end, unknowns.end(), [this](int64_t a, int64_t b) {
    const double ratioA = vPivots[a] / vDiagonal[a], ratioB = vPivots[b] / vDiagonal[b];
    return ratioA != ratioB ? ratioA < ratioB : a < b;
  });
  std::vector<Pivot> smallest;
  for (auto unknown = unknowns.begin(); unknown != end; ++unknown) smallest.push_back(PivotAt(*unknown));
  return smallest;
}

}  // namespace orvo::sparse
