#include "solver/sparse/NodeSystems.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <random>
#include <utility>

namespace orvo::sparse {
namespace {

using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

std::vector<int32_t> Mixed(int32_t count) {
  std::vector<int32_t> sizes;
  for (int32_t k = 0; k < count; ++k) sizes.push_back(1 + k * 37 % kLargestNode);
  return sizes;
}

bool AreOnGrid(int32_t i, int32_t j, int32_t cols) {
  return std::abs(i / cols - j / cols) + std::abs(i % cols - j % cols) == 1;
}

bool AreInStrips(int32_t i, int32_t j, int32_t perStrip) {
  const int32_t strips = std::abs(i / perStrip - j / perStrip), along = std::abs(i % perStrip - j % perStrip);
  return strips + along <= 2;
}

}  // namespace

NodePattern PatternWhere(std::vector<int32_t> sizes, const std::function<bool(int32_t, int32_t)>& coupled) {
  NodePattern pattern;
  pattern.vSizes = std::move(sizes);
  pattern.vFirstNeighbour.assign(1, 0);
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    for (int32_t j = i + 1; j < pattern.NodeNum(); ++j) {
      if (coupled(i, j)) pattern.vNeighbours.push_back(j);
    }
    pattern.vFirstNeighbour.push_back(pattern.BlockNum());
  }
  return pattern;
}

NodePattern StripPattern(int32_t stripNum, int32_t perStrip, int32_t size) {
  return PatternWhere(std::vector<int32_t>(static_cast<size_t>(stripNum) * perStrip, size),
                      [=](int32_t i, int32_t j) { return AreInStrips(i, j, perStrip); });
}

NodePattern Chain(int32_t count, int32_t size) {
  return PatternWhere(std::vector<int32_t>(count, size), [](int32_t i, int32_t j) { return j == i + 1; });
}

std::vector<PatternCase> PatternCases() {
  const auto all = [](int32_t, int32_t) { return true; };
  const auto none = [](int32_t, int32_t) { return false; };
  const auto grid = [](int32_t i, int32_t j) { return AreOnGrid(i, j, 7); };
  const auto apart = [](int32_t i, int32_t j) { return i / 5 == j / 5 && i / 5 != 2; };
  const auto bordered = [](int32_t i, int32_t j) {
    return i == 0 || j == 0 || j == 41 || AreInStrips(i, j, 8);
  };
  const auto scattered = [](int32_t i, int32_t j) { return (i * 7919 + j * 104729) % 11 == 0; };
  std::vector<int32_t> cameras(42, 6);
  cameras[0] = 11;
  cameras[41] = 5;
  return {{"Chain", Chain(30, 6), {}},
          {"MixedChain", PatternWhere(Mixed(20), [](int32_t i, int32_t j) { return j == i + 1; }), {}},
          {"Grid", PatternWhere(std::vector<int32_t>(63, 6), grid), {}},
          {"MixedGrid", PatternWhere(Mixed(28), grid), {}},
          {"Strips", StripPattern(5, 12), {}},
          {"Dense", PatternWhere(std::vector<int32_t>(25, 6), all), {}},
          {"MixedDense", PatternWhere(Mixed(10), all), {}},
          {"Disconnected", PatternWhere(std::vector<int32_t>(24, 6), apart), {}},
          {"Alone", PatternWhere({3, 1, 64}, none), {}},
          {"SingleOne", PatternWhere({1}, none), {}},
          {"SingleLargest", PatternWhere({64}, none), {}},
          {"Border", PatternWhere(cameras, bordered), {41, 0}},
          {"Scattered", PatternWhere(Mixed(40), scattered), {}},
          {"Empty", PatternWhere({}, none), {}}};
}

NodeMatrix RandomMatrix(const NodePattern& pattern, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(-1, 1);
  NodeMatrix matrix(pattern);
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    for (double& value : matrix.Diagonal(i)) value = uniform(random);
    for (const int32_t j : pattern.NeighboursBehind(i)) {
      for (double& value : matrix.Find(i, j)) value = uniform(random);
    }
  }
  Eigen::MatrixXd dense = Dense(matrix);
  for (int64_t k = 0; k < dense.rows(); ++k) {
    dense(k, k) = 0;
    dense(k, k) = 0.01 + dense.row(k).cwiseAbs().sum();
  }
  return Blocks(pattern, dense);
}

