#include "solver/sparse/BorderedSolver.h"

#include <algorithm>

#include "base/Threads.h"

namespace orvo::sparse {
namespace {

// Columns that go through the factor at once: each block is read once for all of them.
constexpr int32_t kColumnsAtOnce = 8;

}  // namespace

BorderedSolver::BorderedSolver(const NodeMatrix& matrix, int32_t firstBorder, int32_t motionNum)
    : BorderedSolver(matrix, firstBorder, motionNum,
                     OrderByParts(matrix.Pattern(), std::clamp(firstBorder, 0, matrix.Pattern().NodeNum()))) {
}

BorderedSolver::BorderedSolver(const NodeMatrix& matrix, int32_t firstBorder, int32_t motionNum,
                               const PartOrder& order)
    : pMatrix(&matrix),
      nFirstBorder(std::clamp(firstBorder, 0, matrix.Pattern().NodeNum())),
      vFirstUnknown(matrix.Pattern().FirstUnknowns()),
      Product(matrix),
      Inner(matrix.Pattern(), nFirstBorder, order.vOrder, order.vFirst) {
  if (motionNum > 0) pCoarse = std::make_unique<CoarseSpace>(matrix, firstBorder, motionNum);
  const int64_t width = vFirstUnknown.back() - vFirstUnknown[nFirstBorder];
  if (width > kWidestDeflation) return;
  nColumns = static_cast<int32_t>(width);
  vZ.resize(static_cast<size_t>(vFirstUnknown.back() * width));
  vAz.resize(vZ.size());
}

double BorderedSolver::Prepare(int32_t threads, std::span<const double> motions) {
  dShift = Inner.Factor(*pMatrix, threads);
  bCoarse = dShift >= 0 && pCoarse && pCoarse->Prepare(motions, threads);
  if (dShift >= 0 && nColumns > 0) FormSpace(threads);
  return dShift;
}

void BorderedSolver::FormSpace(int32_t threads) {
  const NodePattern& pattern = pMatrix->Pattern();
  const int64_t size = vFirstUnknown.back(), inner = size - nColumns;
  std::fill(vZ.begin(), vZ.end(), 0.0);
  for (int32_t node = 0; node < nFirstBorder; ++node) {
    const std::span<const int32_t> behind = pattern.NeighboursBehind(node);
    auto place = std::lower_bound(behind.begin(), behind.end(), nFirstBorder) - behind.begin();
    for (; place < std::ssize(behind); ++place) {
      const int32_t border = behind[place], cols = pattern.vSizes[border];
      const std::span<const double> block = pMatrix->Behind(node, place);
      double* const to = vZ.data() + (vFirstUnknown[border] - inner) * size + vFirstUnknown[node];
      for (size_t k = 0; k < block.size(); ++k) {
        to[static_cast<int64_t>(k) % cols * size + static_cast<int64_t>(k) / cols] = -block[k];
      }
    }
  }
  ParallelFor((nColumns + kColumnsAtOnce - 1) / kColumnsAtOnce, threads, [&](int64_t piece) {
    const auto first = static_cast<int32_t>(piece) * kColumnsAtOnce;
    const int32_t count = std::min(kColumnsAtOnce, nColumns - first);
    const std::span<double> columns = std::span(vZ).subspan(first * size, count * size);
    const std::vector<double> before(bCoarse ? columns.begin() : columns.end(), columns.end());
    Inner.Solve(columns, count);
    for (int32_t k = 0; bCoarse && k < count; ++k) {
      pCoarse->Correct(std::span(before).subspan(k * size, size), columns.subspan(k * size, size), 1);
    }
  });
  for (int32_t k = 0; k < nColumns; ++k) vZ[k * size + inner + k] = 1;
  Product.Multiply(vZ, vAz, threads, nColumns);
}

void BorderedSolver::Precondition(std::span<const double> r, std::span<double> y, int32_t threads) const {
  std::copy(r.begin(), r.end(), y.begin());
  Inner.Solve(y, 1, threads);
  std::fill(y.end() - nColumns, y.end(), 0.0);
  if (bCoarse) pCoarse->Correct(r, y, threads);
}

PcgResult BorderedSolver::Solve(std::span<const double> b, std::span<double> x, const PcgLimits& limits,
                                int32_t threads) const {
  const auto size = static_cast<size_t>(vFirstUnknown.back());
  if (dShift < 0 || b.size() != size || x.size() != size) return {PcgEnd::Breakdown, 0, 1};
  const auto multiply = [&](std::span<const double> v, std::span<double> y) {
    Product.Multiply(v, y, threads);
  };
  const auto precondition = [&](std::span<const double> v, std::span<double> y) {
    Precondition(v, y, threads);
  };
  if (!bCoarse) return SolvePcg(multiply, precondition, vZ, vAz, nColumns, b, x, limits);
  std::vector<double> start(size), rest(size);
  PcgLimits left = limits;
  left.dTakenOff = pCoarse->Start(b, start, threads);
  multiply(start, rest);
  for (size_t i = 0; i < size; ++i) rest[i] = b[i] - rest[i];
  const PcgResult result = SolvePcg(multiply, precondition, vZ, vAz, nColumns, rest, x, left);
  for (size_t i = 0; i < size; ++i) x[i] += start[i];
  return result;
}

}  // namespace orvo::sparse
