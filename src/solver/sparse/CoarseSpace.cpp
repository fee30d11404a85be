#include "solver/sparse/CoarseSpace.h"

#include <Eigen/Dense>
#include <algorithm>
#include <cmath>
#include <numeric>

#include "base/Threads.h"
#include "solver/sparse/Ordering.h"

namespace orvo::sparse {
namespace {

using ConstColumns = Eigen::Map<const Eigen::MatrixXd>;
using Columns = Eigen::Map<Eigen::MatrixXd>;
using RowMajor = Eigen::Matrix<double, Eigen::Dynamic, Eigen::Dynamic, Eigen::RowMajor>;

// Clusters that one thread takes at once.
constexpr int32_t kClustersAtOnce = 16;
// Clusters below which a thread takes longer to start than to work.
constexpr int64_t kClustersForThread = 256;
// Part of itself that a motion must have besides those before it.
constexpr double kOwnPart = 1e-8;

template <typename Task>
void ForClusters(int32_t num, int32_t threads, const Task& task) {
  const int64_t pieces = (num + kClustersAtOnce - 1) / kClustersAtOnce;
  ParallelFor(pieces, ParallelThreadNum(num / kClustersForThread, threads), [&](int64_t piece) {
    const auto first = static_cast<int32_t>(piece) * kClustersAtOnce;
    for (int32_t cluster = first; cluster < std::min(num, first + kClustersAtOnce); ++cluster) task(cluster);
  });
}

/// The unknowns of some nodes, one behind the other.
class Picked {
 public:
  Picked(const NodePattern& pattern, const std::vector<int64_t>& firstUnknown)
      : pPattern(&pattern), pFirst(&firstUnknown) {}

  Eigen::Map<const Eigen::VectorXd> From(std::span<const double> values, std::span<const int32_t> nodes) {
    vValues.clear();
    for (const int32_t node : nodes) {
      const double* const from = values.data() + (*pFirst)[node];
      vValues.insert(vValues.end(), from, from + pPattern->vSizes[node]);
    }
    return {vValues.data(), std::ssize(vValues)};
  }