NodePattern WithBorder(const NodePattern& pattern, const std::vector<int32_t>& borderSizes) {
  const int32_t inner = pattern.NodeNum();
  std::vector<int32_t> sizes = pattern.vSizes;
  sizes.insert(sizes.end(), borderSizes.begin(), borderSizes.end());
  return PatternWhere(sizes, [&](int32_t i, int32_t j) {
    if (j >= inner) return true;
    const auto behind = pattern.NeighboursBehind(i);
    return std::binary_search(behind.begin(), behind.end(), j);
  });
}

NodeMatrix WeakNet(const NodePattern& pattern, int32_t firstBorder, double datum, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<double> uniform(-1, 1);
  const std::vector<int64_t> first = pattern.FirstUnknowns();
  const int64_t inner = first[firstBorder], border = first.back() - inner;
  Eigen::MatrixXd N = datum * Eigen::MatrixXd::Identity(first.back(), first.back());
  for (int32_t i = 0; i < firstBorder; ++i) {
    for (const int32_t j : pattern.NeighboursBehind(i)) {
      if (j >= firstBorder) break;
      const int32_t sizes[] = {pattern.vSizes[i], pattern.vSizes[j]}, rows = std::min(sizes[0], sizes[1]);
      const int64_t at[] = {first[i], first[j], inner};
      Eigen::MatrixXd J[] = {Eigen::MatrixXd::Identity(rows, sizes[0]),
                             -Eigen::MatrixXd::Identity(rows, sizes[1]), Eigen::MatrixXd::Zero(rows, border)};
      const Eigen::MatrixXd R = Eigen::MatrixXd::Identity(rows, rows).unaryExpr([&](double value) {
        return value + 0.3 * uniform(random);
      });
      J[0] = R * J[0];
      J[1] = R * J[1];
      J[2] = J[2].unaryExpr([&](double) { return 0.1 * uniform(random); }).eval();
      for (int a = 0; a < 3; ++a) {
        for (int b = 0; b < 3; ++b)
          N.block(at[a], at[b], J[a].cols(), J[b].cols()) += J[a].transpose() * J[b];
      }
    }
  }
  return Blocks(pattern, N);
}

Eigen::MatrixXd KershawMatrix(int32_t size) {
  const double ring[4][4] = {{3, -2, 0, 2}, {-2, 3, -2, 0}, {0, -2, 3, -2}, {2, 0, -2, 3}};
  Eigen::MatrixXd N(4 * size, 4 * size);
  for (int i = 0; i < 4; ++i) {
    for (int j = 0; j < 4; ++j) {
      N.block(i * size, j * size, size, size) = ring[i][j] * Eigen::MatrixXd::Identity(size, size);
    }
  }
  return N;
}

Eigen::MatrixXd Dense(const NodeMatrix& matrix) {
  const NodePattern& pattern = matrix.Pattern();
  const std::vector<int64_t> first = pattern.FirstUnknowns();
  Eigen::MatrixXd dense = Eigen::MatrixXd::Zero(first.back(), first.back());
  const auto put = [&](int32_t i, int32_t j, std::span<const double> block) {
    dense.block(first[i], first[j], pattern.vSizes[i], pattern.vSizes[j]) =
        Eigen::Map<const RowMajor>(block.data(), pattern.vSizes[i], pattern.vSizes[j]);
  };
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    put(i, i, matrix.Diagonal(i));
    int64_t place = 0;
    for (const int32_t j : pattern.NeighboursBehind(i)) put(i, j, matrix.Behind(i, place++));
  }
  const Eigen::MatrixXd upper = dense.triangularView<Eigen::Upper>();
  return upper.selfadjointView<Eigen::Upper>();
}

NodeMatrix Blocks(const NodePattern& pattern, const Eigen::MatrixXd& dense) {
  const std::vector<int64_t> first = pattern.FirstUnknowns();
  NodeMatrix matrix(pattern);
  const auto take = [&](int32_t i, int32_t j) {
    Eigen::Map<RowMajor>(matrix.Find(i, j).data(), pattern.vSizes[i], pattern.vSizes[j]) =
        dense.block(first[i], first[j], pattern.vSizes[i], pattern.vSizes[j]);
  };
  for (int32_t i = 0; i < pattern.NodeNum(); ++i) {
    take(i, i);
    for (const int32_t j : pattern.NeighboursBehind(i)) take(i, j);
  }
  return matrix;
}

std::vector<int64_t> UnknownsInOrder(const NodePattern& pattern, const std::vector<int32_t>& order) {
  const std::vector<int64_t> first = pattern.FirstUnknowns();
  std::vector<int64_t> unknowns;
  for (const int32_t node : order) {
    for (int32_t k = 0; k < pattern.vSizes[node]; ++k) unknowns.push_back(first[node] + k);
  }
  return unknowns;
}

}  // namespace orvo::sparse
