#include "solver/sparse/BorderedSolver.h"

#include <algorithm>

#include "base/Threads.h"
#include "solver/sparse/LevelOrder.h"

namespace orvo::sparse {
namespace {

// Columns that go through the factor at once: each block is read once for all of them.
constexpr int32_t kColumnsAtOnce = 8;

}  // namespace

BorderedSolver::BorderedSolver(const NodeMatrix& matrix, int32_t firstBorder)
    : pMatrix(&matrix),
      nFirstBorder(std::clamp(firstBorder, 0, matrix.Pattern().NodeNum())),
      vFirstUnknown(matrix.Pattern().FirstUnknowns()),
      Product(matrix),
      Inner(matrix.Pattern(), nFirstBorder, OrderByLevels(matrix.Pattern(), nFirstBorder)) {
  const int64_t width = vFirstUnknown.back() - vFirstUnknown[nFirstBorder];
  if (width > kWidestDeflation) return;
  nColumns = static_cast<int32_t>(width);
  vZ.resize(static_cast<size_t>(vFirstUnknown.back() * width));
  vAz.resize(vZ.size());
}

double BorderedSolver::Prepare(int32_t threads) {
  dShift = Inner.Factor(*pMatrix);
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
    Inner.Solve(std::span(vZ).subspan(first * size, count * size), count);
  });
  for (int32_t k = 0; k < nColumns; ++k) vZ[k * size + inner + k] = 1;
  Product.Multiply(vZ, vAz, threads, nColumns);
}

PcgResult BorderedSolver::Solve(std::span<const double> b, std::span<double> x, const PcgLimits& limits,
                                int32_t threads) const {
  const auto size = static_cast<size_t>(vFirstUnknown.back());
  if (dShift < 0 || b.size() != size || x.size() != size) return {PcgEnd::Breakdown, 0, 1};
  const auto multiply = [&](std::span<const double> v, std::span<double> y) {
    Product.Multiply(v, y, threads);
  };
  const auto precondition = [&](std::span<const double> v, std::span<double> y) {
    std::copy(v.begin(), v.end(), y.begin());
    Inner.Solve(y);
    std::fill(y.end() - nColumns, y.end(), 0.0);
  };
  return SolvePcg(multiply, precondition, vZ, vAz, nColumns, b, x, limits);
}

}  // namespace orvo::sparse
