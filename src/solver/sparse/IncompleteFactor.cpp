#include "solver/sparse/IncompleteFactor.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <numeric>

#include "base/Threads.h"
#include "solver/sparse/NodeBlocks.h"
#include "solver/sparse/Ordering.h"

namespace orvo::sparse {
namespace {

// Parts of the diagonal that are added to it, one after the other.
constexpr double kShifts[] = {0, 1.0 / 1024, 1.0 / 256, 1.0 / 64, 1.0 / 16, 1.0 / 4, 1};
// Blocks and columns below which a thread takes longer to start than to work.
constexpr int64_t kBlocksForThread = 10'000;
// Columns that cost as much as making the factor.
constexpr int32_t kColumnsAsFactor = 20;
// Part of its diagonal element that a pivot must keep.
constexpr double kPivotPart = 1e-12;

/// C -= A B'; C is rows x cols, A rows x inner, B cols x inner, all column-major.
template <int kSize>
void TakeProduct(double* c, const double* a, const double* b, int32_t rows, int32_t cols, int32_t inner) {
  const Eigen::Map<const NodeBlock<kSize>> A(a, rows, inner), B(b, cols, inner);
  Eigen::Map<NodeBlock<kSize>>(c, rows, cols) -= A.lazyProduct(B.transpose());
}

/// A = -A B'
template <int kSize>
void DivideBlock(double* a, const double* b, int32_t rows, int32_t cols) {
  const Eigen::Map<const NodeBlock<kSize>> B(b, cols, cols);
  Eigen::Map<NodeBlock<kSize>> A(a, rows, cols);
  const NodeBlock<kSize> before = A;
  A = -before.lazyProduct(B.transpose());
}

/// Makes the lower triangle of a block its factor; the first pivot that does not hold, or nothing wrong: -1.
int32_t FactorLower(Eigen::Map<Eigen::MatrixXd> block, std::span<const double> diagonal) {
  const auto size = static_cast<int32_t>(block.cols());
  for (int32_t k = 0; k < size; ++k) {
    double pivot = block(k, k);
    for (int32_t m = 0; m < k; ++m) pivot -= block(k, m) * block(k, m);
    block(k, k) = pivot;
    if (!(pivot > 0 && pivot > kPivotPart * diagonal[k] && std::isfinite(pivot))) return k;
    const double root = std::sqrt(pivot);
    block(k, k) = root;
    for (int32_t i = k + 1; i < size; ++i) {
      double sum = block(i, k);
      for (int32_t m = 0; m < k; ++m) sum -= block(i, m) * block(k, m);
      block(i, k) = sum / root;
    }
  }
  return -1;
}

/// The inverse of a lower triangle in its place, zeros above.
void InvertLower(Eigen::Map<Eigen::MatrixXd> block) {
  const auto size = static_cast<int32_t>(block.cols());
  for (int32_t k = size - 1; k >= 0; --k) {
    block(k, k) = 1 / block(k, k);
    for (int32_t i = size - 1; i > k; --i) {
      double sum = 0;
      for (int32_t m = k + 1; m <= i; ++m) sum -= block(i, m) * block(m, k);
      block(i, k) = sum * block(k, k);
    }
    block.col(k).head(k).setZero();
  }
}

}  // namespace

IncompleteFactor::IncompleteFactor(const NodePattern& pattern, int32_t firstBorder,
                                   std::span<const int32_t> order, std::span<const int32_t> parts)
    : pPattern(&pattern),
      nInner(std::clamp(firstBorder, 0, pattern.NodeNum())),
      vOrder(order.begin(), order.end()),
      vParts(parts.begin(), parts.end()),
      vFirstUnknown(pattern.FirstUnknowns()) {
  for (int32_t node = nInner; node < pattern.NodeNum(); ++node) vOrder.push_back(node);
  if (vParts.empty()) vParts = {0, nInner};
  const std::vector<int32_t> positions = PositionsOf(vOrder);
  PlaceColumns(positions);
  ListRows();
  vFirstPivot.assign(1, 0);
  vFirstValue.assign(1, 0);
  for (int32_t column = 0; column < pattern.NodeNum(); ++column) {
    const int64_t size = SizeAt(column);
    vFirstPivot.push_back(vFirstPivot.back() + size * size);
    for (int64_t b = vFirstRow[column]; b < vFirstRow[column + 1]; ++b) {
      vFirstValue.push_back(vFirstValue.back() + size * SizeAt(vRows[b]));
    }
  }
  Values = ZeroedArray(static_cast<size_t>(vFirstValue.back()));
  Pivots = ZeroedArray(static_cast<size_t>(vFirstPivot.back()));
}

/// The blocks of each column, sorted by row.
void IncompleteFactor::PlaceColumns(std::span<const int32_t> positions) {
  const int32_t nodeNum = pPattern->NodeNum();
  vFirstRow.assign(static_cast<size_t>(nodeNum) + 1, 0);
  const auto forEach = [&](const auto& take) {
    for (int32_t node = 0; node < nInner; ++node) {
      int64_t place = 0;
      for (const int32_t neighbour : pPattern->NeighboursBehind(node)) {
        if (neighbour < nInner) take(positions[node], positions[neighbour], place);
        ++place;
      }
    }
  };
  forEach([&](int32_t a, int32_t b, int64_t) { ++vFirstRow[std::min(a, b) + 1]; });
  std::partial_sum(vFirstRow.begin(), vFirstRow.end(), vFirstRow.begin());
  std::vector<std::pair<int32_t, int64_t>> blocks(static_cast<size_t>(vFirstRow.back()));
  std::vector<int64_t> next(vFirstRow.begin(), vFirstRow.end() - 1);
  forEach([&](int32_t a, int32_t b, int64_t place) {
    blocks[next[std::min(a, b)]++] = {std::max(a, b), place};
  });
  for (int32_t column = 0; column < nInner; ++column) {
    std::sort(blocks.begin() + vFirstRow[column], blocks.begin() + vFirstRow[column + 1]);
  }
  for (const auto& [row, place] : blocks) {
    vRows.push_back(row);
    vPlaces.push_back(place);
  }
}

void IncompleteFactor::ListRows() {
  vFirstLeft.assign(vFirstRow.size(), 0);
  for (const int32_t row : vRows) ++vFirstLeft[row + 1];
  std::partial_sum(vFirstLeft.begin(), vFirstLeft.end(), vFirstLeft.begin());
  vLeft.resize(vRows.size());
  std::vector<int64_t> next(vFirstLeft.begin(), vFirstLeft.end() - 1);
  for (int32_t column = 0; column < nInner; ++column) {
    for (int64_t b = vFirstRow[column]; b < vFirstRow[column + 1]; ++b) vLeft[next[vRows[b]]++] = {column, b};
  }
}

/// The column of the matrix.
void IncompleteFactor::TakeColumn(const NodeMatrix& matrix, int32_t column) {
  const int32_t node = vOrder[column], size = SizeAt(column);
  // What is row-major and upper there is column-major and lower here.
  const std::span<const double> diagonal = matrix.Diagonal(node);
  std::copy(diagonal.begin(), diagonal.end(), Pivot(column));
  for (int64_t b = vFirstRow[column]; b < vFirstRow[column + 1]; ++b) {
    const int32_t other = vOrder[vRows[b]], rows = SizeAt(vRows[b]);
    const std::span<const double> from = matrix.Behind(std::min(node, other), vPlaces[b]);
    if (node < other) {
      std::copy(from.begin(), from.end(), Block(b));
    } else {
      Eigen::Map<Eigen::MatrixXd>(Block(b), rows, size) =
          Eigen::Map<const Eigen::MatrixXd>(from.data(), size, rows).transpose();
    }
  }
}

/// Takes the products with one block of the row off the blocks of the column. `blockOf` is the block of the
/// column in each row, -1 where it has none.
void IncompleteFactor::Update(int32_t column, const Left& left, std::span<const int64_t> blockOf) {
  const int32_t size = SizeAt(column), inner = SizeAt(left.nColumn);
  const double* const own = Block(left.nBlock);
  const auto take = [&](double* to, const double* from, int32_t rows) {
    if (rows == kUsualNode && IsUsual(size, inner)) {
      TakeProduct<kUsualNode>(to, from, own, rows, size, inner);
    } else {
      TakeProduct<Eigen::Dynamic>(to, from, own, rows, size, inner);
    }
  };
  take(Pivot(column), own, size);
  for (int64_t b = left.nBlock + 1; b < vFirstRow[left.nColumn + 1]; ++b) {
    const int64_t target = blockOf[vRows[b]];
    if (target >= 0) take(Block(target), Block(b), SizeAt(vRows[b]));
  }
}

void IncompleteFactor::Divide(int32_t column) {
  const int32_t size = SizeAt(column);
  for (int64_t b = vFirstRow[column]; b < vFirstRow[column + 1]; ++b) {
    const int32_t rows = SizeAt(vRows[b]);
    if (IsUsual(rows, size)) {
      DivideBlock<kUsualNode>(Block(b), Pivot(column), rows, size);
    } else {
      DivideBlock<Eigen::Dynamic>(Block(b), Pivot(column), rows, size);
    }
  }
}

/// `diagonal` is that of the raised matrix.
IncompleteFactor::Outcome IncompleteFactor::FactorPivot(int32_t column, std::span<const double> diagonal) {
  const Eigen::Map<Eigen::MatrixXd> block(Pivot(column), SizeAt(column), SizeAt(column));
  const int32_t failed = FactorLower(block, diagonal);
  if (failed < 0) {
    InvertLower(block);
    return Outcome::Done;
  }
  // A part of nothing is nothing, and what is not finite stays so.
  const bool isHopeless = !(diagonal[failed] > 0) || !std::isfinite(block(failed, failed));
  return isHopeless ? Outcome::Hopeless : Outcome::NotPositive;
}

/// Column by column, each with all that those before it have in its rows.
IncompleteFactor::Outcome IncompleteFactor::FactorColumns(const NodeMatrix& matrix, double shift,
                                                          int32_t begin, int32_t end) {
  std::vector<int64_t> blockOf(vOrder.size(), -1);
  std::array<double, kLargestNode> diagonal{};
  for (int32_t column = begin; column < end; ++column) {
    TakeColumn(matrix, column);
    const int32_t size = SizeAt(column);
    for (int32_t k = 0; k < size; ++k) {
      double& value = Pivot(column)[k * (size + 1)];
      diagonal[k] = value += shift * value;
    }
    for (int64_t b = vFirstRow[column]; b < vFirstRow[column + 1]; ++b) blockOf[vRows[b]] = b;
    for (int64_t k = vFirstLeft[column]; k < vFirstLeft[column + 1]; ++k) Update(column, vLeft[k], blockOf);
    for (int64_t b = vFirstRow[column]; b < vFirstRow[column + 1]; ++b) blockOf[vRows[b]] = -1;
    const Outcome outcome = FactorPivot(column, diagonal);
    if (outcome != Outcome::Done) return outcome;
    Divide(column);
  }
  return Outcome::Done;
}

/// Nothing before a column of a part is in another part.
IncompleteFactor::Outcome IncompleteFactor::Try(const NodeMatrix& matrix, double shift, int32_t threads) {
  std::vector<Outcome> outcomes(static_cast<size_t>(PartNum()), Outcome::Done);
  ParallelFor(PartNum(), ThreadNum(kColumnsAsFactor, threads), [&](int64_t part) {
    outcomes[part] = FactorColumns(matrix, shift, vParts[part], vParts[part + 1]);
  });
  const auto failed =
      std::ranges::find_if(outcomes, [](Outcome outcome) { return outcome != Outcome::Done; });
  if (failed != outcomes.end()) return *failed;
  return FactorColumns(matrix, shift, vParts.back(), pPattern->NodeNum());
}

double IncompleteFactor::Factor(const NodeMatrix& matrix, int32_t threads) {
  for (const double shift : kShifts) {
    const Outcome outcome = Try(matrix, shift, threads);
    if (outcome == Outcome::Done) return shift;
    if (outcome == Outcome::Hopeless) break;
  }
  return -1;
}

int IncompleteFactor::ThreadNum(int32_t columnNum, int32_t threads) const {
  return ParallelThreadNum(std::ssize(vRows) * columnNum / kBlocksForThread, threads);
}

/// x = P x with the inverse pivot of a position, or with its transpose.
void IncompleteFactor::TimesPivot(int32_t position, bool transposed, double* x, int32_t columnNum) const {
  const int32_t size = SizeAt(position);
  for (int32_t c = 0; c < columnNum; ++c, x += vFirstUnknown.back()) {
    std::array<double, kLargestNode> own{};
    std::copy_n(x, size, own.begin());
    std::fill_n(x, size, 0.0);
    if (transposed) {
      AddTransposedTimes(Pivot(position), size, size, own.data(), x, 0, 1);
    } else {
      AddTimes(Pivot(position), size, size, own.data(), x, 0, 1);
    }
  }
}

/// Of columns, with what they have in the rows before `endRow`.
void IncompleteFactor::SolveForwards(int32_t begin, int32_t end, int32_t endRow, double* x,
                                     int32_t columnNum) const {
  for (int32_t column = begin; column < end; ++column) {
    double* const own = x + vFirstUnknown[vOrder[column]];
    TimesPivot(column, false, own, columnNum);
    for (int64_t b = vFirstRow[column]; b < vFirstRow[column + 1] && vRows[b] < endRow; ++b) {
      AddTimes(Block(b), SizeAt(vRows[b]), SizeAt(column), own, x + vFirstUnknown[vOrder[vRows[b]]],
               vFirstUnknown.back(), columnNum);
    }
  }
}

/// What the columns of the parts have in a row behind them.
void IncompleteFactor::GatherFromParts(int32_t row, double* x, int32_t columnNum) const {
  for (int64_t k = vFirstLeft[row]; k < vFirstLeft[row + 1]; ++k) {
    const auto [column, block] = vLeft[k];
    if (column >= vParts.back()) break;
    AddTimes(Block(block), SizeAt(row), SizeAt(column), x + vFirstUnknown[vOrder[column]],
             x + vFirstUnknown[vOrder[row]], vFirstUnknown.back(), columnNum);
  }
}

void IncompleteFactor::SolveBackwards(int32_t begin, int32_t end, double* x, int32_t columnNum) const {
  for (int32_t column = end - 1; column >= begin; --column) {
    double* const own = x + vFirstUnknown[vOrder[column]];
    for (int64_t b = vFirstRow[column]; b < vFirstRow[column + 1]; ++b) {
      AddTransposedTimes(Block(b), SizeAt(vRows[b]), SizeAt(column), x + vFirstUnknown[vOrder[vRows[b]]], own,
                         vFirstUnknown.back(), columnNum);
    }
    TimesPivot(column, true, own, columnNum);
  }
}

void IncompleteFactor::Solve(std::span<double> x, int32_t columnNum, int32_t threads) const {
  const int32_t rest = vParts.back(), end = pPattern->NodeNum();
  const int usable = ThreadNum(columnNum, threads);
  ParallelFor(PartNum(), usable, [&](int64_t part) {
    SolveForwards(vParts[part], vParts[part + 1], rest, x.data(), columnNum);
  });
  for (int32_t row = rest; row < end; ++row) GatherFromParts(row, x.data(), columnNum);
  SolveForwards(rest, end, end, x.data(), columnNum);
  SolveBackwards(rest, end, x.data(), columnNum);
  ParallelFor(PartNum(), usable,
              [&](int64_t part) { SolveBackwards(vParts[part], vParts[part + 1], x.data(), columnNum); });
}

}  // namespace orvo::sparse
