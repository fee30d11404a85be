// Patterns and matrices of nodes for the tests, and the dense forms they are checked against.
#pragma once

#include <Eigen/Dense>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "solver/sparse/NodeMatrix.h"
#include "solver/sparse/NodePattern.h"

namespace orvo::sparse {

struct PatternCase {
  std::string szName;
  NodePattern Pattern;
  std::vector<int32_t> vBorder;
};

/// Chain, grid, strips, dense, disconnected, single nodes, border; nodes of 6 unknowns and of 1 to 64.
std::vector<PatternCase> PatternCases();

/// Nodes i < j are coupled where `coupled` says so.
NodePattern PatternWhere(std::vector<int32_t> sizes, const std::function<bool(int32_t, int32_t)>& coupled);

/// Strips of images, each coupled with the two next ones and with its neighbours in the next two strips.
NodePattern StripPattern(int32_t stripNum, int32_t perStrip, int32_t size = 6);

/// `count` nodes in a row.
NodePattern Chain(int32_t count, int32_t size);

/// Random values, the diagonal barely dominating.
NodeMatrix RandomMatrix(const NodePattern& pattern, uint32_t seed = 1);

/// `pattern` with nodes behind that are coupled with all others.
NodePattern WithBorder(const NodePattern& pattern, const std::vector<int32_t>& borderSizes);

/// Normal equations of a net whose datum is weak: in each block of inner nodes, coupled pairs measure their
/// differences, which all unknowns of the border falsify, and each unknown by itself has a weight of `datum`.
/// Long waves through the net cost little.
NodeMatrix WeakNet(const NodePattern& pattern, int32_t firstBorder, double datum, uint32_t seed = 1);

/// Positive definite, but pivots of its incomplete factor are not (Kershaw 1978, The incomplete
/// Cholesky-conjugate gradient method): a ring of four nodes.
Eigen::MatrixXd KershawMatrix(int32_t size);

/// The whole matrix, in the order of the nodes.
Eigen::MatrixXd Dense(const NodeMatrix& matrix);
/// The blocks of `pattern` out of a dense matrix.
NodeMatrix Blocks(const NodePattern& pattern, const Eigen::MatrixXd& dense);

/// Unknowns in another order of the nodes: entry k is the unknown that comes k-th.
std::vector<int64_t> UnknownsInOrder(const NodePattern& pattern, const std::vector<int32_t>& order);

}  // namespace orvo::sparse
