#include "solver/BlockSystems.h"

#include <algorithm>
#include <set>

#include "geometry/OrvoMatrix.h"

namespace orvo::test {
namespace {

/// Pairs of block rows that share observations.
std::set<std::pair<int32_t, int32_t>> MakePairs(const SystemShape& shape, std::mt19937& random) {
  const bool hasCameras = shape.nLayoutMode == LayoutEopIop;
  const int32_t images = shape.nLayoutMode == LayoutIop ? shape.nCameraNum : shape.nImageNum;
  const int32_t groupStart = images + (hasCameras ? shape.nCameraNum : 0);
  std::set<std::pair<int32_t, int32_t>> pairs;
  for (int32_t i = 0; i < images; ++i) {
    for (int32_t j = i + 1; j < std::min(i + 4, images); ++j) pairs.insert({i, j});
    const auto far = static_cast<int32_t>(random() % static_cast<uint32_t>(images));
    if (far != i && random() % 3 == 0) pairs.insert({std::min(i, far), std::max(i, far)});
    if (hasCameras)
      pairs.insert({i, images + static_cast<int32_t>(random() % static_cast<uint32_t>(shape.nCameraNum))});
    if (shape.nGroupNum > 0) pairs.insert({i, groupStart + i * shape.nGroupNum / images});
  }
  return pairs;
}

}  // namespace

std::vector<SystemShape> AllShapes() {
  return {{"Eop", LayoutEop, 40, 0, 0, 0},
          {"EopPos", LayoutEop, 40, 0, 3, 6},
          {"Iop", LayoutIop, 0, 12, 0, 0},
          {"Merged", LayoutMergedEopIop, 20, 20, 0, 0},
          {"MergedPos", LayoutMergedEopIop, 20, 20, 2, 12},
          {"EopIop", LayoutEopIop, 40, 3, 0, 0},
          {"EopIopPos", LayoutEopIop, 40, 3, 4, 3}};
}

std::vector<int32_t> RowSizes(const SystemShape& shape) {
  std::vector<int32_t> sizes;
  if (shape.nLayoutMode == LayoutIop) {
    sizes.assign(static_cast<size_t>(shape.nCameraNum), 5);
  } else {
    sizes.assign(static_cast<size_t>(shape.nImageNum), shape.nLayoutMode == LayoutMergedEopIop ? 11 : 6);
  }
  if (shape.nLayoutMode == LayoutEopIop) sizes.insert(sizes.end(), static_cast<size_t>(shape.nCameraNum), 5);
  sizes.insert(sizes.end(), static_cast<size_t>(shape.nGroupNum), shape.nPosSize);
  return sizes;
}

std::vector<int32_t> RowPositions(const std::vector<int32_t>& sizes, int32_t& order) {
  std::vector<int32_t> positions;
  order = 0;
  for (const int32_t size : sizes) {
    positions.push_back(order);
    order += size;
  }
  return positions;
}

SubMatrix* BlockSystem::Find(int32_t row, int32_t col) {
  const SubMatrixRow& entry = vRows[static_cast<size_t>(row)];
  const auto found = std::lower_bound(entry.vColumns.begin(), entry.vColumns.end(), col);
  if (found == entry.vColumns.end() || *found != col) return nullptr;
  return &vBlocks[static_cast<size_t>(entry.nFirstId + (found - entry.vColumns.begin()))];
}

std::vector<double> BlockSystem::Dense() const {
  const auto n = static_cast<size_t>(nOrder);
  std::vector<double> dense(n * n, 0.0);
  for (const SubMatrix& block : vBlocks) {
    for (int32_t k = 0; k < block.nRows * block.nCols; ++k) {
      const auto r = static_cast<size_t>(vRowPosition[static_cast<size_t>(block.nRow)] + k / block.nCols);
      const auto c = static_cast<size_t>(vRowPosition[static_cast<size_t>(block.nCol)] + k % block.nCols);
      dense[r * n + c] = dense[c * n + r] = block.pData[k];
    }
  }
  return dense;
}

void FillBlock(SubMatrix& block, int32_t row, int32_t col, int32_t rows, int32_t cols,
               const std::vector<double>& values) {
  block.nRow = row;
  block.nCol = col;
  block.nRows = rows;
  block.nCols = cols;
  block.pOwned = std::make_unique<double[]>(values.size());
  block.pData = block.pOwned.get();
  std::copy(values.begin(), values.end(), block.pData);
}

void EmptyBlock(SubMatrix& block) { block = SubMatrix{}; }

BlockSystem MakeSystem(const SystemShape& shape, uint32_t seed, double weight) {
  std::mt19937 random(seed);
  std::normal_distribution<double> normal;
  const std::vector<int32_t> sizes = RowSizes(shape);
  BlockSystem system;
  system.vRowPosition = RowPositions(sizes, system.nOrder);
  const auto n = static_cast<size_t>(system.nOrder);
  const auto pairs = MakePairs(shape, random);

  // A^T A of random observations of each pair, in dense form first.
  std::vector<double> dense(n * n, 0.0);
  for (size_t i = 0; i < n; ++i) dense[i * n + i] = 1.0 + 0.1 * static_cast<double>(i % 7);
  for (const auto& [a, b] : pairs) {
    std::vector<size_t> unknowns;
    for (const int32_t row : {a, b}) {
      for (int32_t k = 0; k < sizes[static_cast<size_t>(row)]; ++k) {
        unknowns.push_back(static_cast<size_t>(system.vRowPosition[static_cast<size_t>(row)] + k));
      }
    }
    for (int observation = 0; observation < 8; ++observation) {
      std::vector<double> coefficients(unknowns.size());
      for (double& value : coefficients) value = weight * normal(random);
      for (size_t i = 0; i < unknowns.size(); ++i) {
        for (size_t j = 0; j < unknowns.size(); ++j) {
          dense[unknowns[i] * n + unknowns[j]] += coefficients[i] * coefficients[j];
        }
      }
    }
  }
  system.vRows.resize(sizes.size());
  for (size_t row = 0; row < sizes.size(); ++row) {
    system.vRows[row].vColumns.push_back(static_cast<int32_t>(row));
  }
  for (const auto& [a, b] : pairs) system.vRows[static_cast<size_t>(a)].vColumns.push_back(b);
  int32_t id = 0;
  for (SubMatrixRow& row : system.vRows) {
    std::sort(row.vColumns.begin(), row.vColumns.end());
    row.nFirstId = id;
    id += static_cast<int32_t>(row.vColumns.size());
  }
  system.vBlocks.resize(static_cast<size_t>(id));
  id = 0;
  for (size_t row = 0; row < sizes.size(); ++row) {
    for (const int32_t col : system.vRows[row].vColumns) {
      const int32_t rows = sizes[row], cols = sizes[static_cast<size_t>(col)];
      std::vector<double> values;
      for (int32_t k = 0; k < rows * cols; ++k) {
        const auto r = static_cast<size_t>(system.vRowPosition[row] + k / cols);
        const auto c = static_cast<size_t>(system.vRowPosition[static_cast<size_t>(col)] + k % cols);
        values.push_back(dense[r * n + c]);
      }
      FillBlock(system.vBlocks[static_cast<size_t>(id++)], static_cast<int32_t>(row), col, rows, cols,
                values);
    }
  }
  for (size_t i = 0; i < n; ++i) system.vConst.push_back(normal(random));
  return system;
}

std::vector<double> SolveDense(std::vector<double> matrix, const std::vector<double>& b) {
  const size_t n = b.size();
  InvertGaussJordan(matrix.data(), static_cast<int32_t>(n));
  std::vector<double> x(n, 0.0);
  for (size_t i = 0; i < n; ++i) {
    for (size_t j = 0; j < n; ++j) x[i] += matrix[i * n + j] * b[j];
  }
  return x;
}

}  // namespace orvo::test
