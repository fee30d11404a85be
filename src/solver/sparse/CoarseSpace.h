// A small space that holds what an incomplete factor is slow at: the long waves through a large net.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

#include "solver/sparse/NodeClusters.h"
#include "solver/sparse/NodeMatrix.h"
#include "solver/sparse/SupernodalFactor.h"
#include "solver/sparse/SymbolicFactor.h"

namespace orvo::sparse {

/// Nodes of a cluster, at most.
inline constexpr int32_t kClusterNodes = 16;

/// Columns Z: in each cluster of nodes the given motions of the whole, and 0 outside; of a node that is a
/// cluster by itself for its many neighbours (kHubDegrees) each of its unknowns. With E = Z'AZ, which is
/// sparse, a preconditioner K^-1 becomes
///   M = (I - Z E^-1 Z'A) K^-1 + Z E^-1 Z'
/// of which conjugate gradients from x = Z E^-1 Z'b on meet nothing of Z any more: Tang, Nabben, Vuik &
/// Erlangga 2009, Comparison of two-level preconditioners derived from deflation, domain decomposition and
/// multigrid methods (A-DEF2). The clusters are those of Mandel's balancing (1993), their motions its null
/// spaces. The bits don't depend on the number of threads.
class CoarseSpace {
 public:
  /// Of the nodes below `firstBorder`, for `motionNum` motions, 1 to kLargestNode. `matrix` has to outlive
  /// this.
  CoarseSpace(const NodeMatrix& matrix, int32_t firstBorder, int32_t motionNum);
  CoarseSpace(const CoarseSpace&) = delete;
  CoarseSpace& operator=(const CoarseSpace&) = delete;

  /// For the values of the matrix now. `motions` are vectors over all unknowns, one behind the other. False,
  /// and nothing may be asked then, where a motion is not finite or E is not positive definite.
  bool Prepare(std::span<const double> motions, int32_t threads);
  /// Number of columns.
  int64_t ColumnNum() const { return vFirstColumn.back(); }

  /// x = Z E^-1 Z'b; returns b'x.
  double Start(std::span<const double> b, std::span<double> x, int32_t threads) const;
  /// y = M r for a y that is K^-1 r.
  void Correct(std::span<const double> r, std::span<double> y, int32_t threads) const;

 private:
  void FindTouched();
  void PlaceColumns();
  int64_t Rows(std::span<const int32_t> nodes) const;
  int32_t Width(int32_t cluster) const { return Pattern.vSizes[cluster]; }
  std::span<const int32_t> Touched(int32_t cluster) const {
    return std::span(vTouched).subspan(vFirstTouched[cluster],
                                       vFirstTouched[cluster + 1] - vFirstTouched[cluster]);
  }
  void FormColumns(int32_t cluster, std::span<const double> motions);
  void FormProducts(int32_t cluster);
  void FormCoarse(int32_t cluster);
  void AddColumns(std::span<const double> c, std::span<double> y, int32_t threads) const;

  const NodeMatrix* pMatrix;
  int32_t nFirstBorder, nMotions;
  NodeNeighbours Neighbours;
  NodeClusters Clusters;
  std::vector<int32_t> vClusterOf;         ///< by node
  std::vector<int64_t> vFirstUnknown;      ///< by node
  std::vector<int64_t> vFirstTouched;      ///< by cluster into vTouched
  std::vector<int32_t> vTouched;           ///< of each cluster the nodes where A Z has something, ascending
  std::vector<int64_t> vFirstColumn;       ///< by cluster
  std::vector<int64_t> vFirstZ, vFirstAz;  ///< by cluster into vZ and vAz
  std::vector<double> vZ, vAz;             ///< column-major, the rows those of the nodes
  NodePattern Pattern;                     ///< of E, whose nodes are the clusters
  std::optional<NodeMatrix> E;
  std::optional<SymbolicFactor> Symbolic;
  std::optional<SupernodalFactor> Factor;
};

}  // namespace orvo::sparse