 private:
  const NodePattern* pPattern;
  const std::vector<int64_t>* pFirst;
  std::vector<double> vValues;
};

/// An orthonormal base of what the columns span, in its first columns; their number.
int32_t Orthonormalise(Eigen::MatrixXd& columns, int32_t width) {
  for (Eigen::Index k = 0; k < columns.cols(); ++k) {
    const double norm = columns.col(k).norm();
    if (norm > 0) columns.col(k) /= norm;
  }
  Eigen::ColPivHouseholderQR<Eigen::MatrixXd> factor(columns);
  factor.setThreshold(kOwnPart);
  const auto rank = static_cast<int32_t>(std::min<Eigen::Index>(factor.rank(), width));
  columns = factor.householderQ() * Eigen::MatrixXd::Identity(columns.rows(), rank);
  return rank;
}

}  // namespace

CoarseSpace::CoarseSpace(const NodeMatrix& matrix, int32_t firstBorder, int32_t motionNum)
    : pMatrix(&matrix),
      nFirstBorder(std::clamp(firstBorder, 0, matrix.Pattern().NodeNum())),
      nMotions(std::clamp(motionNum, 1, kLargestNode)),
      Neighbours(NeighboursOf(matrix.Pattern(), nFirstBorder)),
      Clusters(ClustersOf(Neighbours, kClusterNodes)),
      vClusterOf(Clusters.OfNodes()),
      vFirstUnknown(matrix.Pattern().FirstUnknowns()) {
  FindTouched();
  PlaceColumns();
  E.emplace(Pattern);
  const std::vector<int32_t> order = OrderNodes(Pattern);
  Symbolic.emplace(AnalyseFactor(Pattern, order));
  Factor.emplace(*Symbolic);
}

/// Of each cluster its nodes and their neighbours, and the clusters that are coupled by them.
void CoarseSpace::FindTouched() {
  const NodePattern& pattern = pMatrix->Pattern();
  vFirstTouched.assign(1, 0);
  Pattern.vFirstNeighbour.assign(1, 0);
  std::vector<int32_t> seenBy(pattern.vSizes.size(), -1), coupledBy(static_cast<size_t>(Clusters.Num()), -1);
  for (int32_t cluster = 0; cluster < Clusters.Num(); ++cluster) {
    const auto touch = [&](int32_t node) {
      if (seenBy[node] == cluster) return;
      seenBy[node] = cluster;
      vTouched.push_back(node);
      if (node >= nFirstBorder) return;
      const int32_t other = vClusterOf[node];
      if (other <= cluster || coupledBy[other] == cluster) return;
      coupledBy[other] = cluster;
      Pattern.vNeighbours.push_back(other);
    };
    for (const int32_t node : Clusters.Of(cluster)) {
      touch(node);
      for (const int32_t other : Neighbours.Of(node)) touch(other);
      const std::span<const int32_t> behind = pattern.NeighboursBehind(node);
      std::for_each(std::lower_bound(behind.begin(), behind.end(), nFirstBorder), behind.end(), touch);
    }
    std::sort(vTouched.begin() + vFirstTouched.back(), vTouched.end());
    std::sort(Pattern.vNeighbours.begin() + Pattern.vFirstNeighbour.back(), Pattern.vNeighbours.end());
    vFirstTouched.push_back(std::ssize(vTouched));
    Pattern.vFirstNeighbour.push_back(Pattern.BlockNum());
  }
}

int64_t CoarseSpace::Rows(std::span<const int32_t> nodes) const {
  return std::transform_reduce(nodes.begin(), nodes.end(), int64_t{0}, std::plus<int64_t>(),
                               [this](int32_t node) { return int64_t{pMatrix->Pattern().vSizes[node]}; });
}

void CoarseSpace::PlaceColumns() {
  vFirstColumn.assign(1, 0);
  vFirstZ.assign(1, 0);
  vFirstAz.assign(1, 0);
  for (int32_t cluster = 0; cluster < Clusters.Num(); ++cluster) {
    const int64_t rows = Rows(Clusters.Of(cluster));
    const int64_t width = cluster >= Clusters.nFirstHub ? rows : std::min<int64_t>(rows, nMotions);
    Pattern.vSizes.push_back(static_cast<int32_t>(width));
    vFirstColumn.push_back(vFirstColumn.back() + width);
    vFirstZ.push_back(vFirstZ.back() + width * rows);
    vFirstAz.push_back(vFirstAz.back() + width * Rows(Touched(cluster)));
  }
  vZ.resize(vFirstZ.back());
  vAz.resize(vFirstAz.back());
}

/// Where motions are not independent, columns of 0 are left.
void CoarseSpace::FormColumns(int32_t cluster, std::span<const double> motions) {
  const std::span<const int32_t> nodes = Clusters.Of(cluster);
  Columns Z(vZ.data() + vFirstZ[cluster], Rows(nodes), Width(cluster));
  Z.setZero();
  if (cluster >= Clusters.nFirstHub) {
    Z.setIdentity();
    return;
  }
  // Unknowns have units of their own: what a unit weighs makes them alike.
  Eigen::VectorXd weights(Z.rows());
  int64_t row = 0;
  for (const int32_t node : nodes) {
    const int32_t size = pMatrix->Pattern().vSizes[node];
    for (int32_t k = 0; k < size; ++k) {
      const double weight = pMatrix->Diagonal(node)[static_cast<size_t>(k) * size + k];
      weights[row++] = weight > 0 ? std::sqrt(weight) : 1;
    }
  }
  Eigen::MatrixXd columns(Z.rows(), nMotions);
  Picked picked(pMatrix->Pattern(), vFirstUnknown);
  for (int32_t k = 0; k < nMotions; ++k) {
    columns.col(k) = picked.From(motions.subspan(k * vFirstUnknown.back(), vFirstUnknown.back()), nodes);
  }
  columns = weights.asDiagonal() * columns;
  const int32_t rank = Orthonormalise(columns, Width(cluster));
  Z.leftCols(rank) = weights.cwiseInverse().asDiagonal() * columns;
}

/// A Z.
void CoarseSpace::FormProducts(int32_t cluster) {
  const NodePattern& pattern = pMatrix->Pattern();
  const std::span<const int32_t> nodes = Clusters.Of(cluster), touched = Touched(cluster);
  std::vector<int64_t> places(touched.size() + 1, 0);
  for (size_t k = 0; k < touched.size(); ++k) places[k + 1] = places[k] + pattern.vSizes[touched[k]];
  const ConstColumns Z(vZ.data() + vFirstZ[cluster], Rows(nodes), Width(cluster));
  Columns AZ(vAz.data() + vFirstAz[cluster], places.back(), Width(cluster));
  AZ.setZero();
  const auto rowsOf = [&](int32_t node) {
    const auto found = std::lower_bound(touched.begin(), touched.end(), node) - touched.begin();
    return AZ.middleRows(places[found], pattern.vSizes[node]);
  };
  const auto columnsOf = [&](int32_t node) {
    const auto found = std::lower_bound(nodes.begin(), nodes.end(), node);
    return Z.middleRows(Rows(nodes.first(found - nodes.begin())), pattern.vSizes[node]);
  };
  const auto block = [&](std::span<const double> values, int32_t i, int32_t j) {
    return Eigen::Map<const RowMajor>(values.data(), pattern.vSizes[i], pattern.vSizes[j]);
  };
  for (const int32_t node : nodes) {
    const auto own = columnsOf(node);
    rowsOf(node) += block(pMatrix->Diagonal(node), node, node).selfadjointView<Eigen::Upper>() * own;
    int64_t place = 0;
    for (const int32_t other : pattern.NeighboursBehind(node)) {
      const auto B = block(pMatrix->Behind(node, place++), node, other);
      rowsOf(other) += B.transpose() * own;
      const bool isInside = other < nFirstBorder && vClusterOf[other] == cluster;
      if (isInside) rowsOf(node) += B * columnsOf(other);
    }
    for (const int32_t other : Neighbours.Of(node)) {
      if (other > node || vClusterOf[other] == cluster) continue;
      const std::span<const int32_t> behind = pattern.NeighboursBehind(other);
      const auto found = std::lower_bound(behind.begin(), behind.end(), node) - behind.begin();
      rowsOf(other) += block(pMatrix->Behind(other, found), other, node) * own;
    }
  }
}

/// The blocks of E in the columns of a cluster.
void CoarseSpace::FormCoarse(int32_t cluster) {
  const int32_t width = Width(cluster);
  const std::span<const int32_t> touched = Touched(cluster);
  const ConstColumns AZ(vAz.data() + vFirstAz[cluster], Rows(touched), width);
  int64_t row = 0;
  for (const int32_t node : touched) {
    const int32_t size = pMatrix->Pattern().vSizes[node];
    const int32_t other = node < nFirstBorder ? vClusterOf[node] : Clusters.Num();
    if (other <= cluster) {
      const std::span<const int32_t> nodes = Clusters.Of(other);
      const auto found = std::lower_bound(nodes.begin(), nodes.end(), node);
      const ConstColumns Z(vZ.data() + vFirstZ[other], Rows(nodes), Width(other));
      const std::span<double> to = E->Find(other, cluster);
      Eigen::Map<RowMajor>(to.data(), Width(other), width) +=
          Z.middleRows(Rows(nodes.first(found - nodes.begin())), size).transpose() * AZ.middleRows(row, size);
    }
    row += size;
  }
  const std::span<double> own = E->Diagonal(cluster);
  for (int32_t k = 0; k < width; ++k) {
    double& element = own[static_cast<size_t>(k) * width + k];
    if (element == 0) element = 1;
  }
}

bool CoarseSpace::Prepare(std::span<const double> motions, int32_t threads) {
  const bool isSize = std::ssize(motions) == nMotions * vFirstUnknown.back();
  if (!isSize || !std::ranges::all_of(motions, [](double value) { return std::isfinite(value); }))
    return false;
  E->SetZero();
  ForClusters(Clusters.Num(), threads, [&](int32_t cluster) {
    FormColumns(cluster, motions);
    FormProducts(cluster);
  });
  ForClusters(Clusters.Num(), threads, [&](int32_t cluster) { FormCoarse(cluster); });
  return !Factor->Factor(*E);
}

double CoarseSpace::Start(std::span<const double> b, std::span<double> x, int32_t threads) const {
  std::vector<double> of(static_cast<size_t>(ColumnNum()));
  ForClusters(Clusters.Num(), threads, [&](int32_t cluster) {
    const std::span<const int32_t> nodes = Clusters.Of(cluster);
    const ConstColumns Z(vZ.data() + vFirstZ[cluster], Rows(nodes), Width(cluster));
    Picked picked(pMatrix->Pattern(), vFirstUnknown);
    Eigen::Map<Eigen::VectorXd>(of.data() + vFirstColumn[cluster], Width(cluster)).noalias() =
        Z.transpose() * picked.From(b, nodes);
  });
  std::vector<double> share = of;
  Factor->Solve(share);
  std::fill(x.begin(), x.end(), 0.0);
  AddColumns(share, x, threads);
  return std::inner_product(of.begin(), of.end(), share.begin(), 0.0);
}

/// y += Z c
void CoarseSpace::AddColumns(std::span<const double> c, std::span<double> y, int32_t threads) const {
  ForClusters(Clusters.Num(), threads, [&](int32_t cluster) {
    const std::span<const int32_t> nodes = Clusters.Of(cluster);
    const ConstColumns Z(vZ.data() + vFirstZ[cluster], Rows(nodes), Width(cluster));
    const Eigen::VectorXd sum =
        Z * Eigen::Map<const Eigen::VectorXd>(c.data() + vFirstColumn[cluster], Width(cluster));
    const double* from = sum.data();
    for (const int32_t node : nodes) {
      double* const to = y.data() + vFirstUnknown[node];
      for (int32_t k = 0; k < pMatrix->Pattern().vSizes[node]; ++k) to[k] += *from++;
    }
  });
}

void CoarseSpace::Correct(std::span<const double> r, std::span<double> y, int32_t threads) const {
  std::vector<double> c(static_cast<size_t>(ColumnNum()));
  ForClusters(Clusters.Num(), threads, [&](int32_t cluster) {
    const std::span<const int32_t> nodes = Clusters.Of(cluster), touched = Touched(cluster);
    const ConstColumns Z(vZ.data() + vFirstZ[cluster], Rows(nodes), Width(cluster));
    const ConstColumns AZ(vAz.data() + vFirstAz[cluster], Rows(touched), Width(cluster));
    Picked picked(pMatrix->Pattern(), vFirstUnknown);
    Eigen::Map<Eigen::VectorXd> to(c.data() + vFirstColumn[cluster], Width(cluster));
    to.noalias() = Z.transpose() * picked.From(r, nodes);
    to.noalias() -= AZ.transpose() * picked.From(y, touched);
  });
  Factor->Solve(c);
  AddColumns(c, y, threads);
}

}  // namespace orvo::sparse
