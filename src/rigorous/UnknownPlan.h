// Where each unknown of images, strips and cameras stands among those of the reduced normal equations.
// Nodes: the images that are unknown, in their order; then the strips with an unknown drift; then the cameras
// with unknowns that more than one unknown image has, or none. A camera of a single unknown image has its
// unknowns behind the six of this image, in the same node: eliminated with it, it fills in nothing.
#pragma once

#include <array>
#include <cstdint>
#include <span>
#include <vector>

#include "rigorous/Problem.h"

namespace orvo::rigorous {

/// Columns of the unknowns of a camera within a node, -1 where there are none. Three each of lever arm and
/// boresight (a rotation vector on its right).
struct CameraColumns {
  int32_t nNode = -1;  ///< -1: nothing of it is unknown
  LensLayout Layout;
  int32_t nLens = -1, nLeverArm = -1, nBoresight = -1;
};

/// Columns of the drift of a strip within its node, three each; -1 where there are none.
struct StripColumns {
  int32_t nNode = -1;
  int32_t nGpsConstant = -1, nGpsLinear = -1, nImuConstant = -1, nImuLinear = -1;
};

struct UnknownPlan {
  std::vector<int32_t>
      vImageNode;  ///< by image; -1: held. Its columns: 0 to 2 the centre, 3 to 5 the rotation
  std::vector<StripColumns> vStrips;
  std::vector<CameraColumns> vCameras;
  std::vector<int32_t> vSizes;         ///< unknowns by node
  std::vector<int64_t> vFirstUnknown;  ///< by node, and the number of unknowns at the end
  int32_t nFirstBorder = 0;  ///< nodes from this one on are cameras of their own: coupled with most others

  int32_t NodeNum() const { return static_cast<int32_t>(vSizes.size()); }
  int64_t UnknownNum() const { return vFirstUnknown.back(); }
  std::vector<int32_t> Border() const;
};

/// Cameras and strips that images name have to be in the problem.
UnknownPlan PlanUnknowns(const Problem& problem);

/// The estimate after corrections: rotations and boresights by their rotation vectors on the right, the rest
/// added. `corrections` are in the order of the nodes; points stay. Held values stay bit by bit.
void ApplyCorrections(const Problem& problem, const UnknownPlan& plan, std::span<const double> corrections,
                      Estimate& estimate);

}  // namespace orvo::rigorous
