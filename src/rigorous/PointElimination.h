// The equations of one point, reduced by its three coordinates.
// With rows J of a node, C of the point and weights P, the node's direct share of N is J'PJ, and its coupling
// with the point is G = J'PC. M = C'PC goes out: N_ab loses G_a M^-1 G_b' and n_a loses G_a M^-1 n_p. With
// Q Q' = M^-1 that is V_a V_b' of V = G Q: no more than a product of three columns for each pair of nodes.
#pragma once

#include <cstdint>
#include <vector>

#include "rigorous/ChunkEquations.h"
#include "rigorous/PointPlace.h"

namespace orvo::rigorous {

/// Adds points to the equations of their chunk.
class PointElimination {
 public:
  /// Both have to outlive this; the surroundings have a plan.
  PointElimination(const PointSurroundings& around, ChunkEquations& chunk);

  /// Nothing where the place is not in use.
  void Add(const PointObservations& point, const PointPlace& place);

 private:
  /// Rows of a node that has a camera's columns, or these and an image's.
  struct alignas(64) CameraRows {
    double Numbers[2][sparse::kLargestNode];

    ShareRows Fill(const CameraColumns& camera, const PlaceRow& row, bool hasImage, int32_t share);
  };
  /// A node, and where it stands among the point's and among the chunk's.
  struct PointNode {
    int32_t nNode, nLocal;
  };
  struct RayNodes {
    int32_t nImage, nCamera;  ///< nodes; -1: none
  };
  RayNodes NodesOf(const Ray& ray) const;
  void CollectNodes(const PointObservations& point, const PointPlace& place);
  void AddNode(int32_t node);
  void PlaceShares();
  int32_t ShareOf(int32_t node) const;
  void CollectRays(const PointObservations& point, const PointPlace& place);
  WeightedRay WeightedOf(const Ray& ray, const PlaceRow& row, double weight, CameraRows& camera) const;

  const PointSurroundings* pAround;
  ChunkEquations* pChunk;
  std::vector<PointNode> vNodes;  ///< by ascending node
  std::vector<NodeShare> vShares;
  std::vector<double*> vBlocks;
  std::vector<RegisterRow> vV;
  std::vector<WeightedRay> vRays;
  std::vector<CameraRows> vCameraRows;  ///< by ray
};

}  // namespace orvo::rigorous
