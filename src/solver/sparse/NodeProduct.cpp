#include "solver/sparse/NodeProduct.h"

#include <algorithm>
#include <numeric>

#include "base/Threads.h"
#include "solver/sparse/NodeBlocks.h"

namespace orvo::sparse {
namespace {

// Rows that one thread takes at once.
constexpr int32_t kRowsAtOnce = 64;
// Blocks and columns below which a thread takes longer to start than to work.
constexpr int64_t kBlocksForThread = 20'000;

}  // namespace

NodeProduct::NodeProduct(const NodeMatrix& matrix)
    : pMatrix(&matrix), vFirstUnknown(matrix.Pattern().FirstUnknowns()) {
  const NodePattern& pattern = matrix.Pattern();
  const int32_t nodeNum = pattern.NodeNum();
  vFirstBefore.assign(static_cast<size_t>(nodeNum) + 1, 0);
  for (const int32_t neighbour : pattern.vNeighbours) ++vFirstBefore[neighbour + 1];
  std::partial_sum(vFirstBefore.begin(), vFirstBefore.end(), vFirstBefore.begin());
  vBefore.resize(pattern.vNeighbours.size());
  std::vector<int64_t> next(vFirstBefore.begin(), vFirstBefore.end() - 1);
  for (int32_t node = 0; node < nodeNum; ++node) {
    int64_t place = 0;
    for (const int32_t neighbour : pattern.NeighboursBehind(node)) {
      vBefore[next[neighbour]++] = {node, place++};
    }
  }
}

void NodeProduct::MultiplyRow(int32_t node, const double* x, double* y, int32_t columnNum) const {
  const NodePattern& pattern = pMatrix->Pattern();
  const int32_t size = pattern.vSizes[node];
  const int64_t stride = vFirstUnknown.back();
  double* const to = y + vFirstUnknown[node];
  for (int32_t c = 0; c < columnNum; ++c) std::fill_n(to + c * stride, size, 0.0);
  for (int64_t k = vFirstBefore[node]; k < vFirstBefore[node + 1]; ++k) {
    const Before& before = vBefore[k];
    // Row-major, so that the transpose is what the products take: column-major, this node's rows.
    AddTimes(pMatrix->Behind(before.nNode, before.nPlace).data(), size, pattern.vSizes[before.nNode],
             x + vFirstUnknown[before.nNode], to, stride, columnNum);
  }
  const std::span<const double> diagonal = pMatrix->Diagonal(node);
  for (int32_t c = 0; c < columnNum; ++c) {
    const Eigen::Map<const Eigen::MatrixXd> lower(diagonal.data(), size, size);
    const Eigen::Map<const Eigen::VectorXd> from(x + vFirstUnknown[node] + c * stride, size);
    for (int32_t row = 0; row < size; ++row) {
      double sum = 0;
      for (int32_t col = 0; col < size; ++col) {
        sum += lower(std::max(row, col), std::min(row, col)) * from[col];
      }
      to[c * stride + row] += sum;
    }
  }
  int64_t place = 0;
  for (const int32_t neighbour : pattern.NeighboursBehind(node)) {
    AddTransposedTimes(pMatrix->Behind(node, place++).data(), pattern.vSizes[neighbour], size,
                       x + vFirstUnknown[neighbour], to, stride, columnNum);
  }
}

void NodeProduct::Multiply(std::span<const double> x, std::span<double> y, int32_t threads,
                           int32_t columnNum) const {
  if (columnNum == 0) return;
  const int32_t nodeNum = pMatrix->Pattern().NodeNum();
  const int32_t pieces = (nodeNum + kRowsAtOnce - 1) / kRowsAtOnce;
  const int64_t work = pMatrix->Pattern().BlockNum() * columnNum / kBlocksForThread;
  ParallelFor(pieces, ParallelThreadNum(work, threads), [&](int64_t piece) {
    const auto first = static_cast<int32_t>(piece) * kRowsAtOnce;
    const int32_t end = std::min(nodeNum, first + kRowsAtOnce);
    for (int32_t node = first; node < end; ++node) MultiplyRow(node, x.data(), y.data(), columnNum);
  });
}

}  // namespace orvo::sparse
