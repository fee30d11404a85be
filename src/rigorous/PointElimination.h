// The equations of one point, reduced by its three coordinates.
// With rows J of a node, C of the point and weights P, the node's direct share of N is J'PJ, and its coupling
// with the point is G = J'PC. M = C'PC goes out: N_ab loses G_a M^-1 G_b' and n_a loses G_a M^-1 n_p. With
// Q Q' = M^-1 that is V_a V_b' of V = G Q: no more than a product of three columns for each pair of nodes.
#pragma once

#include <array>
#include <cstdint>
#include <vector>

#include "rigorous/ChunkEquations.h"
#include "rigorous/PointPlace.h"

namespace orvo::rigorous {

/// Adds points to the equations of their chunk.
class PointElimination {
 public:
  /// The surroundings have a plan.
  PointElimination(const PointSurroundings& around, ChunkEquations& chunk);

  /// Nothing where the place is not in use.
  void Add(const PointObservations& point, const PointPlace& place);

 private:
  /// A node that the point's rays have rows of, once however many they are.
  struct Share {
    int32_t nNode, nLocal, nStride;
    int64_t nFirst;  ///< of V in vV: three columns of nStride numbers each
  };
  void CollectShares(const PointObservations& point, const PointPlace& place);
  void AddShare(int32_t node);
  const Share& ShareOf(int32_t node) const;
  void AddRay(const Ray& ray, const RayRows& rows, double weight);
  void Reduce(const PointPlace& place);

  PointSurroundings Around;
  ChunkEquations* pChunk;
  std::vector<Share> vShares;  ///< by ascending node
  std::vector<double> vV;
};

}  // namespace orvo::rigorous
